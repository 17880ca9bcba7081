// SPDX-FileCopyrightText: The qxutils authors
// SPDX-License-Identifier: Apache-2.0

#include "qxtree/target.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <iterator>
#include <optional>
#include <stdexcept>
#include <type_traits>
#include <utility>

#include "qxtree/categories.h"
#include "qxutils/iterators/binencodercache.h"

namespace qxtree {
namespace {

constexpr std::size_t kFewClasses = 20;  // distinct whole numbers that stay classes
using Task = Options::Task;

// What is found out about the target before it is settled.
struct Tally {
  long withoutTarget = 0, withoutWeight = 0;  // records
  ExactSum total, sum;                        // cases; times the target, where it may be a number
  bool areClasses = true;
  qxg_800::ValueWeights classes;  // of numbers and dates, while they may be classes

  void Add(const Tally& other) {
    withoutTarget += other.withoutTarget;
    withoutWeight += other.withoutWeight;
    total.Add(other.total);
    sum.Add(other.sum);
    areClasses = areClasses && other.areClasses && classes.size() <= kMostCategories;
    if (!areClasses) return;
    for (const qxg_800::record& known : other.classes) classes[known.value] += known.weight;
  }
  template <class Self, class Visitor>
  static void Visit(Self& self, Visitor& visit) {
    std::vector<qxg_800::record> known;  // classes, in a form that can be sent
    for (const qxg_800::record& one : self.classes) known.push_back(one);
    visit(self.withoutTarget), visit(self.withoutWeight), visit(self.total), visit(self.sum);
    visit(self.areClasses), visit(known);
    if constexpr (!std::is_const_v<Self>) {
      self.classes = {};
      for (const qxg_800::record& one : known) self.classes[one.value] = one.weight;
    }
  }
};

// How large the numbers of a regression are.
struct Magnitudes {
  ExactSum numbers, squares;

  void Add(const Magnitudes& other) {
    numbers.Add(other.numbers);
    squares.Add(other.squares);
  }
};

class TargetReader {
 public:
  TargetReader(Import& import, const Options& options, Peers& peers, Table& table)
      : fOptions(options),
        fPeers(peers),
        fTable(table),
        fColumn(table.columns[table.target]),
        fImporter(*import.importer),
        fFirstRow(import.rowsBefore),
        fTexts(fImporter.Get(table.target)->Texts()),
        fTargets(fImporter.TakeStream(table.target)) {
    if (table.hasWeights) fWeights.emplace(fImporter.TakeStream(fImporter.Weight()));
  }

  void Read() {
    if (!fColumn.whyLeftOut.empty()) Fail(fColumn.whyLeftOut);
    if (fColumn.isEmpty) Fail("all cells are missing");
    if (fOptions.task == Task::Regression && fColumn.kind != Kind::Number)
      Fail("a regression needs numbers");
    fTally.areClasses = fOptions.task != Task::Regression;
    Count();
    fPeers.Join(fTally);
    fTally.areClasses = fTally.areClasses && fTally.classes.size() <= MostClasses();
    fTable.withoutTarget = fTally.withoutTarget;
    fTable.withoutWeight = fTally.withoutWeight;
    constexpr double kMost = 0x1p1023;  // so that the greatest weight can be rounded up
    if (!(fTally.total.Value() < kMost))
      throw std::runtime_error("the total of cases is too large");
    Settle();
    Write();
  }

 private:
  [[noreturn]] void Fail(const std::string& why) const {
    throw std::runtime_error(fmt::format("target '{}': {}", fOptions.target, why));
  }

  // A number may be either class or number.
  bool IsOpen() const { return fColumn.kind == Kind::Number && fOptions.task == Task::Automatic; }
  std::size_t MostClasses() const { return IsOpen() ? kFewClasses : kMostCategories; }

  // Calls use(rows, values, weights) for each block of the table.
  template <class OfValue, class OfWeight, class Use>
  void ForEachBlock(OfValue ofValue, OfWeight ofWeight, Use use) {
    const auto each = [](auto of) {
      return [of](const double* values, std::size_t count, double* out) {
        std::transform(values, values + count, out, of);
      };
    };
    Mapped<double> readValues(fTargets, fColumn.kind, &fTexts);
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
    const auto itself = [](double value) { return value; };
    ForEachBlock(itself, itself,
                 [&](std::size_t rows, const double* values, const double* weights) {
                   for (std::size_t i = 0; i < rows; ++i) CountRecord(values[i], weights[i]);
                 });
  }

  void CountRecord(double value, double weight) {
    const bool hasTarget = std::isfinite(value), hasWeight = std::isfinite(weight) && weight >= 0;
    fTally.withoutTarget += !hasTarget;
    fTally.withoutWeight += !hasWeight;
    if (!hasTarget || !hasWeight) return;
    fTally.total.Add(weight);
    if (fColumn.kind == Kind::Text) return;
    if (IsOpen() || !fTally.areClasses) fTally.sum.AddProduct(value, weight);
    if (!fTally.areClasses) return;
    fTally.classes[value] += weight;
    const bool isFraction = IsOpen() && value != std::floor(value);
    fTally.areClasses = fTally.classes.size() <= MostClasses() && !isFraction;
  }

  void Settle() {
    const bool areClasses = fTally.areClasses;
    if (!areClasses && (fOptions.task == Task::Classes || fColumn.kind == Kind::Date))
      Fail(fmt::format("more than {} classes", kMostCategories));
    fTable.isRegression = !areClasses;
    fColumn.remark = areClasses ? "target, as classes" : "target, as a number";
    if (IsOpen())
      fColumn.remark += areClasses ? fmt::format(" ({} whole numbers)", fTally.classes.size())
                                   : " (many values, or fractions)";
    if (fTable.isRegression) {
      const double total = fTally.total.Value();
      fTable.center = total > 0 ? fTally.sum.Value() / total : 0;
      if (!std::isfinite(fTable.center)) Fail("the numbers are too large");
    } else if (fColumn.kind == Kind::Text) {
      fCategories = SortCategories(fTexts, fImporter.TextBytes(), fPeers);
      if (!fCategories.whyNot.empty()) Fail(fCategories.whyNot);
      fTable.classes = std::move(fCategories.texts);
    } else {
      for (const auto& known : fTally.classes) {
        fTable.classes.push_back(ValueText(fColumn.kind, known.value));
        fValues.push_back(known.value);
      }
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
    const double quantum = Quantum(fTally.total.Value());
    const auto rounded = [&](double weight) {
      const bool isWeight = std::isfinite(weight) && weight >= 0;
      return isWeight ? std::nearbyint(weight / quantum) * quantum : 0.0;
    };
    const auto mark = [this](double value) { return Mark(value); };
    std::vector<double> cases(kBlockRows);
    std::size_t row = fFirstRow;
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
      fMagnitudes.numbers.Add(magnitude);
      fMagnitudes.squares.Add(magnitude * std::abs(values[i]));
    }
  }

  void SetSlicers() {
    constexpr double kMost = 0x1p1000;
    fPeers.Join(fMagnitudes);
    const double magnitudes = fMagnitudes.numbers.Value(), squares = fMagnitudes.squares.Value();
    if (!(magnitudes < kMost && squares < kMost)) Fail("the numbers are too large");
    const auto rows = static_cast<double>(fTable.records);
    fTable.sumSlicer = Slicer(magnitudes, rows);
    fTable.squareSlicer = Slicer(squares, rows);
  }

  const Options& fOptions;
  Peers& fPeers;
  Table& fTable;
  TableColumn& fColumn;
  Importer& fImporter;
  const std::size_t fFirstRow;  // of this process
  const Dictionary& fTexts;
  Stream fTargets;
  std::optional<Stream> fWeights;
  Tally fTally;
  Magnitudes fMagnitudes;       // of the target less the center
  std::vector<double> fValues;  // the classes of numbers and dates, ascending
  Categories fCategories;       // those of texts
};

}  // namespace

void ReadTarget(Import& import, const Options& options, Peers& peers, Table& table) {
  TargetReader(import, options, peers, table).Read();
}

}  // namespace qxtree
