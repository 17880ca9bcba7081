#include <fmt/format.h>

#include <algorithm>
#include <numeric>
#include <set>
#include <utility>

#include "qxtree/qxtree.h"

namespace qxtree {
namespace {

constexpr double kLeastGain = 1e-12;  // per case; less is what rounding does

// The training cases of one node by bin of one column, that of infinity last, and by class. They
// are plain sums, to which those of other records may be added.
struct Histogram {
  const double* cells;  // class by class within a bin
  std::size_t bins, classes;

  const double* Bin(std::size_t bin) const { return cells + bin * classes; }
  double Cases(std::size_t bin) const { return std::accumulate(Bin(bin), Bin(bin + 1), 0.0); }
  double Share(std::size_t bin) const { return *Bin(bin) / Cases(bin); }
};

void Add(Classes& to, const double* bin) {
  std::transform(to.begin(), to.end(), bin, to.begin(), std::plus<>());
}

double Sum(const Classes& classes) { return std::accumulate(classes.begin(), classes.end(), 0.0); }

// The cases less their Gini index times their number; squares of cases might be too large or small.
double Purity(const Classes& classes) {
  const double cases = Sum(classes);
  const auto add = [&](double purity, double part) { return purity + part / cases * part; };
  return std::accumulate(classes.begin(), classes.end(), 0.0, add);
}

bool IsBetter(double gain, const Split& than, double cases) {
  return gain > than.gain + kLeastGain * cases;
}

// The bins in the order in which they are cut; not the categories that have no cases.
std::vector<std::size_t> OrderBins(const Histogram& histogram, bool isText) {
  std::vector<std::size_t> order;
  for (std::size_t bin = 0; bin + 1 < histogram.bins; ++bin)
    if (!isText || histogram.Cases(bin) > 0) order.push_back(bin);
  if (isText && histogram.classes == 2)
    std::stable_sort(order.begin(), order.end(), [&](std::size_t a, std::size_t b) {
      return histogram.Share(a) < histogram.Share(b);
    });
  return order;
}

// The best split of the node, but for the children and the side of categories that have no cases.
Split FindCut(const Histogram& histogram, bool isText, double minCases) {
  Classes known(histogram.classes), left(histogram.classes), right(histogram.classes);
  for (std::size_t bin = 0; bin + 1 < histogram.bins; ++bin) Add(known, histogram.Bin(bin));
  const double* missing = histogram.Bin(histogram.bins - 1);
  Classes all = known, upTo = left;
  Add(all, missing);
  std::vector<bool> isLeft(histogram.bins);
  Split best;
  for (const std::size_t bin : OrderBins(histogram, isText)) {
    if (isText && histogram.classes > 2) {  // this one alone
      isLeft.assign(histogram.bins, false);
      upTo.assign(histogram.classes, 0.0);
    }
    isLeft[bin] = true;
    Add(upTo, histogram.Bin(bin));
    isLeft.back() = Sum(upTo) >= Sum(known) / 2;
    left = upTo;
    if (isLeft.back()) Add(left, missing);
    std::transform(all.begin(), all.end(), left.begin(), right.begin(), std::minus<>());
    if (Sum(left) < minCases || Sum(right) < minCases) continue;
    const double gain = Purity(left) + Purity(right) - Purity(all);
    if (IsBetter(gain, best, Sum(all))) best = {0, gain, isLeft, {}};
  }
  return best;
}

Split FindSplit(const Histogram& histogram, std::size_t column, bool isText, double minCases) {
  Split split = FindCut(histogram, isText, minCases);
  split.column = column;
  for (Classes& classes : split.children) classes.resize(histogram.classes);
  for (std::size_t bin = 0; bin < split.isLeft.size(); ++bin) {
    if (isText && !(histogram.Cases(bin) > 0)) split.isLeft[bin] = split.isLeft.back();
    Add(split.children[split.isLeft[bin] ? 0 : 1], histogram.Bin(bin));
  }
  return split;
}

class Grower {
 public:
  Grower(const Dataset& data, const Options& options)
      : fData(data), fOptions(options), fTarget(data.columns[data.target]), fNodeOf(data.rows) {}

  Tree Grow() {
    PlantRoot();
    for (int level = 0; level < fOptions.depth && !fOpen.empty(); ++level) {
      for (const std::size_t column : fData.inputs) FindSplits(column);
      std::set<std::size_t> columns;
      for (const std::size_t i : std::exchange(fOpen, {}))
        if (AddChildren(i)) columns.insert(fNodes[i].split.column);
      for (const std::size_t column : columns) MoveRecords(column);
    }
    Test();
    return std::move(fTree);
  }

 private:
  void PlantRoot() {
    Node root;
    root.classes.resize(fTarget.CountBins());
    Scan(fData, {fData.training, fData.target}, "root", [&](std::size_t, const double* values) {
      if (values[0] > 0) root.classes[fTarget.BinOf(values[1])] += values[0];
    });
    if (!(root.Cases() > 0)) throw std::runtime_error("there are no training cases");
    AddNode(std::move(root));
  }

  void AddNode(Node node) {
    const double cases = node.Cases();
    const bool isPure = node.classes[node.Commonest()] >= cases;
    if (!isPure && cases / 2 >= fOptions.minCases) fOpen.push_back(fNodes.size());
    fNodes.push_back(std::move(node));
  }

  // A better split by this column for the open nodes.
  void FindSplits(std::size_t index) {
    const Column& column = fData.columns[index];
    const bool isText = column.GetKind() == Kind::Text;
    const std::size_t bins = column.CountBins() + 1, classes = fTarget.CountBins();
    std::vector<Classes> cells(fNodes.size());  // none for the other nodes
    for (const std::size_t i : fOpen) cells[i].resize(bins * classes);
    const auto count = [&](std::size_t row, const double* values) {
      Classes& node = cells[fNodeOf[row]];
      if (node.empty() || !(values[0] > 0)) return;
      node[column.BinOf(values[1]) * classes + fTarget.BinOf(values[2])] += values[0];
    };
    Scan(fData, {fData.training, index, fData.target}, column.Name(), count);
    for (const std::size_t i : fOpen) {
      Split split = FindSplit({cells[i].data(), bins, classes}, index, isText, fOptions.minCases);
      Split& best = fNodes[i].split;
      if (IsBetter(split.gain, best, fNodes[i].Cases())) best = std::move(split);
    }
  }

  // Whether there is a split.
  bool AddChildren(std::size_t index) {
    if (!(fNodes[index].split.gain > 0)) return false;
    fNodes[index].left = fNodes.size();
    for (const int side : {0, 1}) {
      Node child;
      child.classes = std::move(fNodes[index].split.children[side]);
      AddNode(std::move(child));
    }
    return true;
  }

  // To the children of the nodes that are split by this column.
  void MoveRecords(std::size_t index) {
    const Column& column = fData.columns[index];
    Scan(fData, {index}, column.Name(), [&](std::size_t row, const double* values) {
      const Node& node = fNodes[fNodeOf[row]];
      if (node.left == 0 || node.split.column != index) return;
      const std::size_t side = node.split.isLeft[column.BinOf(values[0])] ? 0 : 1;
      fNodeOf[row] = static_cast<unsigned>(node.left + side);
    });
  }

  void Test() {
    std::vector<std::size_t> guesses;
    for (const Node& node : fNodes) guesses.push_back(node.Commonest());
    Scan(fData, {fData.heldOut, fData.target}, "test", [&](std::size_t row, const double* values) {
      if (!(values[0] > 0)) return;
      const std::size_t is = fTarget.BinOf(values[1]);
      fTree.heldOut += values[0];
      if (is == guesses[fNodeOf[row]]) fTree.correct += values[0];
      if (is == guesses[0]) fTree.commonest += values[0];
    });
  }

  const Dataset& fData;
  const Options& fOptions;
  const Column& fTarget;
  std::vector<unsigned> fNodeOf;  // by record
  Tree fTree;
  std::vector<Node>& fNodes = fTree.nodes;
  std::vector<std::size_t> fOpen;  // nodes of the level that may be split
};

}  // namespace

double Node::Cases() const { return Sum(classes); }

std::size_t Node::Commonest() const {
  const auto most = std::max_element(classes.begin(), classes.end());
  return static_cast<std::size_t>(most - classes.begin());
}

Tree GrowTree(const Dataset& data, const Options& options) { return Grower(data, options).Grow(); }

}  // namespace qxtree
