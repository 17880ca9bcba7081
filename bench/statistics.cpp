// SPDX-FileCopyrightText: The qxutils authors
// SPDX-License-Identifier: Apache-2.0

// Running statistics: minimum, maximum, mean and deviation at once.
#include <gsl/gsl_rstat.h>

#include <boost/accumulators/accumulators.hpp>
#include <boost/accumulators/statistics/max.hpp>
#include <boost/accumulators/statistics/min.hpp>
#include <boost/accumulators/statistics/stats.hpp>
#include <boost/accumulators/statistics/weighted_mean.hpp>
#include <boost/accumulators/statistics/weighted_variance.hpp>
#include <cmath>
#include <limits>

#include "bench.h"
#include "qxutils/numeric/qxstatistics.h"
#include "subjects.h"

namespace bench {
namespace {

struct Cases {
  std::vector<double> values;
  std::vector<double> weights;
};

struct Four {
  double minimum, maximum, mean, deviation;
};

Four Ours(const Cases& cases) {
  qxg_800::QxStatistics statistics(15);
  for (std::size_t i = 0; i < cases.values.size(); ++i) {
    statistics.AddValue(cases.values[i], cases.weights[i]);
  }
  return {statistics.GetMinimum(), statistics.GetMaximum(), statistics.GetMean(),
          statistics.GetStDev()};
}

// Our formulas in the loop itself.
Four Inlined(const Cases& cases) {
  constexpr double kTolerance = 1e-12;
  double total = 0, mean = 0, square = 0;
  double minimum = std::numeric_limits<double>::max(), maximum = -minimum;
  for (std::size_t i = 0; i < cases.values.size(); ++i) {
    const double value = cases.values[i], weight = cases.weights[i], all = total + weight;
    const double deviation = value - mean;
    if (value < minimum + kTolerance) minimum = value;
    if (value > maximum + kTolerance) maximum = value;
    square += weight / all * (deviation * (deviation * (total / all)) - square);
    mean = (total * mean + value * weight) / all;
    total = all;
  }
  return {minimum, maximum, mean, std::sqrt(total * square / (total - 1))};
}

Four Boost(const Cases& cases) {
  using namespace boost::accumulators;
  using Statistics =
      stats<tag::min, tag::max, tag::weighted_mean, tag::weighted_variance(immediate)>;
  accumulator_set<double, Statistics, double> set;
  for (std::size_t i = 0; i < cases.values.size(); ++i) {
    set(cases.values[i], weight = cases.weights[i]);
  }
  const double total = sum_of_weights(set);
  return {min(set), max(set), weighted_mean(set),
          std::sqrt(total * weighted_variance(set) / (total - 1))};
}

// Takes no weights. It always computes skewness, kurtosis and an estimated median too.
Four Gsl(const Cases& cases) {
  gsl_rstat_workspace* const workspace = gsl_rstat_alloc();
  for (const double value : cases.values) gsl_rstat_add(value, workspace);
  const Four four{gsl_rstat_min(workspace), gsl_rstat_max(workspace), gsl_rstat_mean(workspace),
                  gsl_rstat_sd(workspace)};
  gsl_rstat_free(workspace);
  return four;
}

std::string TextOf(const Four& four) {
  constexpr int kDigits = 9;  // the methods round differently
  return Text(four.minimum) + Text(four.maximum) + Text(four.mean, kDigits) +
         Text(four.deviation, kDigits);
}

}  // namespace

void AddStatistics() {
  static Cases cases, unweighted;
  Random random;
  for (long i = 0; i < Scaled(100'000); ++i) {
    cases.values.push_back(1e3 * random.Uniform() - 300);
    cases.weights.push_back(0.5 + random.Uniform());
  }
  unweighted = {cases.values, std::vector<double>(cases.values.size(), 1.0)};
  const auto add = [](const std::string& peer, Four (*work)(const Cases&), const Cases& data) {
    const auto result = [=, &data] {
      Check(TextOf(work(data)) == TextOf(Inlined(data)), "other statistics");
      return std::string();
    };
    Add(
        "statistics/all", peer, static_cast<long>(data.values.size()),
        [=, &data] { benchmark::DoNotOptimize(work(data)); }, result);
  };
  add("ours", Ours, cases);
  add("inlined", Inlined, cases);
  add("boost", Boost, cases);
  add("gsl", Gsl, unweighted);
}

}  // namespace bench
