// SPDX-FileCopyrightText: The qxutils authors
// SPDX-License-Identifier: Apache-2.0

#include "qxtree/dictionary.h"

#include <algorithm>
#include <limits>

namespace qxtree {
namespace {

constexpr std::size_t kLeastSlots = 64;

}  // namespace

// What stands in memory while a vector grows is counted too.
bool Dictionary::Add(std::string_view text, int code) {
  if (text.size() > std::numeric_limits<std::uint32_t>::max()) return false;
  const std::size_t entries = std::max(kLeastSlots / 2, fEntries.capacity());
  const std::size_t texts = std::max(entries * 4, fTexts.capacity());
  const bool isFull = fEntries.size() == fEntries.capacity();
  const bool isLong = text.size() > fTexts.capacity() - fTexts.size() || fTexts.capacity() < texts;
  const std::size_t newEntries = isFull ? (fEntries.empty() ? entries : 2 * entries) : entries;
  const std::size_t newTexts = isLong ? std::max(2 * texts, fTexts.size() + text.size()) : texts;
  const std::size_t bytes = newEntries * (sizeof(Entry) + 2 * sizeof(Slot)) + newTexts;
  if (isFull || isLong) {
    if (bytes > fBytes && !fpShare->Fits(bytes - fBytes)) return false;
    if (isLong) fTexts.reserve(newTexts);
    if (isFull) Grow(2 * newEntries);
    fEntries.reserve(newEntries);
    fpShare->used += bytes - fBytes;
    fBytes = bytes;
  }
  fEntries.push_back(
      {fTexts.size(), static_cast<std::uint32_t>(text.size()), static_cast<std::uint16_t>(code)});
  fTexts.append(text);
  Fill(Key(text), Size() - 1);
  return true;
}

// The first free slot.
void Dictionary::Fill(const Key& key, std::size_t entry) {
  std::size_t at = key.hash & fMask;
  while (fSlots[at].entry != 0) at = (at + 1) & fMask;
  fSlots[at] = {key.word, static_cast<std::uint32_t>(entry + 1), fEntries[entry].code, key.bytes};
}

void Dictionary::Grow(std::size_t slots) {
  std::vector<Slot>().swap(fSlots);  // gone before the new ones are made
  fSlots.resize(slots);
  fMask = slots - 1;
  for (std::size_t i = 0; i < fEntries.size(); ++i) Fill(Key(TextOf(fEntries[i])), i);
}

void Dictionary::Clear() {
  std::vector<Slot>().swap(fSlots);  // an assignment could keep the memory
  std::vector<Entry>().swap(fEntries);
  std::string().swap(fTexts);
  fpShare->used -= fBytes;
  fBytes = 0;
}

}  // namespace qxtree
