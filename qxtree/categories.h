// SPDX-FileCopyrightText: The qxutils authors
// SPDX-License-Identifier: Apache-2.0

// The texts of a column of texts.
#ifndef QXTREE_CATEGORIES_H
#define QXTREE_CATEGORIES_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "qxtree/dictionary.h"
#include "qxtree/peers.h"

namespace qxtree {

// The texts of a column in the order of their bytes, in UTF-8. They are those of all processes.
struct Categories {
  std::vector<std::string> texts;
  std::vector<std::uint16_t> placeOf;  // of this process's, by code
  std::size_t mostBytes = 0;           // that texts may take
  std::string whyNot;                  // not empty: there are too many, and none is left

  std::size_t Bytes() const;  // that they take
  void Add(Categories&& other);
  template <class Self, class Visitor>
  static void Visit(Self& self, Visitor& visit) {
    visit(self.texts), visit(self.whyNot);
  }
};
Categories SortCategories(const Dictionary& dictionary, std::size_t mostBytes, Peers& peers);

}  // namespace qxtree

#endif
