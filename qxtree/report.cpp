// SPDX-FileCopyrightText: The qxutils authors
// SPDX-License-Identifier: Apache-2.0

#include "qxtree/report.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <iomanip>
#include <numeric>
#include <sstream>

#include "qxutils/text/localeutil.h"

namespace qxtree {
namespace {

constexpr char kLine[] = "{:<16} {:<7} {:>8} {:>9} {:>8} {:>5}  {}\n";
constexpr std::size_t kMostNamed = 8;    // categories
constexpr std::size_t kMostShown = 100;  // bytes of a name or category

std::string Number(double value, const char* format = nullptr) {
  return std::isfinite(value) ? qxg_800::Format(value, false, format) : "-";
}

// In one line, and cut between characters of UTF-8 where it is long: a name stands in many rules.
std::string Shown(const std::string& text) {
  if (text.size() <= kMostShown) return OneLine(text);
  std::size_t bytes = kMostShown;
  while (bytes > 0 && (static_cast<unsigned char>(text[bytes]) & 0xC0) == 0x80) --bytes;
  return OneLine(text.substr(0, bytes)) + "...";
}

// A column's line in the table. Of one that is left out not all cells were looked at.
std::string Line(const TableColumn& column) {
  if (column.isIgnored)
    return fmt::format(kLine, Shown(column.name), "ignored", "", "", "", "", "");
  const Summary& values = column.summary;
  const bool isDate = column.kind == Kind::Date;
  std::string text = column.remark + column.whyLeftOut;
  if (column.isInput && column.CountBins() > 0 && column.kind != Kind::Text) {
    text = fmt::format("{} to {}, mean {}, deviation {}", ValueText(column.kind, values.least),
                       ValueText(column.kind, values.greatest),
                       isDate ? ValueText(column.kind, values.mean) : Number(values.mean, "%.6g"),
                       isDate ? Number(values.deviation / 86400, "%.6g") + " days"
                              : Number(values.deviation, "%.6g"));
  }
  const std::string distinct = !column.isInput   ? ""
                               : column.isMerged ? "merged"
                                                 : std::to_string(column.distinct);
  const auto count = [&](long cells) {
    return column.whyLeftOut.empty() ? std::to_string(cells) : "";
  };
  return fmt::format(kLine, Shown(column.name),
                     column.isEmpty ? "empty" : kKindNames[static_cast<int>(column.kind)],
                     count(column.missing), count(column.malformed), distinct,
                     column.isInput ? std::to_string(column.CountBins()) : "", text);
}

// The rules of a tree. They say where missing cells go only of columns that have some.
class Rules {
 public:
  Rules(const Table& table, const Model& model) : fModel(model) {
    for (const TableColumn& column : table.columns)
      if (column.isInput) fMayMiss.push_back(column.missing + column.malformed > 0);
  }

  // What one side of a split asks of its column.
  std::string Condition(const Split& split, bool isLeft) const;
  // What a node predicts.
  std::string Guess(const Node& node) const;
  // Adds those from a node on down to its leaves.
  void Add(std::size_t index, const std::string& indent, std::string& to) const;

 private:
  const Model& fModel;
  std::vector<bool> fMayMiss;  // by Model::columns
};

std::string Rules::Condition(const Split& split, bool isLeft) const {
  const ModelColumn& column = fModel.columns[split.column];
  const bool hasMissing = split.missingLeft == isLeft;
  if (split.form == Split::Form::Present) return hasMissing ? "is missing" : "is not missing";
  if (split.form == Split::Form::Cut)
    return fmt::format("{} {}{}", isLeft ? "<=" : ">", ValueText(column.kind, split.cut),
                       hasMissing && fMayMiss[split.column] ? " or missing" : "");
  std::string names;
  for (std::size_t i = 0; i < std::min(kMostNamed, split.categories.size()); ++i)
    names +=
        fmt::format("{}\"{}\"", i > 0 ? ", " : "", Shown(column.categories[split.categories[i]]));
  if (split.categories.size() > kMostNamed)
    names += fmt::format(" and {} more", split.categories.size() - kMostNamed);
  return fmt::format("{} {{{}}}", hasMissing ? "not in" : "in", names);
}

std::string Rules::Guess(const Node& node) const {
  if (fModel.isRegression)
    return fmt::format("{} (deviation {}, {} cases)", Number(node.mean, "%.6g"),
                       Number(node.deviation, "%.6g"), Number(node.cases));
  const std::size_t commonest = node.Commonest();
  return fmt::format("{} ({} of {})", Shown(fModel.classes[commonest]),
                     Number(node.classes[commonest]), Number(node.cases));
}

void Rules::Add(std::size_t index, const std::string& indent, std::string& to) const {
  const Node& node = fModel.nodes[index];
  to += (node.left > 0 ? ": " : " => ") + Guess(node) + '\n';
  if (node.left == 0) return;
  const std::string name = Shown(fModel.columns[node.split.column].name);
  for (const bool isLeft : {true, false}) {
    to += fmt::format("{}{} {}", indent, name, Condition(node.split, isLeft));
    Add(node.left + (isLeft ? 0 : 1), indent + "  ", to);
  }
}

std::string Quoted(const std::string& text) {
  std::ostringstream stream;
  stream << std::quoted(text);
  return stream.str();
}

// The columns that gain something, the greatest share first.
std::string Gains(const Table& table, const std::vector<double>& gains) {
  const double total = std::accumulate(gains.begin(), gains.end(), 0.0);
  std::vector<std::size_t> order;
  for (std::size_t i = 0; i < gains.size(); ++i)
    if (gains[i] > 0) order.push_back(i);
  std::stable_sort(order.begin(), order.end(),
                   [&](std::size_t a, std::size_t b) { return gains[a] > gains[b]; });
  std::string text;
  for (const std::size_t i : order)
    text +=
        fmt::format("  {:<16} {:6.2f} %\n", Shown(table.columns[i].name), 100 * gains[i] / total);
  return text.empty() ? "" : "\ngain by column\n" + text;
}

}  // namespace

std::string Report(const Table& table, const Growth& growth) {
  std::string text = fmt::format(kLine, "column", "kind", "missing", "malformed", "distinct",
                                 "bins", "values of training cases (distinct numbers too)");
  for (const TableColumn& column : table.columns) text += Line(column);
  text += fmt::format(
      "records {}, without target {}, without weight {}; cases for training {}\n\nall",
      table.records, table.withoutTarget, table.withoutWeight, Number(growth.model.nodes[0].cases));
  Rules(table, growth.model).Add(0, "  ", text);
  text += Gains(table, growth.gains);
  if (!growth.confusion.empty()) text += '\n' + growth.confusion;
  return text + '\n' + growth.score;
}

std::vector<std::string> Warnings(const Table& table) {
  std::vector<std::string> warnings;
  for (const TableColumn& column : table.columns) {
    if (!column.whyLeftOut.empty())
      warnings.push_back(
          fmt::format("column '{}' is left out: {}", Shown(column.name), column.whyLeftOut));
    if (column.malformed == 0 || !column.whyLeftOut.empty()) continue;
    const bool isText = column.kind == Kind::Text;
    warnings.push_back(fmt::format(
        "column '{}': {} of {} cells {}, the first one '{}' in {}; they are taken as missing "
        "({})",
        Shown(column.name), column.malformed, table.records,
        isText                        ? "are not in the locale's code set"
        : column.kind == Kind::Number ? "are no numbers"
                                      : "are no dates",
        column.firstMalformed, column.placeOfMalformed,
        isText ? "set LC_ALL to the file's locale"
        : column.remark == "weight"
            ? "their records are not used, --missing tells which texts are meant to be"
            : "--text takes the column as texts, --missing tells which texts are meant to be"));
  }
  return warnings;
}

std::string Picture(const Table& table, const Model& model) {
  const Rules rules(table, model);
  std::string text =
      "digraph tree {\n  node [shape=box, style=\"rounded,filled\", fillcolor=white, "
      "fontname=Helvetica];\n  edge [fontname=Helvetica, fontsize=11];\n";
  for (std::size_t i = 0; i < model.nodes.size(); ++i) {
    const Node& node = model.nodes[i];
    const std::string label =
        node.left == 0 ? rules.Guess(node) : Shown(model.columns[node.split.column].name);
    text += fmt::format("  {} [label={}{}];\n", i, Quoted(label),
                        node.left == 0 ? ", fillcolor=lightgrey" : "");
    if (node.left == 0) continue;
    for (const bool isLeft : {true, false})
      text += fmt::format("  {} -> {} [label={}];\n", i, node.left + (isLeft ? 0 : 1),
                          Quoted(' ' + rules.Condition(node.split, isLeft)));
  }
  return text + "}\n";
}

}  // namespace qxtree
