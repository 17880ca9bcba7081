// SPDX-FileCopyrightText: The qxutils authors
// SPDX-License-Identifier: Apache-2.0

// A table whose cells lie on disk as the numbers of bins, ready to grow a tree on.
#ifndef QXTREE_TABLE_H
#define QXTREE_TABLE_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "qxtree/bins.h"
#include "qxtree/cells.h"
#include "qxtree/column.h"
#include "qxtree/options.h"
#include "qxtree/peers.h"
#include "qxtree/process.h"
#include "qxtree/stream.h"

namespace qxtree {

// A column of the file.
struct TableColumn : ColumnFacts {
  std::string name;
  bool isIgnored = false;  // it is not read
  bool isInput = false;    // may explain the target
  std::string remark;      // what else it is

  std::size_t distinct = 0;  // categories, or values of training cases
  // Of training cases, where it is an input of numbers or dates.
  Bins bins;
  bool isMerged = false;
  Summary summary;
  // Of texts, in the order of their bytes, until the model takes them.
  std::vector<std::string> categories;

  // Without that of missing cells, which is the next one.
  std::size_t CountBins() const { return kind == Kind::Text ? distinct : bins.Count(); }
};

// Some inputs and the file of their bins: for each block of rows and each column the bins, of one
// byte each or two.
struct CodeGroup {
  std::vector<std::size_t> columns;  // in Table::columns
  std::vector<bool> isWide;          // two bytes
  Stream codes;
};

constexpr std::uint16_t kNoClass = 0xFFFF;

// The records of a block. `weights` are above 0 for training and below 0 for those held out. They
// are 0 for what is no case, without target or weight.
struct Cases {
  std::size_t rows = 0;
  std::vector<double> weights;
  std::vector<std::uint16_t> classes;  // classification; kNoClass: none
  std::vector<double> targets;         // regression: less the table's center
};

// What a regression adds up of its cases, without rounding.
enum : std::size_t { kCases, kSum, kSquares, kSumRest, kSquaresRest, kRegressionSums };
using CaseSums = std::array<double, kRegressionSums>;

struct Table {
  explicit Table(const Arbex_800::EnvironmentSettings& settings) : cases(settings) {}

  std::vector<TableColumn> columns;
  std::size_t target = 0;
  bool isRegression = false;
  std::vector<std::string> classes;
  double center = 0;  // near the mean of the target
  Slicer sumSlicer, squareSlicer;
  bool hasWeights = false;
  std::size_t rows = 0;                       // of this process
  std::size_t records = 0;                    // of all processes, as all else that is told
  long withoutTarget = 0, withoutWeight = 0;  // records
  std::size_t binBytes = 0;                   // of all columns
  std::vector<CodeGroup> groups;
  Stream cases;

  // Numbers that a histogram has for a bin: a class each, or the sums of a regression.
  std::size_t CountSums() const { return isRegression ? kRegressionSums : classes.size(); }
  // Of a case; `value` is the target less the center.
  CaseSums SumsOf(double weight, double value) const {
    const double number = weight * value, square = number * value;
    const double sum = sumSlicer.First(number), squares = squareSlicer.First(square);
    return {weight, sum, squares, sumSlicer.Second(number - sum),
            squareSlicer.Second(square - squares)};
  }
  // Of one node.
  std::size_t HistogramBytes(const TableColumn& column) const {
    return (column.CountBins() + 1) * CountSums() * sizeof(double);
  }
};

// Streams this process's part of the input into the folder. Throws UsageError for a column that is
// not there, and what FindParts, ReadCsv, streams and peers throw. Throws std::runtime_error when
// the memory does not suffice, a column's name can't be converted, or processes have different
// columns. It does so, too, for a target that does not fit the task, or whose squares overflow.
Table ReadTable(const Options& options, TempFolder& folder, Peers& peers);

// Whether a record is held out: by a number drawn from its own number and the seed (SplitMix64; G.
// L. Steele, D. Lea, C. H. Flood, Fast Splittable Pseudorandom Number Generators, 2014).
inline bool IsHeldOut(const Options& options, std::size_t row) {
  std::uint64_t bits = static_cast<std::uint64_t>(options.seed) + (row + 1) * 0x9E3779B97F4A7C15;
  bits = (bits ^ (bits >> 30)) * 0xBF58476D1CE4E5B9;
  bits = (bits ^ (bits >> 27)) * 0x94D049BB133111EB;
  bits ^= bits >> 31;
  return static_cast<double>(bits >> 11) * 0x1p-53 < options.holdout;
}

// Reads the records of a table in order, from the first one on. Throws as Stream does.
class CasesReader {
 public:
  explicit CasesReader(Table& table);

  // The next block. The last one has fewer rows, and after it there are none.
  const Cases& Next();

 private:
  Table& fTable;
  std::size_t fRow = 0;
  Cases fCases;
};

}  // namespace qxtree

#endif
