// The distinct texts of a column, each with a code.
#ifndef QXTREE_DICTIONARY_H
#define QXTREE_DICTIONARY_H

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

  // What it takes is counted in `share`, which must outlive it.
  explicit Dictionary(MemoryShare& share) : fpShare(&share) {}
  ~Dictionary() { Clear(); }
  Dictionary(const Dictionary&) = delete;
  Dictionary& operator=(const Dictionary&) = delete;

  // The code of the text, or kNone.
  int Find(std::string_view text) const {
    if (fSlots.empty()) return kNone;
    const std::uint64_t hash = Hash(text);
    for (std::size_t at = hash & fMask;; at = (at + 1) & fMask) {
      const Slot& slot = fSlots[at];
      if (slot.entry == 0) return kNone;
      if (slot.tag != static_cast<std::uint32_t>(hash >> 32)) continue;
      const Entry& entry = fEntries[slot.entry - 1];
      if (std::string_view(fTexts.data() + entry.start, entry.bytes) == text) return entry.code;
    }
  }

  // False, with nothing changed, when the share has no room for it. REQUIRES: the text is new and
  // the code at least 0 (not checked).
  bool Add(std::string_view text, int code);

  std::size_t Size() const { return fEntries.size(); }
  std::size_t Bytes() const { return fBytes; }

  // Calls use(text, code) for each text, in the order in which they were added.
  template <class Use>
  void ForEach(Use use) const {
    for (const Entry& entry : fEntries)
      use(std::string_view(fTexts.data() + entry.start, entry.bytes), entry.code);
  }

  // Frees all memory.
  void Clear();

 private:
  struct Slot {
    std::uint32_t tag, entry;  // the upper half of the hash; the number of an entry, from 1
  };
  struct Entry {
    std::size_t start;  // in fTexts
    std::uint32_t bytes;
    int code;
  };

  // Multiplies and folds eight bytes at a time.
  static std::uint64_t Hash(std::string_view text) {
    constexpr std::uint64_t kFactor = 0x9E3779B97F4A7C15;
    const auto mix = [](std::uint64_t word) {
      word *= kFactor;
      return word ^ (word >> 32);
    };
    std::uint64_t hash = text.size(), word = 0;
    for (; text.size() > sizeof word; text.remove_prefix(sizeof word)) {
      std::memcpy(&word, text.data(), sizeof word);
      hash = mix(hash ^ word);
    }
    word = 0;
    std::memcpy(&word, text.data(), text.size());
    return mix(mix(hash ^ word));
  }
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
