// SPDX-FileCopyrightText: The qxutils authors
// SPDX-License-Identifier: Apache-2.0

// The distinct texts of a column, each with a code.
#ifndef QXTREE_DICTIONARY_H
#define QXTREE_DICTIONARY_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

namespace qxtree {

// Memory that several owners share, in bytes.
struct MemoryShare {
  std::size_t limit = 0, used = 0;

  bool Fits(std::size_t more) const { return more <= limit && used <= limit - more; }
};

// A hash table from texts to codes. So what a text means is worked out once for all its cells.
class Dictionary {
 public:
  static constexpr int kNone = -1;
  static constexpr std::size_t kMostShort = 8;  // bytes of a text that is found fastest

  // What it takes is counted in `share`, which must outlive it.
  explicit Dictionary(MemoryShare& share) : fpShare(&share) {}
  ~Dictionary() { Clear(); }
  Dictionary(const Dictionary&) = delete;
  Dictionary& operator=(const Dictionary&) = delete;

  // The code of the text, or kNone.
  int Find(std::string_view text) const {
    if (fSlots.empty()) return kNone;
    const Key key(text);
    for (std::size_t at = key.hash & fMask;; at = (at + 1) & fMask) {
      const Slot& slot = fSlots[at];
      if (slot.entry == 0) return kNone;
      if (slot.word != key.word || slot.bytes != key.bytes) continue;
      if (text.size() <= sizeof slot.word || TextOf(fEntries[slot.entry - 1]) == text)
        return slot.code;
    }
  }

  // False, with nothing changed, when the share has no room for it. REQUIRES: the text is new and
  // the code has 16 bits (not checked).
  bool Add(std::string_view text, int code);

  std::size_t Size() const { return fEntries.size(); }
  std::size_t Bytes() const { return fBytes; }

  // Calls use(text, code) for each text, in the order in which they were added.
  template <class Use>
  void ForEach(Use use) const {
    for (const Entry& entry : fEntries) use(TextOf(entry), static_cast<int>(entry.code));
  }

  // Frees all memory.
  void Clear();

 private:
  // A short text is told by its slot alone.
  struct Slot {
    std::uint64_t word;   // a text of up to eight bytes, else the hash
    std::uint32_t entry;  // number, from 1; 0: the slot is free
    std::uint16_t code;
    std::uint16_t bytes;  // the length, or the greatest number
  };
  struct Entry {
    std::size_t start;  // in fTexts
    std::uint32_t bytes;
    std::uint16_t code;
  };
  // What a text is looked up by.
  struct Key {
    explicit Key(std::string_view text)
        : bytes(static_cast<std::uint16_t>(std::min<std::size_t>(text.size(), 0xFFFF))) {
      hash = Hash(text, word);
      if (text.size() > sizeof word) word = hash;
    }
    std::uint64_t word = 0, hash = 0;
    std::uint16_t bytes;
  };

  // Multiplies and folds eight bytes at a time. Sets `word` to the last ones.
  static std::uint64_t Hash(std::string_view text, std::uint64_t& word) {
    constexpr std::uint64_t kFactor = 0x9E3779B97F4A7C15;
    const auto mix = [](std::uint64_t bits) {
      bits *= kFactor;
      return bits ^ (bits >> 32);
    };
    std::uint64_t hash = text.size();
    for (; text.size() > sizeof word; text.remove_prefix(sizeof word)) {
      std::memcpy(&word, text.data(), sizeof word);
      hash = mix(hash ^ word);
    }
    word = LastWord(text.data(), text.size());
    return mix(mix(hash ^ word));
  }
  // Up to eight bytes as a number. Loads overlap, which is faster than a copy of unknown length.
  static std::uint64_t LastWord(const char* text, std::size_t bytes) {
    constexpr std::size_t kHalf = 4;
    if (bytes >= kHalf) {
      std::uint32_t first = 0, last = 0;
      std::memcpy(&first, text, kHalf);
      std::memcpy(&last, text + bytes - kHalf, kHalf);
      return first | std::uint64_t{last} << (8 * (bytes - kHalf));
    }
    std::uint64_t word = 0;
    for (std::size_t i = 0; i < bytes; ++i)
      word |= std::uint64_t{static_cast<unsigned char>(text[i])} << (8 * i);
    return word;
  }
  std::string_view TextOf(const Entry& entry) const {
    return {fTexts.data() + entry.start, entry.bytes};
  }
  void Fill(const Key& key, std::size_t entry);
  void Grow(std::size_t slots);

  MemoryShare* fpShare;
  std::size_t fBytes = 0;    // counted in the share
  std::vector<Slot> fSlots;  // a power of two, at most half of them in use
  std::size_t fMask = 0;
  std::vector<Entry> fEntries;
  std::string fTexts;
};

}  // namespace qxtree

#endif
