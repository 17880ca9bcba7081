// SPDX-FileCopyrightText: The qxutils authors
// SPDX-License-Identifier: Apache-2.0

// Settles what the target is and which records are cases.
#ifndef QXTREE_TARGET_H
#define QXTREE_TARGET_H

#include "qxtree/importer.h"
#include "qxtree/options.h"
#include "qxtree/table.h"

namespace qxtree {

// Fills in what the table says of its target and writes `table.cases`. Texts, and few distinct
// whole numbers, are classes unless the options decide. Weights are rounded so that they add up
// without further rounding, whatever the order. Throws as ReadTable does.
void ReadTarget(Import& import, const Options& options, Peers& peers, Table& table);

}  // namespace qxtree

#endif
