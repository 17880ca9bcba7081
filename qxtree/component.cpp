// SPDX-FileCopyrightText: The qxutils authors
// SPDX-License-Identifier: Apache-2.0

#include "qxtree/component.h"

#include <algorithm>
#include <cmath>
#include <numeric>

namespace qxtree {
namespace {

// Turns of the power method: as many as it takes where there is time for them. It is slow when the
// second component is nearly as long as the first one.
constexpr double kMostSteps = 5e7;
constexpr int kLeastTurns = 100, kMostTurns = 20000;
constexpr double kUnevenness = 0.1, kGoldenRatio = 1.618033988749895;
constexpr double kConverged = 1e-30;  // square of the change of a turn

using Vector = std::vector<double>;

double Dot(const Vector& a, const Vector& b) {
  return std::inner_product(a.begin(), a.end(), b.begin(), 0.0);
}

// Makes it 1 long; false when it has no length.
bool Normalize(Vector& vector) {
  const double length = std::sqrt(Dot(vector, vector));
  if (!(length > 0)) return false;
  for (double& part : vector) part /= length;
  return true;
}

}  // namespace

std::vector<double> ComponentScores(const std::vector<const double*>& groups, std::size_t classes) {
  Vector mean(classes), roots, component(classes), deviation(classes), scores(groups.size());
  double all = 0;
  for (const double* group : groups) {
    const double cases = std::accumulate(group, group + classes, 0.0);
    all += cases;
    roots.push_back(std::sqrt(cases));
    for (std::size_t i = 0; i < classes; ++i) mean[i] += group[i];
  }
  // The deviation of a group from the mean share, times the root of its cases.
  const auto deviate = [&](std::size_t row) {
    const double scale = 1 / roots[row], shift = roots[row] / all;
    for (std::size_t i = 0; i < classes; ++i)
      deviation[i] = groups[row][i] * scale - mean[i] * shift;
  };
  for (std::size_t row = 0; row < groups.size(); ++row) {
    deviate(row);
    if (Dot(deviation, deviation) > Dot(component, component)) component = deviation;
  }
  // The first component may be at a right angle to a start of some symmetry.
  const double length = std::sqrt(Dot(component, component));
  for (std::size_t i = 0; i < classes; ++i)
    component[i] += kUnevenness * length * std::fmod(kGoldenRatio * static_cast<double>(i), 1);
  const auto size = static_cast<double>(std::max<std::size_t>(1, groups.size() * classes));
  const double most = std::clamp<double>(kMostSteps / size, kLeastTurns, kMostTurns);
  double change = 1;
  for (int turn = 0; turn < most && change > kConverged && Normalize(component); ++turn) {
    Vector next(classes);  // by the covariances, which are never laid out
    for (std::size_t row = 0; row < groups.size(); ++row) {
      deviate(row);
      const double along = Dot(deviation, component);
      for (std::size_t i = 0; i < classes; ++i) next[i] += along * deviation[i];
    }
    if (!Normalize(next)) break;
    change = 0;
    for (std::size_t i = 0; i < classes; ++i) change += std::pow(next[i] - component[i], 2);
    component = next;
  }
  for (std::size_t row = 0; row < groups.size(); ++row) {
    deviate(row);
    scores[row] = Dot(deviation, component) / roots[row];
  }
  return scores;
}

}  // namespace qxtree
