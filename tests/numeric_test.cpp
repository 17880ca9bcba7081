// SPDX-FileCopyrightText: The qxutils authors
// SPDX-License-Identifier: Apache-2.0

#include <boost/random/additive_combine.hpp>
#include <ctime>

#include "qxutils/numeric/chararray.h"
#include "qxutils/numeric/qxstatistics.h"
#include "qxutils/numeric/randomizer.h"
#include "qxutils/text/infinityport.h"
#include "support.h"

static long clockValue = 0;

// Replaces the C library's clock, which seeds generators.
extern "C" std::time_t time(std::time_t*) noexcept { return clockValue; }

// Against plain modular arithmetic in 64 bits, and against another implementation.
TEST(Randomizer, AgreesWithThePublishedGeneratorForEverySeedAndRepeats) {
  Randomizer known(12345, 0.5, true);
  for (const double u : {0.6197941134136634, 0.8420985702324558, 0.7000949864779011})
    EXPECT_EQ(known.GetUniformRand(), u);
  constexpr long kFirst = 2147483563, kSecond = 2147483399;
  // After the first step the words of 77042456 are equal.
  for (const long seed : {1L, 77042456L, kSecond - 1, kSecond, 1L << 31, LONG_MAX, 0L, LONG_MIN,
                          -1700000000L, -1700000001L, -1700000000L - (1L << 29)}) {
    clockValue = seed > 0 ? 99 : 1700000000 + seed;
    const long start = (seed > 0 ? seed : clockValue) % kSecond;
    const long word = start == 0 ? 1 : start < 0 ? start + kSecond : start;
    Randomizer randomizer(seed, 0.5, true);
    clockValue = 77;
    randomizer.GetUniformRand();
    randomizer.Reset();
    boost::random::ecuyer1988 published(314159U, static_cast<unsigned>(word));
    long first = 314159, second = word;
    for (int i = 0; i < 1000000; ++i) {
      first = first * 40014 % kFirst;
      second = second * 40692 % kSecond;
      const long z = first - second + (first > second ? 0 : kFirst - 1);
      ASSERT_EQ(z, static_cast<long>(published()));
      ASSERT_EQ(randomizer.GetUniformRand(), static_cast<double>(z) / kFirst) << seed << ", " << i;
    }
  }
}

TEST(Randomizer, RandomFreqDrawsTheCasesOrGivesTheExpectedCount) {
  const double infinity = GetInfinity(), nan = std::nan("");
  const auto same = [](double a, double b) { return a == b || (std::isnan(a) && std::isnan(b)); };
  for (const double p : {0.5, 0.0, 1.0, 1.5, -0.5, 1e308, 5e-324, infinity, nan,
                         Randomizer(77, 0.0, true).GetUniformRand()}) {
    for (const double freq : {2.25e6, 2.25e6 + 1, 2.5, 0.25, 0.0, -3.0, infinity, -infinity, nan}) {
      SCOPED_TRACE(testing::Message() << "p " << p << ", frequency " << freq);
      const double limit = p * 9000000 * (1 - p);
      Randomizer reference(77, p, true), in(reference), out(77, p, false);
      double n = freq > limit ? std::floor(freq * p + 0.5) : 0;
      for (double t = 0; t < freq && freq <= limit; ++t) n += reference.GetUniformRand() < p;
      EXPECT_PRED2(same, in.GetRandomFreq(freq), n);
      EXPECT_PRED2(same, out.GetRandomFreq(freq), freq - n);
      const double next = reference.GetUniformRand();
      EXPECT_TRUE(in.GetUniformRand() == next && out.GetUniformRand() == next);
    }
  }
}

using Data = std::vector<std::pair<double, double>>;  // values and weights

static QxStatistics Add(unsigned flags, const Data& data) {
  QxStatistics statistics(flags);
  for (const auto& [value, weight] : data) statistics.AddValue(value, weight);
  return statistics;
}

// Compares with the promised steps bit by bit, the deviation with two passes in a wider type.
static void Compare(const QxStatistics& s, unsigned flags, const Data& data) {
  double minimum = std::numeric_limits<double>::max(), maximum = -minimum, mean = 0, total = 0;
  long double sum = 0, squares = 0;
  for (const auto& [x, w] : data) {
    if (x < minimum + 1e-12) minimum = x;
    if (x > maximum + 1e-12) maximum = x;
    mean = (total * mean + x * w) / (total + w);
    total += w;
    sum += static_cast<long double>(x) * w;
  }
  for (const auto& [x, w] : data) squares += w * std::pow(x - sum / total, 2.0L);
  const bool defined = flags & 8 && total > 1;
  const double stDev = defined ? static_cast<double>(std::sqrt(squares / (total - 1))) : HUGE_VAL;
  const unsigned has = s.HasMinimum() + 2 * s.HasMaximum() + 4 * s.HasMean() + 8 * s.HasStDev();
  EXPECT_EQ(has, (flags & 15) | (flags & 8) / 2);
  EXPECT_EQ(s.GetMinimum(), has & 1 ? minimum : HUGE_VAL);
  EXPECT_EQ(s.GetMaximum(), has & 2 ? maximum : HUGE_VAL);
  EXPECT_EQ(s.GetMean(), has & 4 ? mean : HUGE_VAL);
  if (has & 8 && total > 1) {
    EXPECT_NEAR(s.GetStDev() / stDev, 1, 1e-13);
  } else {
    EXPECT_EQ(s.GetStDev(), HUGE_VAL);
  }
}

TEST(Statistics, AgreeWithTwoPassesForEverySelection) {
  std::mt19937 random(1582);
  std::normal_distribution<double> values(3.0, 2.0);
  std::uniform_real_distribution<double> weights(0.01, 5.0);
  for (unsigned flags = 0; flags < 32; ++flags) {
    Data data;
    for (const auto& next : Data{{0, 1}, {1e-12, 0}, {5e-13, 1}, {2e-12, 1}}) {
      Compare(Add(flags, data), flags, data);
      data.push_back(next);
    }
    for (int i = 0; i < 1000; ++i) data.emplace_back(values(random), weights(random));
    Compare(Add(flags, data), flags, data);
  }
  Data large = {{1e7 + 0.2, 1}};
  for (int i = 0; i < 500; ++i) large.insert(large.end(), {{1e7 + 0.3, 1}, {1e7 + 0.1, 1}});
  EXPECT_NEAR(Add(8, large).GetStDev(), 0.1, 1e-8);
  QxStatistics huge = Add(8, {{1e200, 1}, {1e200, 2}});
  huge = static_cast<const QxStatistics&>(huge);
  EXPECT_EQ(huge.GetStDev(), 0.0);
}

TEST(Statistics, CopiesAreDeep) {
  const Data data = {{1, 2}, {4, 1}}, few = {{9, 1}};
  const QxStatistics all = Add(15, data);
  QxStatistics target = Add(2, few);
  target = all;
  QxStatistics(target).AddValue(100, 1);
  Compare(target, 15, data);
}

TEST(CharArray, HoldsACopyOfTheBytes) {
  const auto expectText = [](const CharArray& array, const std::string& end) {
    const std::string address = std::to_string(reinterpret_cast<long>(&array));
    EXPECT_EQ(array.ToString(), "object = CharArray\naddress = " + address + "fLength = " + end);
  };
  EXPECT_EQ(CharArray::test(), 1);
  char bytes[] = "a\0bc";
  CharArray array(bytes, 3);
  const CharArray copy(array), longer(bytes, 4);
  const char* const block = array.AsPChar();
  array.SetData(&bytes[1], 3);
  EXPECT_EQ(array.AsPChar(), block) << "of the same length";
  expectText(array, "3fpChar = bc\n");
  array = longer;
  EXPECT_EQ(std::string(copy.AsPChar(), 3), std::string(bytes, 3));
  array.SetData(&array[2], 2);  // from its own block
  array = static_cast<const CharArray&>(array);
  expectText(array, "2fpChar = bc\n");
  array.Cleanup();
  array[1] = 'x';  // nobody's byte
  expectText(array, "2fpChar = \n");
  expectText(CharArray(array) = copy, "3fpChar = ab\n");
  array.SetData(bytes, 2);
  expectText(array, "2fpChar = a\n");
  for (CharArray one : {CharArray(1), CharArray(nullptr, 1), CharArray(bytes, 1)}) {
    one[0] = 'z';  // nobody says what it was
    expectText(one, "1fpChar = z\n");
  }
  for (const int length : {0, -1, INT_MIN}) {
    array.SetData(bytes, length);
    for (const CharArray& a : {CharArray(), CharArray(length), CharArray(bytes, length), array}) {
      EXPECT_EQ(a.AsPChar(), nullptr);
      expectText(a, "0fpChar = \n");
    }
  }
}
