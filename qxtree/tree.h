// SPDX-FileCopyrightText: The qxutils authors
// SPDX-License-Identifier: Apache-2.0

// Grows a tree on a table, level by level.
#ifndef QXTREE_TREE_H
#define QXTREE_TREE_H

#include <cstddef>
#include <string>
#include <vector>

#include "qxtree/model.h"
#include "qxtree/options.h"
#include "qxtree/table.h"

namespace qxtree {

struct Growth {
  Model model;
  std::string score;          // of the held-out records, a line
  std::string confusion;      // of their classes, a line each; empty when there are too many
  std::vector<double> gains;  // by column of the table: of the splits by it
};

// One pass over the table a level: it moves the records to their nodes and counts them by bin.
// Where there are more columns or nodes than fit, there are several. The node of each record lies
// on disk.
//
// Splits are found as FindSplit says; of equal gains the first column is taken. A split needs
// `options.minGain` of the root's impurity.
//
// `settings` name the folder for temporary files. Throws Interrupted and what streams and peers
// throw. All processes get the same result. Throws std::runtime_error when there are no training
// cases, and when the nodes do not fit into the memory. It does so, too, when squares of the
// target's deviations vanish.
Growth GrowTree(Table& table, const Options& options, Peers& peers,
                const Arbex_800::EnvironmentSettings& settings);

}  // namespace qxtree

#endif
