// SPDX-FileCopyrightText: The qxutils authors
// SPDX-License-Identifier: Apache-2.0

#include "qxtree/target.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <optional>
#include <stdexcept>
#include <utility>

#include "qxutils/iterators/binencodercache.h"

namespace qxtree {
namespace {

constexpr std::size_t kFewClasses = 20;  // distinct whole numbers that stay classes
using Task = Options::Task;

class TargetReader {
 public:
  TargetReader(Importer& importer, const Options& options, Table& table)
      : fOptions(options),
        fTable(table),
        fColumn(table.columns[table.target]),
        fpSource(importer.Get(table.target)),
        fTargets(importer.TakeStream(table.target)) {
    if (table.hasWeights) fWeights.emplace(importer.TakeStream(importer.Weight()));
  }

  void Read() {
    if (!fpSource->WhyLeftOut().empty()) Fail(fpSource->WhyLeftOut());
    if (fColumn.isEmpty) Fail("all cells are missing");
    if (fOptions.task == Task::Regression && fColumn.kind != Kind::Number)
      Fail("a regression needs numbers");
    fAreClasses = fOptions.task != Task::Regression;
    Count();
    if (!std::isfinite(fTotal.Value()))
      throw std::runtime_error("the total of cases is not finite");
    Settle();
    Write();
  }

 private:
  [[noreturn]] void Fail(const std::string& why) const {
    throw std::runtime_error(fmt::format("target '{}': {}", fOptions.target, why));
  }

  // A number may be either class or number.
  bool IsOpen() const { return fColumn.kind == Kind::Number && fOptions.task == Task::Automatic; }

  // Calls use(rows, values, weights) for each block of the table.
  template <class OfValue, class OfWeight, class Use>
  void ForEachBlock(OfValue ofValue, OfWeight ofWeight, Use use) {
    const auto each = [](auto of) {
      return [of](const double* values, std::size_t count, double* out) {
        std::transform(values, values + count, out, of);
      };
    };
    Mapped<double> readValues(fTargets, fColumn.kind, &fpSource->Texts());
    std::optional<Mapped<double>> readWeights;
    if (fWeights) readWeights.emplace(*fWeights, Kind::Number, nullptr);
    std::vector<double> values(kBlockRows), weights(kBlockRows, 1.0);
    for (std::size_t row = 0; row < fTable.rows; row += kBlockRows) {
      Poll();
      const std::size_t rows = std::min(kBlockRows, fTable.rows - row);
      readValues.Next(rows, values.data(), each(ofValue));
      if (readWeights) readWeights->Next(rows, weights.data(), each(ofWeight));
      use(rows, values.data(), weights.data());
    }
  }

  void Count() {
    const std::size_t most = IsOpen() ? kFewClasses : kMostCategories;
    const auto itself = [](double value) { return value; };
    ForEachBlock(
        itself, itself, [&](std::size_t rows, const double* values, const double* weights) {
          for (std::size_t i = 0; i < rows; ++i) {
            const bool hasTarget = std::isfinite(values[i]);
            const bool hasWeight = std::isfinite(weights[i]) && weights[i] >= 0;
            fTable.withoutTarget += !hasTarget;
            fTable.withoutWeight += !hasWeight;
            if (!hasTarget || !hasWeight) continue;
            fTotal.Add(weights[i]);
            if (fColumn.kind == Kind::Text) continue;
            if (!fAreClasses) {
              fSum.AddProduct(weights[i], values[i]);
              continue;
            }
            fClasses[values[i]] += weights[i];
            fAreClasses =
                fClasses.size() <= most && !(IsOpen() && values[i] != std::floor(values[i]));
          }
        });
    for (const auto& known : fClasses) fSum.AddProduct(known.weight, known.value);
  }

  void Settle() {
    if (!fAreClasses && (fOptions.task == Task::Classes || fColumn.kind == Kind::Date))
      Fail(fmt::format("more than {} classes", kMostCategories));
    fTable.isRegression = !fAreClasses;
    fColumn.remark = fAreClasses ? "target, as classes" : "target, as a number";
    if (IsOpen())
      fColumn.remark += fAreClasses ? fmt::format(" ({} whole numbers)", fClasses.size())
                                    : " (many values, or fractions)";
    if (fTable.isRegression) {
      const double total = fTotal.Value();
      fTable.center = total > 0 ? fSum.Value() / total : 0;
      if (!std::isfinite(fTable.center)) Fail("the numbers are too large");
    } else if (fColumn.kind == Kind::Text) {
      fCategories = SortCategories(fpSource->Texts());
      fTable.classes = fCategories.texts;
    } else {
      for (const auto& known : fClasses)
        fTable.classes.push_back(ValueText(fColumn.kind, known.value));
      for (const auto& known : fClasses) fValues.push_back(known.value);
    }
  }

  // The number of the class, or the distance from the center; kNoClass or infinity: no case.
  double Mark(double value) const {
    if (fTable.isRegression) return value - fTable.center;
    if (!std::isfinite(value)) return kNoClass;
    if (fColumn.kind == Kind::Text) return fCategories.placeOf[static_cast<std::size_t>(value)];
    const auto at = std::lower_bound(fValues.begin(), fValues.end(), value);
    return static_cast<double>(at - fValues.begin());
  }

  void Write() {
    const double quantum = Quantum(fTotal.Value());
    const auto rounded = [&](double weight) {
      const bool isWeight = std::isfinite(weight) && weight >= 0;
      return isWeight ? std::nearbyint(weight / quantum) * quantum : 0.0;
    };
    const auto mark = [this](double value) { return Mark(value); };
    std::vector<double> cases(kBlockRows);
    std::size_t row = 0;
    ForEachBlock(mark, rounded, [&](std::size_t rows, const double* values, const double* weights) {
      for (std::size_t i = 0; i < rows; ++i)
        cases[i] = IsHeldOut(fOptions, row++) ? -weights[i] : weights[i];
      for (std::size_t i = 0; i < rows; ++i)
        if (fTable.isRegression ? !std::isfinite(values[i]) : values[i] == kNoClass) cases[i] = 0;
      if (fWeights)
        fTable.cases.Write(cases.data(), rows * sizeof cases[0]);
      else
        fTable.cases.WriteAs<signed char>(cases.data(), rows);
      if (fTable.isRegression) {
        fTable.cases.Write(values, rows * sizeof *values);
        Measure(rows, cases.data(), values);
      } else {
        fTable.cases.WriteAs<std::uint16_t>(values, rows);
      }
    });
    if (fTable.isRegression) SetSlicers();
  }

  void Measure(std::size_t rows, const double* cases, const double* values) {
    for (std::size_t i = 0; i < rows; ++i) {
      if (cases[i] == 0) continue;
      const double magnitude = std::abs(cases[i] * values[i]);
      fMagnitudes.Add(magnitude);
      fSquares.Add(magnitude * std::abs(values[i]));
    }
  }

  void SetSlicers() {
    constexpr double kMost = 0x1p1000;
    const double magnitudes = fMagnitudes.Value(), squares = fSquares.Value();
    if (!(magnitudes < kMost && squares < kMost)) Fail("the numbers are too large");
    const auto rows = static_cast<double>(fTable.rows);
    fTable.sumSlicer = Slicer(magnitudes, rows);
    fTable.squareSlicer = Slicer(squares, rows);
  }

  const Options& fOptions;
  Table& fTable;
  TableColumn& fColumn;
  Column* const fpSource;
  Stream fTargets;
  std::optional<Stream> fWeights;
  bool fAreClasses = false;
  ExactSum fTotal, fSum;           // cases; times the target
  ExactSum fMagnitudes, fSquares;  // of the target less the center
  qxg_800::ValueWeights fClasses;  // of numbers and dates, while they may be classes
  std::vector<double> fValues;     // the same, ascending
  Categories fCategories;          // of texts
};

}  // namespace

void ReadTarget(Importer& importer, const Options& options, Table& table) {
  TargetReader(importer, options, table).Read();
}

Categories SortCategories(const Dictionary& dictionary) {
  std::vector<std::pair<std::string, int>> texts;
  dictionary.ForEach([&](std::string_view text, int code) {
    if (code >= Block::FirstValue) texts.emplace_back(*ToUtf8(text), code - Block::FirstValue);
  });
  std::sort(texts.begin(), texts.end());
  Categories categories;
  categories.placeOf.resize(dictionary.Size());  // of texts that are missing, too
  for (auto& [text, code] : texts) {
    categories.placeOf[static_cast<std::size_t>(code)] =
        static_cast<std::uint16_t>(categories.texts.size());
    categories.texts.push_back(std::move(text));
  }
  return categories;
}

}  // namespace qxtree
