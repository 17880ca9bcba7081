// SPDX-FileCopyrightText: The qxutils authors
// SPDX-License-Identifier: Apache-2.0

// One pass over a table: moves records to their nodes, counts them, and tests the tree.
#ifndef QXTREE_SCAN_H
#define QXTREE_SCAN_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "qxtree/split.h"
#include "qxtree/stream.h"
#include "qxtree/table.h"

namespace qxtree {

// Where the records of a node that was split go.
struct Move {
  std::size_t node = 0;
  std::size_t column = 0;             // in Table::columns
  std::uint32_t left = 0;             // the left child; the right one is the next
  std::vector<unsigned char> isLeft;  // by bin, that of missing cells last
};

// The histograms of some nodes and some columns of a group.
class Counts {
 public:
  // In place of the slot of a node that is not counted.
  static constexpr std::uint32_t kNoSlot = 0xFFFFFFFF;
  Counts(const Table& table, const CodeGroup& group, std::size_t firstColumn, std::size_t endColumn,
         std::size_t slots);

  Histogram Of(std::size_t column, std::size_t slot) const;  // by place in the group
  std::vector<double>& Cells() { return fCells; }            // column after column
  std::size_t SizeOf(std::size_t column) const;              // in Cells()
  std::size_t First() const { return fFirst; }
  std::size_t End() const { return fEnd; }

  // A training case.
  struct Case {
    std::uint32_t row;  // of the block
    std::uint32_t slot;
    double weight;
  };
  // Counts cases by the bins of one column of the group. `sums` are those of each row of the block,
  // in regression.
  template <class Bin>
  void Add(std::size_t column, const Bin* bins, const Case* chosen, const Case* end,
           const std::uint16_t* classes, const CaseSums* sums);

 private:
  std::size_t fFirst, fEnd, fSums;
  bool fIsRegression;
  std::vector<std::size_t> fBins, fStarts;  // by column from fFirst on
  std::vector<double> fCells;
};

// Runs passes over a table. The node of each record, the root at first, is kept on disk. Throws
// Interrupted and as Stream does. Table and settings must outlive it.
class Scan {
 public:
  Scan(Table& table, const Arbex_800::EnvironmentSettings& settings);

  // What a pass is to do. Null: not this.
  struct Task {
    const char* name = "";
    CodeGroup* group = nullptr;                         // whose bins are read
    const std::vector<Move>* moves = nullptr;           // to the newest nodes of the tree
    Counts* counts = nullptr;                           // with `slots`
    const std::vector<std::uint32_t>* slots = nullptr;  // of all nodes, or kNoSlot
  };

  // `use` gets each block's cases and the nodes of its records, after the moves.
  template <class Use>
  void Run(const Task& task, Use use) {
    Begin(task);
    for (std::size_t row = 0; row < fTable.rows; row += kBlockRows) use(Next(task), fNodes.data());
    End(task);
  }
  void Run(const Task& task) {
    Run(task, [](const Cases&, const std::uint32_t*) {});
  }

 private:
  void Begin(const Task& task);
  const Cases& Next(const Task& task);
  void End(const Task& task);
  void ReadBins(CodeGroup& group, std::size_t rows);
  void MoveRecords(std::size_t rows);
  void Count(const Task& task, const Cases& cases);
  void BeginMoves(const Task& task);
  void ReadNodes(std::size_t rows);
  void WriteNodes(std::size_t rows);

  Table& fTable;
  const Arbex_800::EnvironmentSettings& fSettings;
  std::optional<CasesReader> fCases;
  // Where the records of a node go in the pass.
  struct Step {
    std::size_t place = 0;   // of the column in the group
    std::uint16_t mask = 0;  // of a bin in two bytes
    std::uint32_t left = 0;
    const unsigned char* isLeft = nullptr;
  };

  std::optional<Stream> fOld, fNew;  // nodes of the records, before the pass and after it
  bool fIsOldNarrow = false, fIsNewNarrow = false;  // numbers of one byte
  std::size_t fRow = 0;
  std::vector<std::uint32_t> fNodes;  // of the block
  std::vector<Step> fSteps;           // of all nodes
  std::vector<unsigned char> fBins;   // of the block, column after column
  std::vector<std::size_t> fStarts;   // in fBins
  std::vector<std::uint16_t> fWide;   // of one column of the block
  std::vector<Counts::Case> fChosen;
  std::vector<CaseSums> fSums;
};

}  // namespace qxtree

#endif
