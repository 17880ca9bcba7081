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
#include "qxtree/scan.h"
#include "qxtree/score.h"
#include "qxtree/split.h"

namespace qxtree {
namespace {

// Of a node, in the passes too, besides its sums and categories.
constexpr std::size_t kNodeBytes = 640;

class Grower {
 public:
  Grower(Table& table, const Options& options, const Arbex_800::EnvironmentSettings& settings)
      : fTable(table),
        fOptions(options),
        fImpurity(table),
        fScan(table, settings),
        fMemory((static_cast<std::size_t>(options.memory) - table.binBytes) / 4),
        fGains(table.columns.size()) {}

  Growth Grow() {
    PlantRoot();
    for (int level = 0; level < fOptions.depth && HasOpen(); ++level) {
      fName = fmt::format("level {}", level + 1);
      FindSplits();
      SplitNodes();
    }
    Growth growth{MakeModel(fTable, fOptions, fImpurity, fNodes), {}, {}, fGains};
    Test(growth);
    return growth;
  }

 private:
  void PlantRoot() {
    Sums root(fImpurity.Count());
    bool hasDeviation = false;  // from the center
    fScan.Run({"root"}, [&](const Cases& cases, const std::uint32_t*) {
      for (std::size_t row = 0; row < cases.rows; ++row) {
        const double weight = cases.weights[row];
        if (!(weight > 0)) continue;
        if (fTable.isRegression) {
          const CaseSums sums = fTable.SumsOf(weight, cases.targets[row]);
          std::transform(root.begin(), root.end(), sums.begin(), root.begin(), std::plus<>());
          hasDeviation = hasDeviation || cases.targets[row] != 0;
        } else {
          root[cases.classes[row]] += weight;
        }
      }
    });
    if (!(fImpurity.CasesOf(root.data()) > 0))
      throw std::runtime_error("there are no training cases");
    if (hasDeviation && root[kSquares] < std::numeric_limits<double>::min())
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

  bool Moves(const CodeGroup& group) const {
    return std::any_of(fMoves.begin(), fMoves.end(), [&](const Move& move) {
      return std::find(group.columns.begin(), group.columns.end(), move.column) !=
             group.columns.end();
    });
  }

  // A pass over the group that moves records first, if they are to be moved.
  Scan::Task NewTask(CodeGroup& group) const {
    Scan::Task task{fName.c_str(), &group};
    if (Moves(group)) task.moves = &fMoves;
    return task;
  }

  // By all groups but a single one, whose next pass does it.
  void MoveRecords() {
    if (fTable.groups.size() < 2) return;
    for (CodeGroup& group : fTable.groups)
      if (Moves(group)) fScan.Run(NewTask(group));
    fMoves.clear();
  }

  void FindSplits() {
    MoveRecords();
    std::vector<std::size_t> open;
    for (std::size_t node = fFirst; node < fNodes.size(); ++node)
      if (fNodes[node].isOpen) open.push_back(node);
    for (CodeGroup& group : fTable.groups)
      for (std::size_t column = 0; column < group.columns.size();)
        column = CountTurn(group, column, open);
  }

  // Counts for the open nodes as many columns as fit, from this one on, and returns the next one.
  // Where not even one fits for all nodes, these are counted in turns.
  std::size_t CountTurn(CodeGroup& group, std::size_t first, const std::vector<std::size_t>& open) {
    const auto bytesOf = [&](std::size_t place) {
      return fTable.HistogramBytes(fTable.columns[group.columns[place]]);
    };
    std::size_t end = first + 1, bytes = bytesOf(first);
    for (; end < group.columns.size(); ++end) {
      const std::size_t more = bytesOf(end);
      if ((bytes + more) * open.size() > fMemory) break;
      bytes += more;
    }
    const std::size_t nodes = std::clamp<std::size_t>(fMemory / bytes, 1, open.size());
    for (std::size_t start = 0; start < open.size(); start += nodes)
      CountNodes(group, first, end,
                 {open.data() + start, open.data() + std::min(start + nodes, open.size())});
    return end;
  }

  void CountNodes(CodeGroup& group, std::size_t first, std::size_t end,
                  const std::vector<std::size_t>& nodes) {
    Counts counts(fTable, group, first, end, nodes.size());
    std::vector<std::uint32_t> slots(fNodes.size(), Counts::kNoSlot);
    for (std::size_t slot = 0; slot < nodes.size(); ++slot)
      slots[nodes[slot]] = static_cast<std::uint32_t>(slot);
    Scan::Task task = NewTask(group);
    task.counts = &counts;
    task.slots = &slots;
    fScan.Run(task);
    if (task.moves) fMoves.clear();
    for (std::size_t slot = 0; slot < nodes.size(); ++slot)
      for (std::size_t place = first; place < end; ++place) {
        const std::size_t column = group.columns[place];
        GrownNode& node = fNodes[nodes[slot]];
        ImproveSplit(counts.Of(place, slot), fTable.columns[column], column, fImpurity,
                     fOptions.minCases, node.best);
      }
  }

  // Gives the open nodes their children, which are the next level.
  void SplitNodes() {
    const std::size_t first = std::exchange(fFirst, fNodes.size());
    fMoves.clear();
    std::size_t moves = 0;
    for (std::size_t i = first; i < fFirst; ++i) {
      const Candidate& best = fNodes[i].best;
      if (!fNodes[i].isOpen || !(best.gain > 0) || best.gain < fLeastGain) continue;
      const std::size_t missing = fTable.columns[best.column].CountBins();
      Move& move =
          fMoves.emplace_back(Move{i, best.column, static_cast<std::uint32_t>(fNodes.size()), {}});
      for (std::size_t bin = 0; bin <= missing; ++bin)
        move.isLeft.push_back(best.GoesLeft(bin, missing));
      moves += move.isLeft.capacity();
      fBytes += best.apart.capacity() * sizeof best.apart[0] * 3;
      if (fBytes + moves > fMemory) fBytes += moves;
      CheckMemory();
      fGains[best.column] += best.gain;
      fNodes[i].left = fNodes.size();
      Sums left = best.children[0], right = best.children[1];
      AddNode(std::move(left));
      AddNode(std::move(right));
    }
  }

  void Test(Growth& growth) {
    fName = "test";
    MoveRecords();
    Scan::Task task{fName.c_str()};
    if (fTable.groups.size() == 1) task = NewTask(fTable.groups[0]);
    std::vector<std::size_t> guesses;
    for (const Node& node : growth.model.nodes)
      guesses.push_back(fTable.isRegression ? 0 : node.Commonest());
    Score score(growth.model);
    fScan.Run(task, [&](const Cases& cases, const std::uint32_t* nodes) {
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
    growth.score = score.Line("held-out");
    growth.confusion = score.Table();
  }

  Table& fTable;
  const Options& fOptions;
  const Impurity fImpurity;
  Scan fScan;
  const std::size_t fMemory;  // for histograms, and for nodes
  std::size_t fBytes = 0;     // of nodes
  std::vector<double> fGains;
  std::string fName;  // of what is done
  std::vector<GrownNode> fNodes;
  std::size_t fFirst = 0;    // node of the level
  std::vector<Move> fMoves;  // still to be made
  double fLeastGain = 0;
};

}  // namespace

Growth GrowTree(Table& table, const Options& options,
                const Arbex_800::EnvironmentSettings& settings) {
  return Grower(table, options, settings).Grow();
}

}  // namespace qxtree
