// SPDX-FileCopyrightText: The qxutils authors
// SPDX-License-Identifier: Apache-2.0

// A grown tree with all that a prediction needs.
#ifndef QXTREE_MODEL_H
#define QXTREE_MODEL_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "qxtree/cells.h"

namespace qxtree {

// How the records of a node are told apart, by one column. A missing value goes to the side of
// `missingLeft`.
struct Split {
  enum class Form {
    Cut,         // a number or date: at most `cut` goes left
    Categories,  // a text: one of `categories` goes away from the missing, every other with them
    Present      // what is missing goes to its side, all else to the other
  };
  std::size_t column = 0;  // in Model::columns
  Form form = Form::Cut;
  bool missingLeft = false;
  double cut = 0;
  std::vector<std::uint32_t> categories;  // ascending, in ModelColumn::categories
  double gain = 0;                        // of the node's impurity, summed over its cases
};

struct Node {
  std::vector<double> classes;     // training cases by class; empty in regression
  double cases = 0;                // all training cases
  double mean = 0, deviation = 0;  // of the target, in regression
  std::size_t left = 0;            // the left child, the right one is the next; 0: a leaf
  Split split;

  std::size_t Commonest() const;  // the first class of the most cases
};

struct ModelColumn {
  std::string name;
  Kind kind = Kind::Number;
  std::vector<std::string> categories;  // of texts, in the order of their bytes
};

struct Model {
  std::string target;
  bool isRegression = false;
  std::vector<std::string> classes;  // empty in regression
  std::vector<std::string> missing;  // cells taken as missing, besides empty ones
  std::vector<ModelColumn> columns;  // that may explain the target
  std::vector<Node> nodes;           // the root first, then level by level

  // The leaf of a record. A value is a number, seconds, or a category's index; infinity: missing or
  // a category that the model does not know. REQUIRES: a value for each column (not checked).
  std::size_t LeafOf(const std::vector<double>& values) const;
};

// Whether a record with this value in the split's column goes left.
bool GoesLeft(const Split& split, double value);

}  // namespace qxtree

#endif
