// SPDX-FileCopyrightText: The qxutils authors
// SPDX-License-Identifier: Apache-2.0

#include "qxtree/bins.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <utility>

#include "qxutils/numeric/qxstatistics.h"

namespace qxtree {
namespace {

// A group is heavy above this share of the weight. So there are at most 1,024 of them, and a pass
// divides each into 64 at least.
constexpr double kHeavy = 1.0 / 1024;
constexpr unsigned kKeyBits = 64;

double ValueOf(std::uint64_t key) {
  constexpr std::uint64_t kSign = std::uint64_t{1} << 63;
  const std::uint64_t bits = (key & kSign) != 0 ? key ^ kSign : ~key;
  double value = 0;
  std::memcpy(&value, &bits, sizeof value);
  return value;
}

// Adds values to the last cell if they belong there, by the bits from `lowest` on, else a new cell.
template <class Cell>
void AddTo(std::vector<Cell>& cells, const Cell& next, unsigned lowest) {
  if (cells.empty() || cells.back().least >> lowest != next.least >> lowest)
    return cells.push_back(next);
  Cell& last = cells.back();
  last.least = std::min(last.least, next.least);
  last.greatest = std::max(last.greatest, next.greatest);
  last.weight += next.weight;
}

// REQUIRES: not 0 (not checked).
unsigned HighestBit(std::uint64_t bits) {
  return kKeyBits - 1 - static_cast<unsigned>(__builtin_clzll(bits));
}

}  // namespace

// By eleven bits at a time, from the lowest ones on: much faster than std::sort. The highest bits
// that differ nearly always suffice.
void SortByKey(std::vector<KeyedWeight>& cases, unsigned lowest) {
  constexpr unsigned kBits = 11, kMostDigits = 3;
  constexpr std::size_t kBuckets = 1 << kBits;
  std::uint64_t differing = 0;
  for (const KeyedWeight& one : cases) differing |= one.key ^ cases[0].key;
  if (differing >> lowest == 0) return;
  const unsigned end = HighestBit(differing) + 1;
  const unsigned first = std::max(lowest, end - std::min(end, kBits * kMostDigits));
  const unsigned digits = (end - first + kBits - 1) / kBits;
  const auto bucketOf = [first](const KeyedWeight& one, unsigned digit) {
    return one.key >> (first + digit * kBits) & (kBuckets - 1);
  };
  std::array<std::array<std::uint32_t, kBuckets>, kMostDigits> places{};
  for (const KeyedWeight& one : cases)
    for (unsigned digit = 0; digit < digits; ++digit) ++places[digit][bucketOf(one, digit)];
  std::vector<KeyedWeight> sorted(cases.size());
  for (unsigned digit = 0; digit < digits; ++digit) {
    std::uint32_t start = 0;
    for (std::uint32_t& count : places[digit]) start += std::exchange(count, start);
    for (const KeyedWeight& one : cases) sorted[places[digit][bucketOf(one, digit)]++] = one;
    cases.swap(sorted);
  }
  const auto isBelow = [](const KeyedWeight& a, const KeyedWeight& b) { return a.key < b.key; };
  const auto isApart = [first](const KeyedWeight& a, const KeyedWeight& b) {
    return a.key >> first != b.key >> first;
  };
  for (auto start = cases.begin(); first > lowest && start != cases.end();) {
    const auto next = std::adjacent_find(start, cases.end(), isApart);
    const auto stop = next == cases.end() ? next : next + 1;
    if (!std::is_sorted(start, stop, isBelow)) std::sort(start, stop, isBelow);
    start = stop;
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

bool Distinct::IsCoarse(std::uint64_t key) const {
  const auto isBelow = [](const Cell& cell, std::uint64_t other) { return cell.greatest < other; };
  const auto at = std::lower_bound(fCoarse.begin(), fCoarse.end(), key, isBelow);
  return at != fCoarse.end() && at->least <= key;
}

void Distinct::Merge() {
  SortByKey(fNew, fLowest);
  std::vector<Cell> merged;
  merged.reserve(fCells.size() + fNew.size());
  auto cell = fCells.begin();
  const unsigned lowest = fLowest;
  for (const KeyedWeight& one : fNew) {
    for (; cell != fCells.end() && cell->least >> lowest <= one.key >> lowest; ++cell)
      AddTo(merged, *cell, lowest);
    AddTo(merged, {one.key, one.key, one.weight}, lowest);
  }
  for (; cell != fCells.end(); ++cell) AddTo(merged, *cell, lowest);
  fCells.swap(merged);
  fNew.clear();
  if (fCells.size() > kMost) Coarsen();
}

void Distinct::Coarsen() {
  fMoments = FindMoments();
  fIsMerged = true;
  // A boundary between cells vanishes with the highest bit in which they differ.
  std::array<std::size_t, kKeyBits> boundaries{};
  for (std::size_t i = 1; i < fCells.size(); ++i)
    ++boundaries[HighestBit(fCells[i - 1].least ^ fCells[i].least)];
  for (std::size_t left = fCells.size(); left > kMost; ++fLowest) left -= boundaries[fLowest];
  std::vector<Cell> cells;
  for (const Cell& cell : fCells) AddTo(cells, cell, fLowest);
  fCells.swap(cells);
}

// Of all values so far.
Moments Distinct::FindMoments() const {
  Moments moments = fMoments;
  for (std::size_t i = 0; !fIsMerged && i < fCells.size(); ++i)
    moments.Add(ValueOf(fCells[i].least), fCells[i].weight);
  return moments;
}

void Distinct::Add(const Distinct& other) {
  if (fCoarse.empty() && (fIsMerged || other.fIsMerged)) {
    fMoments = FindMoments();
    fMoments.Add(other.FindMoments());
    fIsMerged = true;
  }
  fLowest = std::max(fLowest, other.fLowest);
  std::vector<Cell> both, cells;
  std::merge(fCells.begin(), fCells.end(), other.fCells.begin(), other.fCells.end(),
             std::back_inserter(both),
             [](const Cell& a, const Cell& b) { return a.least < b.least; });
  for (const Cell& cell : both) AddTo(cells, cell, fLowest);
  fCells.swap(cells);
  if (fCells.size() > kMost) Coarsen();
}

bool Distinct::HasCoarse() {
  double total = 0;
  for (const std::vector<Cell>* const cells : {&fCells, &fFine})
    for (const Cell& cell : *cells) total += cell.weight;
  fCoarse.clear();
  const auto isCoarse = [total](const Cell& cell) {
    return cell.least < cell.greatest && cell.weight > kHeavy * total;
  };
  std::partition_copy(fCells.begin(), fCells.end(), std::back_inserter(fCoarse),
                      std::back_inserter(fFine), isCoarse);
  fCells.clear();
  fLowest = 0;
  if (!fCoarse.empty()) return true;
  const auto isBelow = [](const Cell& a, const Cell& b) { return a.least < b.least; };
  std::sort(fFine.begin(), fFine.end(), isBelow);
  for (const Cell& cell : fFine)
    fGroups.push_back({ValueOf(cell.least), ValueOf(cell.greatest), cell.weight});
  return false;
}

Summary Distinct::Summarize() const {
  if (fGroups.empty()) return {};
  if (fIsMerged)
    return {fGroups.front().least, fGroups.back().greatest, fMoments.Mean(),
            std::sqrt(fMoments.Squares() / (fMoments.Weight() - 1))};
  qxg_800::QxStatistics values(1 | 2 | 4 | 8);
  for (const Group& group : fGroups) values.AddValue(group.least, group.weight);
  return {values.GetMinimum(), values.GetMaximum(), values.GetMean(), values.GetStDev()};
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

Slicer::Slicer(double total, double count) {
  constexpr double kRounds = 0x1.8p52;  // the last bit of a sum with it counts units
  const double quantum = Quantum(2 * total);
  fFirst = kRounds * quantum;
  fSecond = kRounds * Quantum(count * quantum);
}

}  // namespace qxtree
