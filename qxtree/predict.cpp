// SPDX-FileCopyrightText: The qxutils authors
// SPDX-License-Identifier: Apache-2.0

#include "qxtree/predict.h"

#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <functional>
#include <map>
#include <optional>
#include <stdexcept>
#include <utility>

#include "qxtree/csvreader.h"
#include "qxtree/modelfile.h"
#include "qxtree/names.h"
#include "qxtree/process.h"
#include "qxtree/score.h"
#include "qxutils/text/infinityport.h"

namespace qxtree {
namespace {

constexpr std::size_t kBlockBytes = 1 << 16;  // that are written at a time

// The text in the locale's code set; nothing when it can't be converted there and back.
std::optional<std::string> Local(const std::string& text) {
  std::string local = ToLocale(text);
  if (ToUtf8(local) != text) return std::nullopt;
  return local;
}

// Those that can't be converted stand in no file of this locale.
std::vector<std::string> Local(const std::vector<std::string>& texts) {
  std::vector<std::string> local;
  for (const std::string& text : texts)
    if (auto converted = Local(text)) local.push_back(std::move(*converted));
  return local;
}

// A cell of a CSV file, between quotation marks where it has to be.
std::string Quoted(const std::string& cell) {
  constexpr const char* kBlanks = " \t";
  const bool isPlain = cell.find_first_of(",\"\r\n") == cell.npos &&
                       cell.find_first_not_of(kBlanks) == 0 &&
                       cell.find_last_not_of(kBlanks) + 1 == cell.size();
  if (isPlain) return cell;
  std::string quoted = "\"";
  for (const char byte : cell) quoted += byte == '"' ? "\"\"" : std::string(1, byte);
  return quoted + '"';
}

// Finds the numbers of texts by cells.
using Numbers = std::map<std::string, double, std::less<>>;

Numbers NumberTexts(const std::vector<std::string>& texts) {
  Numbers numbers;
  for (std::size_t i = 0; i < texts.size(); ++i)
    if (const auto local = Local(texts[i])) numbers.emplace(*local, i);
  return numbers;
}

std::optional<double> Find(const Numbers& numbers, std::string_view cell) {
  const auto found = numbers.find(cell);
  if (found == numbers.end()) return std::nullopt;
  return found->second;
}

std::size_t FindColumn(const std::vector<std::string>& names, const std::string& name) {
  const auto found = std::find(names.begin(), names.end(), Local(name));
  if (found == names.end()) throw std::runtime_error(NoColumn(ToLocale(name), names));
  return static_cast<std::size_t>(found - names.begin());
}

class Predictor : public CsvSink {
 public:
  explicit Predictor(const Model& model)
      : fModel(model),
        fMissing(Local(model.missing)),
        fValues(model.columns.size(), qxg_800::GetInfinity()),
        fIsUsed(model.columns.size()),
        fTexts(model.columns.size()),
        fClasses(NumberTexts(model.classes)),
        fScore(model) {
    for (const Node& node : model.nodes) fLines.push_back(node.left > 0 ? "" : Line(node));
    fHasNumbers = std::all_of(model.classes.begin(), model.classes.end(), [](const auto& text) {
      const auto number = ParseNumber(text);
      return number && ValueText(Kind::Number, *number) == text;
    });
    fOut = model.isRegression ? "prediction\n" : "prediction,probability\n";
  }

  // To be called after the last row.
  void Finish() {
    Write();
    if (!fHasTarget) return;
    ClearProgress();
    WriteTo(stderr, ToLocale(fScore.Table() + fScore.Line("")));
  }

 private:
  friend CsvPosition;

  static constexpr std::size_t kUnused = static_cast<std::size_t>(-1);

  void TakeHeader(const std::vector<std::string>& names) override {
    fColumns.assign(names.size(), kUnused);
    for (const Node& node : fModel.nodes) {
      const std::size_t input = node.split.column;
      if (node.left == 0 || fIsUsed[input]) continue;
      const ModelColumn& column = fModel.columns[input];
      fIsUsed[input] = true;
      fColumns[FindColumn(names, column.name)] = input;
      fTexts[input] = NumberTexts(column.categories);
    }
    const auto target = std::find(names.begin(), names.end(), Local(fModel.target));
    fHasTarget = target != names.end();
    fTarget = static_cast<std::size_t>(target - names.begin());
  }

  void TakeCell(std::size_t column, std::string_view cell, long /*line*/) {
    const std::size_t input = fColumns[column];
    if (column == fTarget) fActual = Actual(cell);
    if (input != kUnused) fValues[input] = Value(input, cell);
  }

  void EndRow() override {
    const std::size_t leaf = fModel.LeafOf(fValues);
    fOut += fLines[leaf];
    if (fOut.size() > kBlockBytes) Write();
    if (!fActual) return;
    const Node& node = fModel.nodes[leaf];
    if (fModel.isRegression) return fScore.AddNumber(*fActual, node.mean, 1);
    fScore.AddClass(static_cast<std::size_t>(*fActual), node.Commonest(), 1);
  }

  double Value(std::size_t input, std::string_view cell) const {
    if (fMissing.Has(cell)) return qxg_800::GetInfinity();
    const Kind kind = fModel.columns[input].kind;
    const auto value = kind == Kind::Text ? Find(fTexts[input], cell) : ParseCell(kind, cell);
    return value.value_or(qxg_800::GetInfinity());
  }

  // The number of the class, or the value; nothing when it is missing or malformed.
  std::optional<double> Actual(std::string_view cell) const {
    if (fMissing.Has(cell)) return std::nullopt;
    if (fModel.isRegression) return ParseNumber(cell);
    auto found = Find(fClasses, cell);
    const auto number = fHasNumbers ? ParseNumber(cell) : std::nullopt;
    if (!found && number) found = Find(fClasses, ValueText(Kind::Number, *number));
    const auto date = found ? std::nullopt : ParseDate(cell);
    if (date) found = Find(fClasses, ValueText(Kind::Date, *date));
    return found ? found : static_cast<double>(fModel.classes.size());
  }

  // What is written for each row of a leaf.
  std::string Line(const Node& node) const {
    if (fModel.isRegression) return ValueText(Kind::Number, node.mean) + '\n';
    const std::size_t commonest = node.Commonest();
    const auto text = Local(fModel.classes[commonest]);
    if (!text)
      throw std::runtime_error(fmt::format("class '{}': not in the locale's code set",
                                           ToLocale(fModel.classes[commonest])));
    return fmt::format("{},{}\n", Quoted(*text),
                       ValueText(Kind::Number, node.classes[commonest] / node.cases));
  }

  void Write() {
    WriteTo(stdout, fOut);
    fOut.clear();
  }

  const Model& fModel;
  const MissingTexts fMissing;
  std::vector<double> fValues;  // of the row
  std::vector<bool> fIsUsed;    // in a split, of each column of the model
  std::vector<Numbers> fTexts;  // of those
  Numbers fClasses;
  bool fHasNumbers = false;  // as classes, so that 1.0 is the class 1
  Score fScore;
  std::vector<std::string> fLines;    // of each node
  std::vector<std::size_t> fColumns;  // of the model, for each of the file; kUnused: none
  bool fHasTarget = false;
  std::size_t fTarget = 0;        // in the file
  std::optional<double> fActual;  // the target of the row
  std::string fOut;
};

}  // namespace

void Predict(const Options& options) {
  const Model model = ReadModel(options.model);
  if (isatty(STDOUT_FILENO) == 1) SetProgressShown(false);  // the lines would be lost among it
  Predictor predictor(model);
  ReadCsv({{{options.input}}, {}}, options.delimiter, predictor);
  predictor.Finish();
}

}  // namespace qxtree
