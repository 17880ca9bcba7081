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
    if (!std::isfinite(value)) {
      fNotFinite += value;
      return;
    }
    const Parts parts(value);
    AddDigits(parts.digits, kUnit + parts.place, parts.isNegative);
    if (++fAdded == kMostAdded) Carry();
  }

  // REQUIRES: it is finite (not checked).
  void AddSquare(double value) {
    constexpr unsigned kHalf = 27;
    const Parts parts(value);
    const std::uint64_t high = parts.digits >> kHalf;
    const std::uint64_t low = parts.digits & ((std::uint64_t{1} << kHalf) - 1);
    AddDigits(low * low, 2 * parts.place, false);
    AddDigits(high * low, 2 * parts.place + kHalf + 1, false);
    AddDigits(high * high, 2 * parts.place + 2 * kHalf, false);
    if (++fAdded == kMostAdded) Carry();
  }

  // Adds the product, of which rounding loses nothing unless it is too large or small.
  void AddProduct(double a, double b) {
    const double product = a * b;
    Add(product);
    if (b != 1 && std::isfinite(product)) Add(std::fma(a, b, -product));
  }

  void Add(const ExactSum& other);

  // The sum, rounded. The same for all orders.
  double Value() const;

  // What Value() leaves, rounded.
  double Rest() const;

 private:
  static constexpr unsigned kLimbBits = 32;
  static constexpr std::uint64_t kLimb = (std::uint64_t{1} << kLimbBits) - 1;
  static constexpr int kMostAdded = 1 << 8;  // limbs have more to spare
  static constexpr unsigned kUnit = 1075;    // a double is digits times 2 to the place less this

  struct Parts {
    explicit Parts(double value) {
      constexpr unsigned kFractionBits = 52, kGreatest = 0x7FF;
      constexpr std::uint64_t kOne = std::uint64_t{1} << kFractionBits;
      std::uint64_t bits = 0;
      std::memcpy(&bits, &value, sizeof bits);
      place = static_cast<unsigned>(bits >> kFractionBits) & kGreatest;
      // What is denormal has the next place, without the bit before the fraction.
      digits = (bits & (kOne - 1)) | (place > 0 ? kOne : 0);
      place += place == 0;
      isNegative = bits >> 63 != 0;
    }
    std::uint64_t digits;
    unsigned place;
    bool isNegative;
  };

  // At most 55 digits, the lowest one at `place`.
  void AddDigits(std::uint64_t digits, unsigned place, bool isNegative) {
    const unsigned shift = place % kLimbBits;
    const auto low = static_cast<std::int64_t>((digits & (kLimb >> shift)) << shift);
    const auto high = static_cast<std::int64_t>(digits >> (kLimbBits - shift));
    std::int64_t* const limb = &fLimbs[place / kLimbBits];
    limb[0] += isNegative ? -low : low;
    limb[1] += isNegative ? -high : high;
  }
  void Carry();

  // The first one counts units of 2^-2150, that of squares. More than those of all squares leave
  // room for carries.
  std::array<std::int64_t, 136> fLimbs{};
  double fNotFinite = 0;  // the sum of what is not finite
  int fAdded = 0;         // since the last carry
};

// The mean of values, and how far they are from it. Weights have to add up without rounding.
class Moments {
 public:
  // REQUIRES: both are finite (not checked).
  void Add(double value, double weight) {
    fWeight += weight;
    if (weight == 1) {
      fSum.Add(value);
      fSquares.AddSquare(value);
    } else {
      const double square = value * value;
      fSum.AddProduct(value, weight);
      fSquares.AddProduct(square, weight);
      if (std::isfinite(square)) fSquares.AddProduct(std::fma(value, value, -square), weight);
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
