// SPDX-FileCopyrightText: The qxutils authors
// SPDX-License-Identifier: Apache-2.0

#include "qxtree/tree.h"

#include <fmt/format.h>

#include <algorithm>
#include <functional>
#include <limits>
#include <set>
#include <stdexcept>
#include <utility>

#include "qxtree/nodes.h"
#include "qxtree/passes.h"
#include "qxtree/score.h"
#include "qxtree/split.h"

namespace qxtree {
namespace {

// Of a node, in the passes too, besides its sums and categories.
constexpr std::size_t kNodeBytes = 640;

// The training cases of all processes.
struct Root {
  Sums sums;
  bool hasDeviation = false;  // from the center

  void Add(const Root& other) {
    std::transform(sums.begin(), sums.end(), other.sums.begin(), sums.begin(), std::plus<>());
    hasDeviation = hasDeviation || other.hasDeviation;
  }
  template <class Self, class Visitor>
  static void Visit(Self& self, Visitor& visit) {
    visit(self.sums), visit(self.hasDeviation);
  }
};

class Grower {
 public:
  Grower(Table& table, const Options& options, Peers& peers,
         const Arbex_800::EnvironmentSettings& settings)
      : fTable(table),
        fOptions(options),
        fPeers(peers),
        fImpurity(table),
        fMemory((static_cast<std::size_t>(options.memory) - table.binBytes) / 4),
        fPasses(table, options, fImpurity, fMemory, peers, settings),
        fGains(table.columns.size()) {}

  Growth Grow() {
    PlantRoot();
    for (int level = 0; level < fOptions.depth && HasOpen(); ++level) {
      fPasses.SetName(fmt::format("level {}", level + 1));
      FindSplits();
      SplitNodes();
    }
    Growth growth{MakeModel(fTable, fOptions, fImpurity, fNodes), {}, {}, fGains};
    Test(growth);
    return growth;
  }

 private:
  void PlantRoot() {
    Root all{Sums(fImpurity.Count()), false};
    Sums& root = all.sums;
    fPasses.SetName("root");
    fPasses.Visit([&](const Cases& cases, const std::uint32_t*) {
      for (std::size_t row = 0; row < cases.rows; ++row) {
        const double weight = cases.weights[row];
        if (!(weight > 0)) continue;
        if (fTable.isRegression) {
          const CaseSums sums = fTable.SumsOf(weight, cases.targets[row]);
          std::transform(root.begin(), root.end(), sums.begin(), root.begin(), std::plus<>());
          all.hasDeviation = all.hasDeviation || cases.targets[row] != 0;
        } else {
          root[cases.classes[row]] += weight;
        }
      }
    });
    fPeers.Join(all);
    if (!(fImpurity.CasesOf(root.data()) > 0))
      throw std::runtime_error("there are no training cases");
    if (all.hasDeviation && root[kSquares] < std::numeric_limits<double>::min())
      throw std::runtime_error(
          fmt::format("target '{}': the numbers differ too little", fOptions.target));
    fLeastGain = fOptions.minGain * fImpurity.Of(root.data());
    AddNode(std::move(root));
  }

  void AddNode(Sums sums) {
    GrownNode node;
    const double cases = fImpurity.CasesOf(sums.data());
    const bool isPure = fImpurity.Of(sums.data()) <= fImpurity.LeastImpurity(sums.data());
    node.isOpen = !isPure && cases / 2 >= fOptions.minCases;
    fBytes += kNodeBytes + 4 * sums.size() * sizeof(double);  // those of the children, too
    CheckMemory();
    node.sums = std::move(sums);
    fNodes.push_back(std::move(node));
  }

  void CheckMemory() const {
    if (fBytes > fMemory)
      throw std::runtime_error(fmt::format(
          "memory: the tree's {} nodes and more need at least {}M; a lesser depth or more "
          "min-cases need less",
          fNodes.size(), (fBytes >> 20) * 4 + 8));
  }

  bool HasOpen() const {
    return std::any_of(fNodes.data() + fFirst, fNodes.data() + fNodes.size(),
                       [](const GrownNode& node) { return node.isOpen; });
  }

  void FindSplits() {
    std::vector<std::size_t> open;
    for (std::size_t node = fFirst; node < fNodes.size(); ++node)
      if (fNodes[node].isOpen) open.push_back(node);
    fPasses.FindSplits(open, fNodes);
  }

  // Gives the open nodes their children, which are the next level.
  void SplitNodes() {
    const std::size_t first = std::exchange(fFirst, fNodes.size());
    std::vector<Move> moves;
    std::size_t moveBytes = 0;
    for (std::size_t i = first; i < fFirst; ++i) {
      const Candidate& best = fNodes[i].best;
      if (!fNodes[i].isOpen || !(best.gain > 0) || best.gain < fLeastGain) continue;
      const std::size_t missing = fTable.columns[best.column].CountBins();
      Move& move =
          moves.emplace_back(Move{i, best.column, static_cast<std::uint32_t>(fNodes.size()), {}});
      for (std::size_t bin = 0; bin <= missing; ++bin)
        move.isLeft.push_back(best.GoesLeft(bin, missing));
      moveBytes += move.isLeft.capacity();
      fBytes += best.apart.capacity() * sizeof best.apart[0] * 3;
      if (fBytes + moveBytes > fMemory) fBytes += moveBytes;
      CheckMemory();
      fGains[best.column] += best.gain;
      fNodes[i].left = fNodes.size();
      Sums left = best.children[0], right = best.children[1];
      AddNode(std::move(left));
      AddNode(std::move(right));
    }
    fPasses.SetMoves(std::move(moves));
  }

  void Test(Growth& growth) {
    fPasses.SetName("test");
    std::vector<std::size_t> guesses;
    for (const Node& node : growth.model.nodes)
      guesses.push_back(fTable.isRegression ? 0 : node.Commonest());
    Score score(growth.model);
    fPasses.Visit([&](const Cases& cases, const std::uint32_t* nodes) {
      for (std::size_t row = 0; row < cases.rows; ++row) {
        const double weight = -cases.weights[row];
        if (!(weight > 0)) continue;
        if (fTable.isRegression) {
          score.AddNumber(fTable.center + cases.targets[row], growth.model.nodes[nodes[row]].mean,
                          weight);
        } else {
          score.AddClass(cases.classes[row], guesses[nodes[row]], weight);
        }
      }
    });
    fPeers.Join(score);
    growth.score = score.Line("held-out");
    growth.confusion = score.Table();
  }

  Table& fTable;
  const Options& fOptions;
  Peers& fPeers;
  const Impurity fImpurity;
  const std::size_t fMemory;  // for histograms, and for nodes
  std::size_t fBytes = 0;     // of nodes
  Passes fPasses;
  std::vector<double> fGains;
  std::vector<GrownNode> fNodes;
  std::size_t fFirst = 0;  // node of the level
  double fLeastGain = 0;
};

}  // namespace

Growth GrowTree(Table& table, const Options& options, Peers& peers,
                const Arbex_800::EnvironmentSettings& settings) {
  return Grower(table, options, peers, settings).Grow();
}

}  // namespace qxtree
