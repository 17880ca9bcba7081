#include <gtest/gtest.h>

#include <boost/random/additive_combine.hpp>
#include <cmath>
#include <ctime>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "failing_new.h"
#include "qxutils/numeric/chararray.h"
#include "qxutils/numeric/qxstatistics.h"
#include "qxutils/numeric/randomizer.h"
#include "qxutils/text/infinityport.h"

using qxg_800::CharArray;
using qxg_800::QxStatistics;
using qxg_800::Randomizer;

namespace {

long clockValue = 0;

// Equal, NaN included.
bool Same(double a, double b) { return a == b || (std::isnan(a) && std::isnan(b)); }

}  // namespace

// In front of the C library's: the clock that seeds generators.
extern "C" std::time_t time(std::time_t*) noexcept { return clockValue; }

TEST(Randomizer, GivesTheKnownSequence) {
  Randomizer randomizer(12345, 0.5, true);
  for (const double u : {0.6197941134136634, 0.8420985702324558, 0.7000949864779011}) {
    EXPECT_EQ(randomizer.GetUniformRand(), u);
  }
}

// Against plain modular arithmetic in 64 bits, and against another implementation.
TEST(Randomizer, AgreesWithThePublishedGeneratorForEverySeedAndRepeats) {
  constexpr long kFirst = 2147483563, kSecond = 2147483399;
  constexpr long kMost = std::numeric_limits<long>::max();
  const long cases[][3] = {
      {1, 0, 1},          {987654321, 0, 987654321},   {kSecond - 1, 0, kSecond - 1},
      {kSecond, 0, 1},    {1L << 31, 0, 249},          {kMost, 0, kMost % kSecond},
      {-kMost - 1, 0, 1}, {0, 1700000000, 1700000000}, {-5, kSecond + 9, 9},
      {0, kSecond, 1},    {0, -1, kSecond - 1},
  };
  for (const auto& [seed, clock, word] : cases) {
    clockValue = clock;
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
  const double frequencies[] = {2250000, 2250001, 2.5,      0.25,      0,  -0.0,
                                -3,      1e300,   INFINITY, -INFINITY, NAN};
  for (const double p : {0.5, 0.0, 1.0, 1.5, -0.5, 1e308, 5e-324, double(INFINITY), double(NAN)}) {
    for (const double freq : frequencies) {
      SCOPED_TRACE(testing::Message() << "p " << p << ", frequency " << freq);
      const double limit = p * 9000000 * (1 - p);
      Randomizer reference(77, p, true), in(reference), out(77, p, false);
      double n = freq > limit ? std::floor(freq * p + 0.5) : 0;
      for (double t = 0; t < freq && freq <= limit; ++t) n += reference.GetUniformRand() < p;
      EXPECT_PRED2(Same, in.GetRandomFreq(freq), n);
      EXPECT_PRED2(Same, out.GetRandomFreq(freq), freq - n);
      const double next = reference.GetUniformRand();
      EXPECT_EQ(in.GetUniformRand(), next);
      EXPECT_EQ(out.GetUniformRand(), next);
    }
  }
}

namespace {

struct Weighted {
  double value, weight;
};

QxStatistics Add(unsigned flags, const std::vector<Weighted>& data) {
  QxStatistics statistics(flags);
  for (const auto& [value, weight] : data) statistics.AddValue(value, weight);
  return statistics;
}

// Compares with the promised steps bit by bit, the deviation with two passes in a wider type.
void Compare(const QxStatistics& statistics, unsigned flags, const std::vector<Weighted>& data) {
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
  const auto stDev = static_cast<double>(std::sqrt(squares / (total - 1)));
  const double missing = qxg_800::GetInfinity();
  EXPECT_EQ(statistics.GetMinimum(), flags & 1 ? minimum : missing);
  EXPECT_EQ(statistics.GetMaximum(), flags & 2 ? maximum : missing);
  EXPECT_EQ(statistics.GetMean(), flags & 12 ? mean : missing);
  const bool hasStDev = flags & 8 && total > 1;
  EXPECT_NEAR(hasStDev ? statistics.GetStDev() / stDev : 1, 1, 1e-13);
  EXPECT_TRUE(hasStDev || statistics.GetStDev() == missing);
  EXPECT_EQ(statistics.HasMinimum() + 2 * statistics.HasMaximum() + 4 * statistics.HasMean() +
                8 * statistics.HasStDev(),
            static_cast<int>((flags & 15) | (flags & 8) / 2));
}

// Used before any initialiser of the library has run.
struct Early {
  double missing = QxStatistics(0).GetStDev();
};
__attribute__((init_priority(101))) const Early early;

}  // namespace

TEST(Statistics, AgreeWithTwoPassesForEverySelection) {
  std::mt19937 random(1582);
  std::normal_distribution<double> values(3.0, 2.0);
  std::uniform_real_distribution<double> weights(0.01, 5.0);
  for (unsigned flags = 0; flags < 32; ++flags) {
    std::vector<Weighted> data;
    for (const Weighted& next : {Weighted{-7, 1}, {-7 + 5e-13, 0}, {-6, 1}}) {
      Compare(Add(flags, data), flags, data);
      data.push_back(next);
    }
    for (int i = 0; i < 1000; ++i) data.push_back({values(random), weights(random)});
    Compare(Add(flags, data), flags, data);
  }
  EXPECT_EQ(early.missing, INFINITY);
}

TEST(Statistics, KeepSmallDeviationsFromALargeMean) {
  std::vector<Weighted> data = {{1e7 + 0.2, 1}};
  for (int i = 0; i < 500; ++i) data.insert(data.end(), {{1e7 + 0.3, 1}, {1e7 + 0.1, 1}});
  EXPECT_NEAR(Add(8, data).GetStDev(), 0.1, 1e-8);
  EXPECT_EQ(Add(8, {{1e200, 1}, {1e200, 2}}).GetStDev(), 0.0);
}

TEST(Statistics, CopiesAreDeepAndWantOfMemoryChangesNothing) {
  const std::vector<Weighted> data = {{1, 2}, {4, 1}}, few = {{9, 1}};
  const QxStatistics all = Add(15, data);
  QxStatistics target = Add(2, few);
  const auto unchanged = [&] { Compare(target, 2, few); };
  EXPECT_EQ(FailEachAllocation([&] { target = all; }, unchanged), 1);
  const auto copied = [&] { Compare(target, 15, data); };
  EXPECT_EQ(FailEachAllocation([&] { target.CopyPtrFrom(all); }, copied), 1);
  QxStatistics(target).AddValue(100, 1);
  copied();
  target = QxStatistics(0);
  Compare(target, 0, data);
}

namespace {

std::string Bytes(const CharArray& array) {
  return std::string(array.AsPChar(), array.AsPChar() + array.GetNumElements());
}

void ExpectText(const CharArray& array, const std::string& end) {
  const std::string address = std::to_string(reinterpret_cast<long>(&array));
  EXPECT_EQ(array.ToString(), "object = CharArray\naddress = " + address + "fLength = " + end);
}

}  // namespace

TEST(CharArray, HoldsACopyOfTheBytesThatWantOfMemoryLeavesAlone) {
  EXPECT_EQ(CharArray::test(), 1);
  char bytes[] = {'a', '\0', 'b', 'c'};
  CharArray array(bytes, 3);
  const CharArray copy(array), longer(bytes, 4);
  const auto set = [&] { array.SetData(&bytes[1], 3); };
  EXPECT_EQ(FailEachAllocation(set, [] {}), 0);
  const auto unchanged = [&] { EXPECT_EQ(Bytes(array), std::string("\0bc", 3)); };
  EXPECT_EQ(FailEachAllocation([&] { array = longer; }, unchanged), 1);
  ExpectText(copy, "3fpChar = ab\n");
  array.SetData(&array[2], 2);  // from its own block
  EXPECT_EQ(Bytes(array), "bc");
}

TEST(CharArray, IsSafeForEveryLengthAndAfterCleanup) {
  char bytes[] = {'a', 'b'};
  for (const int length : {0, -1, std::numeric_limits<int>::min()}) {
    CharArray set(1);
    set.SetData(bytes, length);
    for (const CharArray& array : {CharArray(), CharArray(length), CharArray(bytes, length), set}) {
      EXPECT_EQ(array.AsPChar(), nullptr);
      ExpectText(array, "0fpChar = \n");
    }
  }
  CharArray array(bytes, 2);
  array.Cleanup();
  ExpectText(array, "2fpChar = \n");
  EXPECT_EQ(CharArray(array).GetNumElements(), 2);
  array.SetData(bytes, 2);
  EXPECT_EQ(Bytes(array), "ab");
}
