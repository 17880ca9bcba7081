// SPDX-FileCopyrightText: The qxutils authors
// SPDX-License-Identifier: Apache-2.0

// Groups the values of a column into bins of about equal weight.
#ifndef QXTREE_BINS_H
#define QXTREE_BINS_H

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

#include "qxtree/cells.h"
#include "qxutils/numeric/qxstatistics.h"

namespace qxtree {

// Neighbouring values, of training cases.
struct Group {
  double least, greatest;
  double weight;
};

// A value as an integer of the same order, with a weight.
struct KeyedWeight {
  std::uint64_t key;
  double weight;
};

// REQUIRES: no NaN (not checked).
inline std::uint64_t KeyOf(double value) {
  std::uint64_t bits = 0;
  std::memcpy(&bits, &value, sizeof bits);
  constexpr std::uint64_t kSign = std::uint64_t{1} << 63;
  return (bits & kSign) != 0 ? ~bits : bits | kSign;
}

// Sorts by the key.
void SortByKey(std::vector<KeyedWeight>& cases);

// Gathers the distinct values of numbers or dates with their weights, in bounded memory. Weights
// have to add up without rounding (see Quantum), so that their order does not matter.
class Distinct {
 public:
  static constexpr std::size_t kMost = 65536;  // more values are merged with their neighbours

  void Add(double value, double weight) {
    KeyedWeight& one = fNew.emplace_back();  // of two stores, which a copy would wait for
    one.key = KeyOf(value);
    one.weight = weight;
    if (fIsInOrder) fInOrder.AddValue(value, weight);
    if (fNew.size() == kMost) Merge();
  }

  // Instead of single cases: adds all cases of a value at once. At most kMost times.
  void AddDistinct(double value, double weight) {
    fIsInOrder = false;
    if (weight > 0) fNew.push_back({KeyOf(value), weight});
  }

  // To be called after the last value; ascending.
  const std::vector<Group>& Groups();
  bool IsMerged() const { return fIsMerged; }
  // Of the distinct values in ascending order, or of all values in their order when some are
  // merged.
  const qxg_800::QxStatistics& Statistics();

 private:
  void Merge();

  std::vector<KeyedWeight> fNew;
  std::vector<Group> fGroups;
  bool fIsMerged = false;
  bool fIsInOrder = true;  // what is added, so far
  qxg_800::QxStatistics fInOrder{1 | 2 | 4 | 8}, fAscending{1 | 2 | 4 | 8};
};

// Ascending groups as at most `count` groups of neighbours. A group takes its share of the weight
// that is left, so that after a heavy value others get groups of their own.
std::vector<Group> Join(const std::vector<Group>& groups, std::size_t count);

// Where a column of numbers or dates is cut: `cuts[b]` ends bin `b`, and the last bin has no end.
struct Bins {
  std::vector<double> cuts;
  bool isEmpty = true;  // there is no bin

  std::size_t Count() const { return isEmpty ? 0 : cuts.size() + 1; }
  std::size_t Bytes() const { return cuts.capacity() * sizeof cuts[0]; }

  // The bins of finite values.
  void Find(const double* values, std::size_t count, std::uint16_t* bins) const;
};
Bins MakeBins(Kind kind, const std::vector<Group>& groups, std::size_t count);

// A power of two. Weights that are multiples of it add up to `total` without rounding.
double Quantum(double total);

}  // namespace qxtree

#endif
