// SPDX-FileCopyrightText: The qxutils authors
// SPDX-License-Identifier: Apache-2.0

// Sums of doubles without rounding, so that they do not depend on the order.
#ifndef QXTREE_EXACTSUM_H
#define QXTREE_EXACTSUM_H

#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace qxtree {

// Adds any number of doubles exactly, in limbs of 32 bits (R. M. Neal, Fast Exact Summation Using
// Small and Large Superaccumulators, 2015). It can be copied as bytes.
class ExactSum {
 public:
  void Add(double value) {
    constexpr std::uint64_t kFraction = (std::uint64_t{1} << 52) - 1;
    constexpr unsigned kGreatest = 0x7FF;
    std::uint64_t bits = 0;
    std::memcpy(&bits, &value, sizeof bits);
    const auto exponent = static_cast<unsigned>(bits >> 52) & kGreatest;
    if (exponent == kGreatest) {
      fNotFinite += value;
      return;
    }
    // What is denormal has the exponent 1, without the bit before the fraction.
    const std::uint64_t digits = (bits & kFraction) | (exponent > 0 ? kFraction + 1 : 0);
    const unsigned place = exponent > 0 ? exponent : 1, shift = place % kLimbBits;
    const auto low = static_cast<std::int64_t>((digits & (kLimb >> shift)) << shift);
    const auto high = static_cast<std::int64_t>(digits >> (kLimbBits - shift));
    const std::int64_t sign = (bits >> 63) != 0 ? -1 : 1;
    fLimbs[place / kLimbBits] += sign * low;
    fLimbs[place / kLimbBits + 1] += sign * high;
    if (++fAdded == kMostAdded) Carry();
  }

  // Adds the product, of which rounding loses nothing unless it is too large or small.
  void AddProduct(double a, double b) {
    const double product = a * b;
    Add(product);
    if (std::isfinite(product)) Add(std::fma(a, b, -product));
  }

  void Add(const ExactSum& other);

  // The sum, rounded. The same for all orders.
  double Value() const;

  // What Value() leaves, rounded.
  double Rest() const;

 private:
  static constexpr unsigned kLimbBits = 32;
  static constexpr std::uint64_t kLimb = (std::uint64_t{1} << kLimbBits) - 1;
  static constexpr int kMostAdded = 1 << 10;  // limbs have as many to spare

  void Carry();

  // The first one counts units of 2^-1075. More than those of doubles leave room for carries.
  std::array<std::int64_t, 68> fLimbs{};
  double fNotFinite = 0;  // the sum of what is not finite
  int fAdded = 0;         // since the last carry
};

// The mean of values, and how far they are from it. Weights have to add up without rounding.
class Moments {
 public:
  void Add(double value, double weight) {
    const double square = value * value;
    const double rest = std::isfinite(square) ? std::fma(value, value, -square) : 0;
    fWeight += weight;
    if (weight == 1) {  // the same, faster
      fSum.Add(value);
      fSquares.Add(square);
      fSquares.Add(rest);
    } else {
      fSum.AddProduct(value, weight);
      fSquares.AddProduct(square, weight);
      fSquares.AddProduct(rest, weight);
    }
  }
  void Add(const Moments& other);

  double Weight() const { return fWeight; }
  double Mean() const { return fSum.Value() / fWeight; }
  // The weighted sum of the squares of deviations from the mean.
  double Squares() const;

 private:
  double fWeight = 0;
  ExactSum fSum, fSquares;
};

}  // namespace qxtree

#endif
