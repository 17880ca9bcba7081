// SPDX-FileCopyrightText: The qxutils authors
// SPDX-License-Identifier: Apache-2.0

// The passes over a table that grow a tree.
#ifndef QXTREE_PASSES_H
#define QXTREE_PASSES_H

#include <cstddef>
#include <string>
#include <utility>
#include <vector>

#include "qxtree/nodes.h"
#include "qxtree/options.h"
#include "qxtree/peers.h"
#include "qxtree/scan.h"
#include "qxtree/split.h"
#include "qxtree/table.h"

namespace qxtree {

// Moves records to their nodes and finds the best splits. One pass does both where all histograms
// fit. Processes add up their histograms. Each finds the gains by some of the columns, then they
// tell each other. Throws Interrupted and what streams and peers throw. All that is passed to the
// constructor must outlive it.
class Passes {
 public:
  // `memory`: bytes for histograms.
  Passes(Table& table, const Options& options, const Impurity& impurity, std::size_t memory,
         Peers& peers, const Arbex_800::EnvironmentSettings& settings);

  // From here on passes are of this name.
  void SetName(std::string name) { fName = std::move(name); }

  // The records of these nodes are to be moved by the next pass.
  void SetMoves(std::vector<Move> moves) { fMoves = std::move(moves); }

  // Improves the splits of the open nodes, whose numbers ascend.
  void FindSplits(const std::vector<std::size_t>& open, std::vector<GrownNode>& nodes);

  // Calls use(cases, nodes) for each block of this process's records.
  template <class Use>
  void Visit(Use use) {
    MoveRecords();
    Scan::Task task{fName.c_str()};
    if (fTable.groups.size() == 1) task = NewTask(fTable.groups[0]);
    fScan.Run(task, use);
  }

 private:
  // Some columns of a group, by place.
  struct Turn {
    CodeGroup& group;
    std::size_t first, end;
  };

  bool Moves(const CodeGroup& group) const;
  Scan::Task NewTask(CodeGroup& group) const;
  void MoveRecords();
  std::size_t EndOfTurn(const CodeGroup& group, std::size_t first, std::size_t nodes,
                        std::size_t& bytes) const;
  void CountNodes(const Turn& turn, const std::vector<std::size_t>& open,
                  std::vector<GrownNode>& nodes);
  void Choose(const Turn& own, const Counts& counts, const Turn& turn,
              const std::vector<std::size_t>& open, std::vector<GrownNode>& nodes);

  Table& fTable;
  const Options& fOptions;
  const Impurity& fImpurity;
  const std::size_t fMemory;
  Peers& fPeers;
  Scan fScan;
  std::string fName;
  std::vector<Move> fMoves;  // still to be made
};

}  // namespace qxtree

#endif
