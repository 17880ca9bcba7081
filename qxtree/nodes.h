// SPDX-FileCopyrightText: The qxutils authors
// SPDX-License-Identifier: Apache-2.0

// The nodes of a tree that grows, and the model that they make.
#ifndef QXTREE_NODES_H
#define QXTREE_NODES_H

#include <cstddef>
#include <vector>

#include "qxtree/model.h"
#include "qxtree/options.h"
#include "qxtree/split.h"
#include "qxtree/table.h"

namespace qxtree {

struct GrownNode {
  Sums sums;
  bool isOpen = false;   // may be split
  std::size_t left = 0;  // the left child, the right one is the next; 0: a leaf
  Candidate best;        // the split
};

// Takes the nodes' sums and the table's categories.
Model MakeModel(Table& table, const Options& options, const Impurity& impurity,
                std::vector<GrownNode>& nodes);

}  // namespace qxtree

#endif
