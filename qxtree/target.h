// SPDX-FileCopyrightText: The qxutils authors
// SPDX-License-Identifier: Apache-2.0

// Settles what the target is and which records are cases.
#ifndef QXTREE_TARGET_H
#define QXTREE_TARGET_H

#include <cstdint>
#include <vector>

#include "qxtree/importer.h"
#include "qxtree/options.h"
#include "qxtree/table.h"

namespace qxtree {

// Fills in what the table says of its target and writes `table.cases`. Texts, and few distinct
// whole numbers, are classes unless the options decide. Weights are rounded so that they add up
// without further rounding, whatever the order. Throws as ReadTable does.
void ReadTarget(Import& import, const Options& options, Peers& peers, Table& table);

// The texts of a column in the order of their bytes, in UTF-8, those of all processes; and by code
// the place of each of this process's.
struct Categories {
  std::vector<std::string> texts;
  std::vector<std::uint16_t> placeOf;
  std::size_t mostBytes = 0;  // of texts
  std::string whyNot;         // not empty: there are too many, and none is left

  void Add(const Categories& other);
  template <class Self, class Visitor>
  static void Visit(Self& self, Visitor& visit) {
    visit(self.texts), visit(self.whyNot);
  }
};
Categories SortCategories(const Dictionary& dictionary, std::size_t mostBytes, Peers& peers);

}  // namespace qxtree

#endif
