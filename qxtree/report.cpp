#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <iomanip>
#include <sstream>

#include "qxtree/qxtree.h"
#include "qxutils/text/localeutil.h"

namespace qxtree {
namespace {

constexpr char kLine[] = "{:<16} {:<7} {:>8} {:>9} {:>8} {:>5}  {}\n";
constexpr const char* kKinds[] = {"empty", "number", "date", "text"};

std::string Number(double value, const char* format = nullptr) {
  return std::isfinite(value) ? qxg_800::Format(value, false, format) : "-";
}

// A column's line in the table.
std::string Line(const Column& column) {
  const qxg_800::QxStatistics& values = column.Statistics();
  const bool isDate = column.GetKind() == Kind::Date, isText = column.GetKind() == Kind::Text;
  const double mean = values.GetMean(), deviation = values.GetStDev();
  const std::string text = fmt::format(
      "{} to {}, mean {}, deviation {}", column.ValueText(values.GetMinimum()),
      column.ValueText(values.GetMaximum()), isDate ? column.ValueText(mean) : Number(mean, "%.6g"),
      isDate ? Number(deviation / 86400, "%.6g") + " days" : Number(deviation, "%.6g"));
  return fmt::format(kLine, OneLine(column.Name()), kKinds[static_cast<int>(column.GetKind())],
                     column.CountMissing(), column.CountMalformed(),
                     column.IsMerged() ? "merged" : std::to_string(column.CountDistinct()),
                     column.CountBins(), isText || column.CountBins() == 0 ? "" : text);
}

// What one side of a split asks of the column. Of categories those of the lighter side are named,
// since all that remain go to the heavier one.
std::string Condition(const Split& split, bool isLeft, const Column& column) {
  const bool isHeavier = split.isLeft.back() == isLeft;
  if (column.GetKind() == Kind::Text) {
    std::string text;
    for (std::size_t bin = 0; bin < column.CountBins(); ++bin)
      if (split.isLeft[bin] != split.isLeft.back())
        text += fmt::format("{}\"{}\"", text.empty() ? "" : ", ", column.BinText(bin));
    return OneLine(fmt::format("{} {{{}}}", isHeavier ? "not in" : "in", text));
  }
  const auto right = std::find(split.isLeft.begin(), split.isLeft.end(), false);
  const auto cut = static_cast<std::size_t>(right - split.isLeft.begin()) - 1;
  const bool mayMiss = column.CountMissing() + column.CountMalformed() > 0;
  return fmt::format("{} {}{}", isLeft ? "<=" : ">", column.BinText(cut),
                     isHeavier && mayMiss ? " or missing" : "");
}

std::string Quoted(const std::string& text) {
  std::ostringstream stream;
  stream << std::quoted(text);
  return stream.str();
}

// Adds the part of the tree from a node on down to its leaves.
void AddNode(const Tree& tree, const Dataset& data, std::size_t index, const std::string& indent,
             Results& to) {
  const Node& node = tree.nodes[index];
  const std::size_t commonest = node.Commonest();
  const std::string guess =
      fmt::format("{} ({} of {})", OneLine(data.columns[data.target].BinText(commonest)),
                  Number(node.classes[commonest]), Number(node.Cases()));
  const Column& column = data.columns[node.split.column];
  const std::string name = OneLine(column.Name());
  to.report += (node.left > 0 ? ": " : " => ") + guess + '\n';
  to.dot += node.left > 0
                ? fmt::format("  {} [label={}];\n", index, Quoted(name))
                : fmt::format("  {} [label={}, fillcolor=lightgrey];\n", index, Quoted(guess));
  if (node.left == 0) return;
  for (const std::size_t child : {node.left, node.left + 1}) {
    const std::string condition = Condition(node.split, child == node.left, column);
    to.report += fmt::format("{}{} {}", indent, name, condition);
    to.dot += fmt::format("  {} -> {} [label={}];\n", index, child, Quoted(' ' + condition));
    AddNode(tree, data, child, indent + "  ", to);
  }
}

}  // namespace

Results Report(const Tree& tree, const Dataset& data) {
  Results results;
  results.report = fmt::format(kLine, "column", "kind", "missing", "malformed", "distinct", "bins",
                               "values of training cases (distinct numbers too)");
  for (const Column& column : data.columns) results.report += Line(column);
  results.report += fmt::format(
      "records {}, without target {}, without weight {}; cases for training {}, held out {}\n\nall",
      data.rows, data.withoutTarget, data.withoutWeight, Number(tree.nodes[0].Cases()),
      Number(tree.heldOut));
  results.dot =
      "digraph tree {\n  node [shape=box, style=\"rounded,filled\", fillcolor=white, "
      "fontname=Helvetica];\n  edge [fontname=Helvetica, fontsize=11];\n";
  AddNode(tree, data, 0, "  ", results);
  results.dot += "}\n";
  results.report +=
      !(tree.heldOut > 0)
          ? "\nheld-out accuracy unknown (no held-out cases)\n"
          : fmt::format("\nheld-out accuracy {:.4f} ({} of {} cases), commonest class {:.4f}\n",
                        tree.correct / tree.heldOut, Number(tree.correct), Number(tree.heldOut),
                        tree.commonest / tree.heldOut);
  return results;
}

std::string OneLine(std::string text) {
  const auto isControl = [](unsigned char byte) { return byte < ' ' || byte == '\x7f'; };
  std::replace_if(text.begin(), text.end(), isControl, ' ');
  return text;
}

}  // namespace qxtree
