// SPDX-FileCopyrightText: The qxutils authors
// SPDX-License-Identifier: Apache-2.0

// The best split of a node by one column.
#ifndef QXTREE_SPLIT_H
#define QXTREE_SPLIT_H

#include <cstddef>
#include <cstdint>
#include <vector>

#include "qxtree/model.h"
#include "qxtree/table.h"

namespace qxtree {

// What is known of some training cases. Classification: the cases by class. Regression: CaseSums.
// Sums of groups add up to that of both, and differences are exact, too.
using Sums = std::vector<double>;

// What a tree is judged by: the Gini index, or the variance, each times the cases.
class Impurity {
 public:
  explicit Impurity(const Table& table)
      : fIsRegression(table.isRegression), fCount(table.CountSums()) {}

  std::size_t Count() const { return fCount; }
  bool IsRegression() const { return fIsRegression; }
  double CasesOf(const double* sums) const;
  double Of(const double* sums) const;
  // What is gained by a division into these. It does not suffer from cancellation as the difference
  // of impurities does.
  double Gain(const double* left, const double* right) const;
  // Rounding alone may bring about a smaller impurity, or a smaller gain, of what has none.
  double LeastImpurity(const double* sums) const { return kRounding * Scale(sums); }
  double LeastGain(const double* sums) const { return kRounding * kRounding * Scale(sums); }
  // Of the target, or the share of the second class.
  double MeanOf(const double* sums) const {
    return (fIsRegression ? SumOf(sums) : sums[1]) / CasesOf(sums);
  }

 private:
  static constexpr double kRounding = 1e-13;

  static double SumOf(const double* sums) { return sums[kSum] + sums[kSumRest]; }
  static double SquaresOf(const double* sums) { return sums[kSquares] + sums[kSquaresRest]; }
  double Scale(const double* sums) const { return fIsRegression ? SquaresOf(sums) : CasesOf(sums); }

  bool fIsRegression;
  std::size_t fCount;
};

// A split of a node, as far as it is found.
struct Candidate {
  double gain = 0;         // 0: there is none
  std::size_t column = 0;  // in Table::columns
  Split::Form form = Split::Form::Cut;
  bool missingLeft = false;
  std::size_t cut = 0;               // the last bin that goes left
  std::vector<std::uint16_t> apart;  // categories that don't go with the missing, ascending
  Sums children[2];                  // left and right

  template <class Self, class Visitor>
  static void Visit(Self& self, Visitor& visit) {
    visit(self.gain), visit(self.column), visit(self.form), visit(self.missingLeft);
    visit(self.cut), visit(self.apart), visit(self.children[0]), visit(self.children[1]);
  }
  bool GoesLeft(std::size_t bin, std::size_t missing) const;
};

// The training cases of one node by bin of one column, that of missing cells last.
struct Histogram {
  const double* cells;  // the sums of the first bin, then those of the next one
  std::size_t bins;     // with that of missing cells
};

// Whether a gain is greater than another one, by more than rounding may bring about.
inline bool IsBetter(double gain, double than) { return gain > than * (1 + 1e-13); }

// The best split of the node by this column.
//
// Values are cut between bins. Categories with fewer than `minCases` go with the missing. The
// others are ordered and cut:
//
// - for two classes by the share of one, for numbers by their mean (Breiman, Friedman, Olshen,
//   Stone, "Classification and Regression Trees", 1984)
// - for more classes by the first principal component of their shares (Coppersmith, Hong, Hosking,
//   "Partitioning Nominal Attributes in Decision Trees", 1999); also each against the rest
//
// What is missing is tried on either side (Chen, Guestrin, "XGBoost: A Scalable Tree Boosting
// System", 2016), and on its own. Of equal gains the first one is taken.
Candidate FindSplit(const Histogram& histogram, const TableColumn& column, std::size_t number,
                    const Impurity& impurity, double minCases);

}  // namespace qxtree

#endif
