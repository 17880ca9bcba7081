// SPDX-FileCopyrightText: The qxutils authors
// SPDX-License-Identifier: Apache-2.0

#include "qxtree/exactsum.h"

#include <algorithm>

namespace qxtree {

// Leaves all limbs but the last one between 0 and 2^32.
void ExactSum::Carry() {
  constexpr std::int64_t kBase = std::int64_t{1} << kLimbBits;
  for (std::size_t i = 0; i + 1 < fLimbs.size(); ++i) {
    const std::int64_t rest = fLimbs[i] & static_cast<std::int64_t>(kLimb);
    fLimbs[i + 1] += (fLimbs[i] - rest) / kBase;
    fLimbs[i] = rest;
  }
  fAdded = 0;
}

void ExactSum::Add(const ExactSum& other) {
  ExactSum carried = other;
  carried.Carry();
  Carry();
  for (std::size_t i = 0; i < fLimbs.size(); ++i) fLimbs[i] += carried.fLimbs[i];
  fNotFinite += other.fNotFinite;
  Carry();
}

double ExactSum::Value() const {
  if (fNotFinite != 0) return fNotFinite;
  ExactSum sum = *this;
  sum.Carry();
  const bool isNegative = sum.fLimbs.back() < 0;
  if (isNegative) {
    for (std::int64_t& limb : sum.fLimbs) limb = -limb;
    sum.Carry();
  }
  double value = 0;
  for (std::size_t i = sum.fLimbs.size() - 1; i > 0; --i)  // a double can't hold the first
    value += std::ldexp(static_cast<double>(sum.fLimbs[i]),
                        static_cast<int>(kLimbBits * i) - static_cast<int>(2 * kUnit));
  return isNegative ? -value : value;
}

double ExactSum::Rest() const {
  ExactSum rest = *this;
  const double value = Value();
  if (!std::isfinite(value)) return 0;
  rest.Add(-value);
  return rest.Value();
}

void Moments::Add(const Moments& other) {
  fWeight += other.fWeight;
  fSum.Add(other.fSum);
  fSquares.Add(other.fSquares);
}

// Around the rounded mean, without the rounding of the large sums.
double Moments::Squares() const {
  const double mean = Mean(), square = mean * mean;
  ExactSum sum = fSquares;
  for (const double part : {fSum.Value(), fSum.Rest()}) sum.AddProduct(-2 * mean, part);
  for (const double part : {square, std::fma(mean, mean, -square)}) sum.AddProduct(part, fWeight);
  return std::max(sum.Value(), 0.0);
}

}  // namespace qxtree
