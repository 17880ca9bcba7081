#ifndef QXUTILS_NUMERIC_RANDOMIZER_H
#define QXUTILS_NUMERIC_RANDOMIZER_H

#include "qxutils/export.h"

namespace qxg_800 {

// A reproducible source of uniform random numbers, and the drawing of cases into a random sample.
//
// The generator is the combined one of P. L'Ecuyer, "Efficient and portable combined random number
// generators", Communications of the ACM 31(6), 1988; its states are those of the method of L.
// Schrage, "A more portable Fortran random number generator", ACM Transactions on Mathematical
// Software 5(2), 1979. The same seed gives the same numbers on every machine. It is made for
// sampling, not for secrets.
//
// Nothing is thrown and nothing allocated. A copy goes on from the same state on its own. Used by
// one thread at a time.
//
// Field order is part of the binary interface.
class QXUTILS_EXPORT Randomizer {
 public:
  // `seed`: each from 1 to 2147483398 gives a sequence of its own; one above counts modulo
  // 2147483399, and as 1 when that leaves 0; with 0 and below, the time in seconds takes its place,
  // so that two such generators made within a second give the same numbers.
  //
  // `p`: the probability, 0 to 1, with which a case is selected, compared with draws in the
  // rounding direction that holds now. `returnSelected`: whether GetRandomFreq gives the number of
  // cases that were selected, or of those that were not.
  Randomizer(long seed, double p, bool returnSelected);

  Randomizer(const Randomizer&) = default;
  Randomizer& operator=(const Randomizer&) = default;

  // The next number, strictly between 0 and 1.
  double GetUniformRand();

  // Starts the sequence again, also one that was seeded from the time.
  void Reset();

  // How many of `freq` cases fall into the sample (or, see the constructor, don't).
  //
  // Cases are drawn one by one, a number each and a fraction counted as a whole case (so that more
  // than `freq` may be selected, and fewer than none not), up to a frequency of 9000000 * p * (1 -
  // p); above that the result is the expected count freq * p, rounded half up, and nothing is
  // drawn. A frequency that is 0, negative or not a number selects nothing and draws nothing, and
  // so does, whatever the frequency, a `p` that is not a number. A `p` outside 0 to 1 is not
  // checked: the expected count of a frequency above its negative limit is given then, be it beyond
  // the frequency, negative or not a number.
  double GetRandomFreq(double freq);

 private:
  // The next number times 2147483563.
  QXUTILS_LOCAL long Draw();

  static constexpr long INITSEED1 = 314159;  // first state word at the start, for every seed

  [[maybe_unused]] long fSeed;  // as it was given
  long fSeed1;                  // 1 to 2147483562
  long fSeed2;                  // 1 to 2147483398
  double fProbability;          // p
  bool fReturnSelected;         // false: GetRandomFreq gives the number not selected
  double fTrialLimit;           // greatest frequency that is drawn case by case
  long fStartSeed2;             // second state word at the start
  long fFirstNotSelected;       // of what Draw gives: a trial succeeds below it
};

}  // namespace qxg_800

#endif
