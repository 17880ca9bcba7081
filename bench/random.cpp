// SPDX-FileCopyrightText: The qxutils authors
// SPDX-License-Identifier: Apache-2.0

// Random numbers, and cases drawn with them.
#include <boost/random/additive_combine.hpp>

#include "bench.h"
#include "qxutils/numeric/randomizer.h"
#include "subjects.h"

namespace bench {
namespace {

constexpr long kDraws = 100'000;
constexpr long kSeed = 12345;
constexpr double kProbability = 0.3;

// The same generator as ours, started as ours is.
class Boosts {
 public:
  double operator()() { return fEngine() / 2147483563.0; }

 private:
  boost::random::ecuyer1988 fEngine{314159, kSeed};
};

class OurDraws {
 public:
  double operator()() { return fRandomizer.GetUniformRand(); }

 private:
  qxg_800::Randomizer fRandomizer{kSeed, kProbability, true};
};

template <class Draws>
double Mean(long count) {
  Draws draw;
  double sum = 0;
  for (long i = 0; i < count; ++i) sum += draw();
  return sum / static_cast<double>(count);
}

template <class Draws>
double Selected(long count) {
  Draws draw;
  long selected = 0;
  for (long i = 0; i < count; ++i) selected += draw() < kProbability ? 1 : 0;
  return static_cast<double>(selected);
}

double OurSelected(long count) {
  qxg_800::Randomizer randomizer(kSeed, kProbability, true);
  return randomizer.GetRandomFreq(static_cast<double>(count));
}

}  // namespace

void AddRandom() {
  const long count = Scaled(kDraws);
  const auto add = [=](const std::string& row, const std::string& peer, double (*work)(long)) {
    Add("random/" + row, peer, count, [=] { return work(count); });
  };
  add("draw", "ours", Mean<OurDraws>);
  add("draw", "ecuyer1988", Mean<Boosts>);
  add("trial", "ours", OurSelected);
  add("trial", "ecuyer1988", Selected<Boosts>);
}

}  // namespace bench
