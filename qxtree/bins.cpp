// SPDX-FileCopyrightText: The qxutils authors
// SPDX-License-Identifier: Apache-2.0

#include "qxtree/bins.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <utility>

namespace qxtree {
namespace {

constexpr std::size_t kMostJoined = Distinct::kMost / 2;

double ValueOf(std::uint64_t key) {
  constexpr std::uint64_t kSign = std::uint64_t{1} << 63;
  const std::uint64_t bits = (key & kSign) != 0 ? key ^ kSign : ~key;
  double value = 0;
  std::memcpy(&value, &bits, sizeof value);
  return value;
}

void AddTo(std::vector<Group>& groups, const Group& next) {
  if (!groups.empty() && groups.back().greatest >= next.least) {
    groups.back().greatest = std::max(groups.back().greatest, next.greatest);
    groups.back().weight += next.weight;
  } else {
    groups.push_back(next);
  }
}

}  // namespace

// By eleven bits at a time, from the lowest ones on: much faster than std::sort.
void SortByKey(std::vector<KeyedWeight>& cases) {
  constexpr int kBits = 11, kDigits = 6;
  constexpr std::size_t kBuckets = 1 << kBits;
  std::vector<std::array<std::uint32_t, kBuckets>> starts(kDigits);
  for (const KeyedWeight& one : cases)
    for (std::size_t digit = 0; digit < kDigits; ++digit)
      ++starts[digit][one.key >> (digit * kBits) & (kBuckets - 1)];
  std::vector<KeyedWeight> sorted(cases.size());
  for (std::size_t digit = 0; digit < kDigits; ++digit) {
    std::array<std::uint32_t, kBuckets>& places = starts[digit];
    if (std::find(places.begin(), places.end(), cases.size()) != places.end()) continue;
    std::uint32_t start = 0;
    for (std::uint32_t& count : places) start += std::exchange(count, start);
    for (const KeyedWeight& one : cases)
      sorted[places[one.key >> (digit * kBits) & (kBuckets - 1)]++] = one;
    cases.swap(sorted);
  }
}

std::vector<Group> Join(const std::vector<Group>& groups, std::size_t count) {
  double weightLeft = 0;
  for (const Group& group : groups) weightLeft += group.weight;
  std::size_t groupsToRead = groups.size();
  std::vector<Group> joined;
  bool isOpen = false;
  for (const Group& group : groups) {
    if (isOpen) {
      joined.back().greatest = group.greatest;
      joined.back().weight += group.weight;
    } else {
      joined.push_back(group);
    }
    --groupsToRead;
    const std::size_t groupsLeft = count - (joined.size() - 1);  // this one too
    const bool isFull = joined.back().weight >= weightLeft / static_cast<double>(groupsLeft);
    isOpen = groupsToRead > 0 && (groupsLeft == 1 || (!isFull && groupsToRead >= groupsLeft));
    if (!isOpen) weightLeft -= joined.back().weight;
  }
  return joined;
}

void Distinct::Merge() {
  SortByKey(fNew);
  std::vector<Group> merged;
  merged.reserve(fGroups.size() + fNew.size());
  auto group = fGroups.begin();
  for (const KeyedWeight& one : fNew) {
    const double value = ValueOf(one.key);
    for (; group != fGroups.end() && group->least <= value; ++group) AddTo(merged, *group);
    AddTo(merged, {value, value, one.weight});
  }
  for (; group != fGroups.end(); ++group) AddTo(merged, *group);
  fGroups.swap(merged);
  fNew.clear();
  if (fGroups.size() <= kMost) return;
  fIsMerged = true;
  fGroups = Join(fGroups, kMostJoined);
}

const std::vector<Group>& Distinct::Groups() {
  Merge();
  return fGroups;
}

const qxg_800::QxStatistics& Distinct::Statistics() {
  if (fIsMerged) return fInOrder;
  fAscending = qxg_800::QxStatistics(1 | 2 | 4 | 8);
  for (const Group& group : Groups()) fAscending.AddValue(group.least, group.weight);
  return fAscending;
}

Bins MakeBins(Kind kind, const std::vector<Group>& groups, std::size_t count) {
  const std::vector<Group> joined = Join(groups, count);
  Bins bins;
  bins.isEmpty = joined.empty();
  if (!bins.isEmpty) bins.cuts.reserve(joined.size() - 1);
  for (std::size_t bin = 0; bin + 1 < joined.size(); ++bin)
    bins.cuts.push_back(CutBetween(kind, joined[bin].greatest, joined[bin + 1].least));
  return bins;
}

// One step of the binary search for all values, then the next step. So no search waits for its own
// comparisons, and there are no branches, which would be guessed wrong half the time.
void Bins::Find(const double* values, std::size_t count, std::uint16_t* bins) const {
  std::fill_n(bins, count, std::uint16_t{0});
  const double* const at = cuts.data();
  for (std::size_t left = cuts.size(), half = 0; left > 0; left -= half) {
    half = (left + 1) / 2;
    for (std::size_t i = 0; i < count; ++i) {
      const auto isAbove = static_cast<std::size_t>(at[bins[i] + half - 1] < values[i]);
      bins[i] = static_cast<std::uint16_t>(bins[i] + half * isAbove);
    }
  }
}

double Quantum(double total) {
  constexpr int kBits = 52;
  int exponent = 0;
  std::frexp(total, &exponent);
  return std::ldexp(1, std::max(exponent - kBits, -1074));
}

}  // namespace qxtree
