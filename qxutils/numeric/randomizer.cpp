// SPDX-FileCopyrightText: The qxutils authors
// SPDX-License-Identifier: Apache-2.0

#include "qxutils/numeric/randomizer.h"

#include <cmath>
#include <ctime>

namespace qxg_800 {
namespace {

// One multiplicative congruential generator: a state word times `multiplier`, modulo `modulus`. The
// modulus is a prime a little below 2^31.
struct Component {
  // Returns the word after `word`, both from 1 to modulus - 1. It is the same as by Schrage's
  // method, without the division. 2^31 equals 2^31 - modulus modulo the modulus. So the product's
  // upper part is folded onto its lower part.
  long Step(long word) const {
    constexpr int kFoldBits = 31;
    constexpr long kFold = 1L << kFoldBits;
    const long product = multiplier * word;
    const long folded = (product & (kFold - 1)) + (product >> kFoldBits) * (kFold - modulus);
    return folded < modulus ? folded : folded - modulus;
  }

  long modulus;
  long multiplier;
};

// The constants of L'Ecuyer's publication.
constexpr Component kFirst{2147483563, 40014};
constexpr Component kSecond{2147483399, 40692};

constexpr double kTrialScale = 9000000.0;

// Returns the second state word: the seed or the time, reduced to the component's range. 0 can't be
// a state, since all later ones would be 0.
long StartWord(long seed) {
  const long word = (seed > 0 ? seed : static_cast<long>(std::time(nullptr))) % kSecond.modulus;
  if (word == 0) return 1;
  return word > 0 ? word : word + kSecond.modulus;
}

double Uniform(long z) { return static_cast<double>(z) / static_cast<double>(kFirst.modulus); }

// Returns the first z whose uniform number is not below `p`. With it, trials compare whole numbers
// instead of dividing.
long FirstNotBelow(double p) {
  long from = 1;
  long to = kFirst.modulus;
  while (from < to) {
    const long middle = (from + to) / 2;
    if (Uniform(middle) < p) {
      from = middle + 1;
    } else {
      to = middle;
    }
  }
  return from;
}

}  // namespace

Randomizer::Randomizer(long seed, double p, bool returnSelected)
    : fSeed(seed),
      fSeed1(INITSEED1),
      fSeed2(StartWord(seed)),
      fProbability(p),
      fReturnSelected(returnSelected),
      fTrialLimit(p * kTrialScale * (1.0 - p)),
      fStartSeed2(fSeed2),
      fFirstNotSelected(FirstNotBelow(p)) {}

double Randomizer::GetUniformRand() { return Uniform(Draw()); }

void Randomizer::Reset() {
  fSeed1 = INITSEED1;
  fSeed2 = fStartSeed2;
}

double Randomizer::GetRandomFreq(double freq) {
  double n = 0.0;
  if (freq > fTrialLimit) {
    n = std::floor(freq * fProbability + 0.5);
  } else if (freq > 0 && !std::isnan(fProbability)) {  // a limit of NaN would not end the trials
    long selected = 0;
    double t = 0.0;
    do {
      selected += Draw() < fFirstNotSelected;
      t += 1.0;
    } while (freq > t);
    n = static_cast<double>(selected);
  }
  return fReturnSelected ? n : freq - n;
}

long Randomizer::Draw() {
  fSeed1 = kFirst.Step(fSeed1);
  fSeed2 = kSecond.Step(fSeed2);
  const long z = fSeed1 - fSeed2;
  // Uses the sign bit, since a branch would be mispredicted half of the time.
  return z + (((z - 1) >> 63) & (kFirst.modulus - 1));
}

}  // namespace qxg_800
