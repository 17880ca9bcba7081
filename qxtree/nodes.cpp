// SPDX-FileCopyrightText: The qxutils authors
// SPDX-License-Identifier: Apache-2.0

#include "qxtree/nodes.h"

#include <cmath>
#include <utility>

namespace qxtree {
namespace {

void MakeSplit(const Table& table, const Candidate& best, Split& split) {
  split.form = best.form;
  split.missingLeft = best.missingLeft;
  split.gain = best.gain;
  split.categories.assign(best.apart.begin(), best.apart.end());
  if (best.form == Split::Form::Cut) split.cut = table.columns[best.column].bins.cuts[best.cut];
}

}  // namespace

Model MakeModel(Table& table, const Options& options, const Impurity& impurity,
                std::vector<GrownNode>& nodes) {
  Model model;
  model.target = table.columns[table.target].name;
  model.isRegression = table.isRegression;
  model.classes = table.classes;
  model.missing = options.missing;
  std::vector<std::size_t> places(table.columns.size());
  for (std::size_t i = 0; i < table.columns.size(); ++i) {
    TableColumn& column = table.columns[i];
    if (!column.isInput) continue;
    places[i] = model.columns.size();
    model.columns.push_back({column.name, column.kind, std::move(column.categories)});
  }
  for (GrownNode& grown : nodes) {
    const Sums& sums = grown.sums;
    Node node;
    node.cases = impurity.CasesOf(sums.data());
    if (table.isRegression) {
      const double left = impurity.Of(sums.data());
      node.mean = table.center + impurity.MeanOf(sums.data());
      if (left > impurity.LeastImpurity(sums.data())) node.deviation = std::sqrt(left / node.cases);
    } else {
      node.classes = std::move(grown.sums);
    }
    node.left = grown.left;
    if (node.left > 0) {
      MakeSplit(table, grown.best, node.split);
      node.split.column = places[grown.best.column];
    }
    model.nodes.push_back(std::move(node));
  }
  return model;
}

}  // namespace qxtree
