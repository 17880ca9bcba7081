// SPDX-FileCopyrightText: The qxutils authors
// SPDX-License-Identifier: Apache-2.0

#include "qxtree/score.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <functional>

#include "qxtree/process.h"

namespace qxtree {
namespace {

// A share as it is shown in a table.
std::string Share(double part, double whole) {
  return whole > 0 ? fmt::format("{:.4f}", part / whole) : "-";
}

std::string Named(const std::string& name) { return fmt::format("{:<16.16}", OneLine(name)); }
std::string Aligned(const std::string& text) { return fmt::format(" {:>10.10}", text); }

}  // namespace

Score::Score(const Model& model) : fModel(model) {
  const std::size_t classes = model.classes.size();
  if (classes <= kMostClasses) fCells.resize((classes + 1) * classes);
}

void Score::AddClass(std::size_t actual, std::size_t predicted, double cases) {
  fCases += cases;
  if (actual == predicted) fCorrect += cases;
  if (actual == fModel.nodes[0].Commonest()) fCommonest += cases;
  if (!fCells.empty()) fCells[actual * fModel.classes.size() + predicted] += cases;
}

void Score::AddNumber(double actual, double predicted, double cases) {
  fErrors.Add(cases * (actual - predicted) * (actual - predicted));
  fActual.Add(actual, cases);
  fCases += cases;
}

void Score::Add(const Score& other) {
  fCases += other.fCases;
  fCorrect += other.fCorrect;
  fCommonest += other.fCommonest;
  std::transform(fCells.begin(), fCells.end(), other.fCells.begin(), fCells.begin(), std::plus<>());
  fActual.Add(other.fActual);
  fErrors.Add(other.fErrors);
}

std::string Score::Line(const std::string& what) const {
  const std::string prefix = what.empty() ? "" : what + " ";
  const std::string start = prefix + (fModel.isRegression ? "error" : "accuracy");
  if (!(fCases > 0)) return fmt::format("{} unknown (no {}cases)\n", start, prefix);
  if (!fModel.isRegression)
    return fmt::format("{} {:.4f} ({:.15g} of {:.15g} cases), commonest class {:.4f}\n", start,
                       fCorrect / fCases, fCorrect, fCases, fCommonest / fCases);
  const double errors = fErrors.Value(), left = errors / fActual.Squares();
  const std::string explained = std::isfinite(left) ? fmt::format("{:.4f}", 1 - left) : "unknown";
  return fmt::format("{} {:.6g} (root of the mean square), share explained {} ({:.15g} cases)\n",
                     start, std::sqrt(errors / fCases), explained, fCases);
}

std::string Score::Table() const {
  if (fModel.isRegression || fCells.empty() || !(fCases > 0)) return {};
  const std::size_t classes = fModel.classes.size();
  std::string text = Named("cases predicted:"), last = Named("precision");
  double unknown = 0;
  for (std::size_t predicted = 0; predicted < classes; ++predicted) {
    double whole = 0;
    for (std::size_t actual = 0; actual <= classes; ++actual) whole += Cell(actual, predicted);
    unknown += Cell(classes, predicted);
    text += Aligned(OneLine(fModel.classes[predicted]));
    last += Aligned(Share(Cell(predicted, predicted), whole));
  }
  text += Aligned("recall") + '\n';
  for (std::size_t actual = 0; actual < classes + (unknown > 0 ? 1 : 0); ++actual) {
    const bool isKnown = actual < classes;
    text += Named(isKnown ? fModel.classes[actual] : "(unknown class)");
    double whole = 0;
    for (std::size_t predicted = 0; predicted < classes; ++predicted) {
      whole += Cell(actual, predicted);
      text += Aligned(fmt::format("{:.10g}", Cell(actual, predicted)));
    }
    text += Aligned(isKnown ? Share(Cell(actual, actual), whole) : "-") + '\n';
  }
  return text + last + '\n';
}

}  // namespace qxtree
