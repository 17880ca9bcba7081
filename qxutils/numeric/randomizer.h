// SPDX-FileCopyrightText: The qxutils authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QXUTILS_NUMERIC_RANDOMIZER_H
#define QXUTILS_NUMERIC_RANDOMIZER_H

#include "qxutils/export.h"

namespace qxg_800 {

/// A reproducible source of uniform random numbers, and the drawing of cases into a random sample.
///
/// The generator is the combined one of P. L'Ecuyer, "Efficient and portable combined random number
/// generators", Communications of the ACM 31(6), 1988. Its states are those of the method of L.
/// Schrage, "A more portable Fortran random number generator", ACM Transactions on Mathematical
/// Software 5(2), 1979. The same seed makes the same numbers on every machine. The generator is
/// made for sampling, not for secrets.
///
/// Nothing is thrown and nothing is allocated. A copy goes on from the same state on its own. Used
/// by one thread at a time.
///
/// Field order is part of the binary interface.
class QXUTILS_EXPORT Randomizer {
 public:
  /// Makes a generator at the start of its sequence.
  ///
  /// `seed`: each value from 1 to 2147483398 has a sequence of its own. A greater one counts modulo
  /// 2147483399, and as 1 when that leaves 0. In place of 0 and negative values the time in seconds
  /// is taken. So two such generators made within the same second return the same numbers.
  ///
  /// `p`: the probability, from 0 to 1, with which a case is selected. It is compared with draws in
  /// the rounding direction (fesetround) of this moment.
  ///
  /// `returnSelected`: whether GetRandomFreq returns the number of selected cases or of the others.
  Randomizer(long seed, double p, bool returnSelected);

  /// Makes a generator that goes on from the same state.
  Randomizer(const Randomizer&) = default;

  /// Takes over everything: the state, the seed and how cases are selected.
  Randomizer& operator=(const Randomizer&) = default;

  /// Returns the next number, strictly between 0 and 1.
  double GetUniformRand();

  /// Starts the sequence again, even one that was seeded from the time.
  void Reset();

  /// Returns how many of `freq` cases are selected, or, as said in the constructor, `freq` less
  /// that number.
  ///
  /// Up to a frequency of 9000000 * p * (1 - p) cases are drawn one by one, with one number each. A
  /// fraction is drawn as a whole case. So more than `freq` may be selected, and the number of the
  /// others may be negative.
  ///
  /// For a greater frequency the expected count freq * p, rounded half up, is selected and nothing
  /// is drawn. A frequency that is 0, negative or NaN selects nothing and draws nothing. So does
  /// any frequency when `p` is NaN.
  ///
  /// A `p` outside 0 to 1 is not checked. The limit is negative then, and the expected count of any
  /// frequency above it is selected. That may be more than the frequency, negative or NaN. An
  /// infinite frequency is not checked either. Its expected count is infinite or NaN.
  double GetRandomFreq(double freq);

 private:
  // The next number times 2147483563.
  QXUTILS_LOCAL long Draw();

  static constexpr long INITSEED1 = 314159;  // first state word at the start, for every seed

  QXUTILS_UNUSED long fSeed;  // as it was given
  long fSeed1;                // 1 to 2147483562
  long fSeed2;                // 1 to 2147483398
  double fProbability;        // p
  bool fReturnSelected;       // false: GetRandomFreq returns the number not selected
  double fTrialLimit;         // greatest frequency that is drawn case by case
  long fStartSeed2;           // second state word at the start
  long fFirstNotSelected;     // a trial succeeds when Draw returns less
};

}  // namespace qxg_800

#endif
