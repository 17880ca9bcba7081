// SPDX-FileCopyrightText: The qxutils authors
// SPDX-License-Identifier: Apache-2.0

#include "qxtree/model.h"

#include <algorithm>
#include <cmath>

namespace qxtree {

std::size_t Node::Commonest() const {
  return static_cast<std::size_t>(std::max_element(classes.begin(), classes.end()) -
                                  classes.begin());
}

std::size_t Model::LeafOf(const std::vector<double>& values) const {
  std::size_t index = 0;
  while (nodes[index].left > 0) {
    const Split& split = nodes[index].split;
    index = nodes[index].left + (GoesLeft(split, values[split.column]) ? 0 : 1);
  }
  return index;
}

bool GoesLeft(const Split& split, double value) {
  if (!std::isfinite(value)) return split.missingLeft;
  if (split.form == Split::Form::Cut) return value <= split.cut;
  const bool goesAway = split.form == Split::Form::Present ||
                        std::binary_search(split.categories.begin(), split.categories.end(),
                                           static_cast<std::uint32_t>(value));
  return goesAway != split.missingLeft;
}

}  // namespace qxtree
