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
#include "qxtree/exactsum.h"

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

// Sorts by the key without its lowest bits. Those that are equal then stay in their order.
void SortByKey(std::vector<KeyedWeight>& cases, unsigned lowest = 0);

// What is told of the values of a column. The deviation has the total weight less 1 below it.
struct Summary {
  double least = 0, greatest = 0, mean = 0, deviation = 0;
};

// Gathers the distinct values of numbers or dates with their weights, in bounded memory. Weights
// have to add up without rounding (see Quantum). So the order of the values does not matter:
//
//     do {
//       ... // adds all values
//       distinct.EndPass();
//     } while (distinct.HasCoarse());
//
// Where there are more values than kMost, neighbours become a group: those that are equal without
// the last bits. There are as many bits as lead to kMost groups. A heavy group is divided in turn,
// which takes another pass over the values.
class Distinct {
 public:
  static constexpr std::size_t kMost = 65536;  // values, or groups of a pass

  void Add(double value, double weight) {
    const std::uint64_t key = KeyOf(value);
    if (!fCoarse.empty() && !IsCoarse(key)) return;
    KeyedWeight& one = fNew.emplace_back();  // of two stores, which a copy would wait for
    one.key = key;
    one.weight = weight;
    if (fIsMerged && fCoarse.empty()) fMoments.Add(value, weight);
    if (fNew.size() == kMost) Merge();
  }

  // To be called after the last value of a pass.
  void EndPass() { Merge(); }
  // Takes what another one has of the same pass. Both have ended it.
  void Add(const Distinct& other);
  template <class Self, class Visitor>
  static void Visit(Self& self, Visitor& visit) {
    visit(self.fCells), visit(self.fLowest), visit(self.fIsMerged), visit(self.fMoments);
  }

  // Whether heavy groups are left. Then add all values again.
  bool HasCoarse();

  // To be called after that; ascending.
  const std::vector<Group>& Groups() const { return fGroups; }
  bool IsMerged() const { return fIsMerged; }
  Summary Summarize() const;

 private:
  // A group by the keys of its values.
  struct Cell {
    std::uint64_t least, greatest;
    double weight;
  };

  bool IsCoarse(std::uint64_t key) const;
  void Merge();
  void Coarsen();
  Moments FindMoments() const;

  std::vector<KeyedWeight> fNew;
  std::vector<Cell> fCells;   // of this pass, ascending
  unsigned fLowest = 0;       // bits that are equal within a cell
  std::vector<Cell> fCoarse;  // which this pass divides; none: it is the first one
  std::vector<Cell> fFine;    // of the passes before
  std::vector<Group> fGroups;
  bool fIsMerged = false;
  Moments fMoments;  // of all values, when some are merged
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

// Numbers in two parts each, which add up without rounding, whatever the order. The first part is a
// multiple of a power of two, the second one that of a smaller one (J. Demmel, H. D. Nguyen, Fast
// Reproducible Floating-Point Summation, 2013).
class Slicer {
 public:
  Slicer() = default;
  // For at most `count` numbers, whose magnitudes add up to `total`, below 2^1020.
  Slicer(double total, double count);

  double First(double number) const { return (number + fFirst) - fFirst; }
  // Of what First has left.
  double Second(double rest) const { return (rest + fSecond) - fSecond; }

 private:
  double fFirst = 0, fSecond = 0;  // to which numbers are added to round them
};

}  // namespace qxtree

#endif
