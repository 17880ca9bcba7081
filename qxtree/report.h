// SPDX-FileCopyrightText: The qxutils authors
// SPDX-License-Identifier: Apache-2.0

// What is shown of a table and of a tree grown on it. All text is UTF-8.
#ifndef QXTREE_REPORT_H
#define QXTREE_REPORT_H

#include <string>
#include <vector>

#include "qxtree/table.h"
#include "qxtree/tree.h"

namespace qxtree {

// The columns (numbers and dates of the training cases), the rules, the gain of each column, and
// how the tree does on held-out records.
std::string Report(const Table& table, const Growth& growth);

// A line for each column with malformed cells and for each one that is left out.
std::vector<std::string> Warnings(const Table& table);

// The tree as a graph in the language of Graphviz.
std::string Picture(const Table& table, const Model& model);

}  // namespace qxtree

#endif
