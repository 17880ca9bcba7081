#include "qxutils/numeric/randomizer.h"

#include <cmath>
#include <ctime>

namespace qxg_800 {
namespace {

// One multiplicative congruential generator: a state word times `multiplier`, modulo `modulus`.
struct Component {
  constexpr Component(long m, long a)
      : modulus(m), multiplier(a), quotient(m / a), remainder(m % a) {}

  // Schrage's method: nothing in between leaves the range of the modulus. REQUIRES: `word` is from
  // 1 to modulus - 1, as the result is.
  long Step(long word) const {
    const long k = word / quotient;
    const long next = multiplier * (word - k * quotient) - k * remainder;
    return next < 0 ? next + modulus : next;
  }

  long modulus;
  long multiplier;
  long quotient;
  long remainder;
};

// The constants of L'Ecuyer's publication.
constexpr Component kFirst(2147483563, 40014);
constexpr Component kSecond(2147483399, 40692);

constexpr double kTrialScale = 9000000.0;

// The second state word that a seed gives: the seed or the time, brought into the component's
// range. 0 can't be a state, all that follows would be 0.
long StartWord(long seed) {
  const long word = (seed > 0 ? seed : static_cast<long>(std::time(nullptr))) % kSecond.modulus;
  if (word == 0) return 1;
  return word > 0 ? word : word + kSecond.modulus;
}

}  // namespace

Randomizer::Randomizer(long seed, double p, bool returnSelected)
    : fSeed(seed),
      fSeed1(INITSEED1),
      fSeed2(StartWord(seed)),
      fProbability(p),
      fReturnSelected(returnSelected),
      fTrialLimit(p * kTrialScale * (1.0 - p)),
      fStartSeed2(fSeed2) {}

double Randomizer::GetUniformRand() {
  fSeed1 = kFirst.Step(fSeed1);
  fSeed2 = kSecond.Step(fSeed2);
  long z = fSeed1 - fSeed2;
  z += z < 1 ? kFirst.modulus - 1 : 0;
  return static_cast<double>(z) / static_cast<double>(kFirst.modulus);
}

void Randomizer::Reset() {
  fSeed1 = INITSEED1;
  fSeed2 = fStartSeed2;
}

double Randomizer::GetRandomFreq(double freq) {
  double n = 0.0;
  if (freq > fTrialLimit) {
    n = std::floor(freq * fProbability + 0.5);
  } else if (freq > 0 && !std::isnan(fProbability)) {  // NaN is no limit: trials would not end
    long selected = 0;
    double t = 0.0;
    do {
      selected += GetUniformRand() < fProbability;  // no branch: it would be mispredicted
      t += 1.0;
    } while (freq > t);
    n = static_cast<double>(selected);
  }
  return fReturnSelected ? n : freq - n;
}

}  // namespace qxg_800
