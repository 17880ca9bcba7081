// SPDX-FileCopyrightText: The qxutils authors
// SPDX-License-Identifier: Apache-2.0

#include "qxutils/iterators/binencodercache.h"
#include "qxutils/iterators/binfileiterator.h"
#include "support.h"

TEST(Record, IsCopiedDeepAndMoved) {
  using Record = Arbex_800::TRecord<double>;
  double values[] = {1, 2};
  Record borrowed(values, 2), copy(borrowed), moved(std::move(copy)), assigned(3);
  EXPECT_TRUE(!borrowed.ownsData && moved.ownsData && !copy.data && copy.size == 0);
  assigned = moved;
  values[0] = moved.data[1] = 9;
  EXPECT_EQ(moved.data[0] + 10 * assigned.data[1] + 100 * assigned.size, 221);
  for (const int none : {0, -1, INT_MIN}) EXPECT_FALSE(Record(none).data || Record(none).size);
  EXPECT_EQ(Record(1).data[0], 0);
}

TEST(BinFileIterator, DeliversWholeRecordsOnly) {
  const TempFolder folder;
  const std::string path = folder / "file";
  const double doubles[] = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11};
  const int cases[][3] = {{96, 4, 12}, {0, 4, 0},        {80, 4, 8},      {31, 1, 3},
                          {32, 0, 0},  {32, INT_MIN, 0}, {32, INT_MAX, 0}};
  for (const auto& [bytes, length, values] : cases) {
    std::ofstream(path).write(reinterpret_cast<const char*>(doubles), bytes);
    BinFileIterator iterator(path.c_str(), length, folder.settings, -1);
    std::vector<double> read;
    while (iterator.HasMore() == 0) {
      const auto* const record = iterator.Next();
      read.insert(read.end(), record->data, record->data + length);
      EXPECT_TRUE(iterator.Next() == record && record->size == length) << "the same one again";
    }
    EXPECT_EQ(read, std::vector<double>(doubles, doubles + values));
    EXPECT_TRUE(iterator.HasMore() == 1 && !iterator.Next()) << length;
    iterator.CancelIteration();
    EXPECT_EQ(iterator.HasMore(), 2);
    EXPECT_EQ(iterator.GetFailReason(), 2);
  }
  EXPECT_EQ(folder.Open(), 0);
  EXPECT_EQ(BinFileIterator("missing", 1, folder.settings, -1).HasMore(), 1);
  EXPECT_EQ(BinFileIterator(nullptr, 1, folder.settings, -1).HasMore(), 1);
  EXPECT_EQ(BinFileIterator("x", 1, folder.settings, 0).HasMore(), 3) << "no such sequence id";
  EXPECT_EQ(BinFileIterator(nullptr, 1).HasMore(), 3);
}

TEST(BinFileIterator, OwnsOnlyTheStorageThatItMade) {
  Engine engine;
  EngineFile given;
  const double values[] = {1, 2, 3, 4};
  given.Open("nowhere/x", 1, Level(5));
  given.Write(reinterpret_cast<const char*>(values), sizeof values);
  given.Open("nowhere/x", 0, Level(5));
  faults = {Faults::kResults};
  {
    BinFileIterator iterator(&given, 1);
    EXPECT_EQ(iterator.HasMore() + iterator.HasMore(), 0) << "the first record is passed over";
    EXPECT_EQ(iterator.Next()->data[0], 2);
    iterator.Init();
    EXPECT_EQ(iterator.Next()->data[0], 0);
  }
  EXPECT_EQ(faults.count, 2) << "two reads";
  engine.registry.push_back(new EngineFile(given));
  faults = {Faults::kResults, 2};  // clone, open
  EXPECT_EQ(BinFileIterator("", 4, engine.settings, 0).HasMore(), 1) << "though it could be read";
  faults = {Faults::kExceptions, 4};  // clone, open, read, close
  EXPECT_EQ(BinFileIterator("", 4, engine.settings, 0).HasMore(), 0);
  EXPECT_EQ(faults.count, 4);
  EXPECT_EQ(EngineFile::Living(), 3);
}

using Pairs = std::vector<std::pair<double, double>>;

static void Update(BinEncoderCache& cache, const Pairs& pairs) {
  for (auto [value, weight] : pairs) cache.update(std::vector{value, weight}.data());
}

static Pairs Read(Arbex_800::ADoubleRecordIterator&& iterator) {
  Pairs pairs;
  while (iterator.GetFailReason() == 0 && iterator.HasMore() == 0 && iterator.HasMore() == 0) {
    const double* const data = iterator.Next()->data;
    pairs.emplace_back(data[0], data[1]);
  }
  EXPECT_TRUE(iterator.GetFailReason() == 1 && !iterator.Next());
  return pairs;
}

// All pairs of the cache as it was before it also got `later`.
static Pairs ReadAll(BinEncoderCache& cache, const Pairs& later = {}) {
  const std::unique_ptr<Arbex_800::ADoubleRecordIterator> iterator(cache.createIterator());
  Update(cache, later);
  return Read(std::move(*iterator));
}

TEST(BinEncoder, GivesDistinctValuesInOrderWithTheirTotalsAndDeepCopies) {
  BinEncoderCache cache;
  cache.update(nullptr);
  EXPECT_TRUE(ReadAll(cache, {{2, 1}, {1, 3}, {-0.0, 0}, {NAN, 9}, {0.0, 3}}).empty());
  Update(cache, {{INFINITY, 1}, {-INFINITY, -1}, {2, 0.5}, {1, -3}, {NAN, 9}, {1e-300, 0}});
  const Pairs pairs = ReadAll(cache, {{2, 5}});
  EXPECT_EQ(pairs, (Pairs{{-INFINITY, -1}, {0, 3}, {1e-300, 0}, {1, 0}, {2, 1.5}, {INFINITY, 1}}));
  EXPECT_TRUE(std::signbit(pairs[1].first)) << "as it came first";

  BinEncoderCache source, target;
  Update(source, {{1, 1}, {2, 1}, {3, 1}});
  Update(target, {{5, 5}});
  target = source;
  target = static_cast<const BinEncoderCache&>(target);
  Update(source, {{4, 1}});
  EXPECT_EQ(ReadAll(target), (Pairs{{1, 1}, {2, 1}, {3, 1}}));
  EXPECT_TRUE(compare_record({1, 9}, {2, 0}) && !compare_record({1, 0}, {1, 9}));
}

// Where two lists of pairs differ; an empty text where they don't.
static std::string Difference(const Pairs& pairs, const Pairs& right) {
  const auto at = std::mismatch(pairs.begin(), pairs.end(), right.begin(), right.end());
  std::ostringstream text;
  text.precision(17);
  if (at.first != pairs.end()) text << at.first->first << ": " << at.first->second << ' ';
  if (at.second != right.end()) text << "not " << at.second->first << ": " << at.second->second;
  return text.str();
}

TEST(BinEncoder, AgreesWithAMapOnSortedRepeatedAndRandomValues) {
  for (unsigned seed = 1; seed <= 50; ++seed) {
    std::mt19937 random(seed);
    const bool isMany = seed == 50;
    const int distinct = isMany ? 1000000 : 1 << seed % 12;
    BinEncoderCache cache;
    ValueWeights weights;
    std::map<double, double> model;
    double next = 0;
    for (unsigned i = 0, kind = 2; i < (isMany ? 500000 : 30000); ++i) {
      if (random() % 500 == 0) kind = (random() % 4) | (seed % 3 / 2 * 2);
      const double drawn = static_cast<int>(random() >> 1) % distinct;
      next += (kind == 0 ? 1 : -1) * std::fmod(drawn, 3);
      const double value = kind < 2 ? next : kind == 2 ? drawn : -0.0 * std::fmod(drawn, 2);
      double rec[] = {value, 0.1 * static_cast<int>(random() % 9)};
      model[value] += rec[1];
      weights[value] += rec[1];
      faults = {Faults::kMemory, static_cast<long>(random() % 8)};
      const bool fails = !TextOf([&] { cache.update(rec); }).empty();
      faults = {};
      if (fails) cache.update(rec);
      if (random() % 8192 != 0 || isMany) continue;
      cache = BinEncoderCache(cache);
      weights = ValueWeights(weights);
    }
    const Pairs right(model.begin(), model.end());
    EXPECT_EQ(Difference(ReadAll(cache), right), "") << "seed " << seed;
    EXPECT_EQ(Difference(Read(BinEncoderIterator(weights)), right), "") << "seed " << seed;
    EXPECT_EQ(Difference(Read(BinEncoderIterator(model)), right), "") << "seed " << seed;
  }
}

TEST(BinEncoder, NeedsNoMemoryForValuesThatItHas) {
  for (const int count : {160, 1000}) {
    for (const bool fails : {false, true}) {
      std::mt19937 random(1);
      std::uniform_real_distribution<double> any(-1, 1);  // many share a slot of an index
      std::map<double, double> model;
      while (static_cast<int>(model.size()) < count) model[any(random)] = 11;
      BinEncoderCache cache;
      for (int round = 0; round < 11; ++round) {
        if (fails && round == 1) faults = {Faults::kMemory, 1, 0, -1};
        for (auto [value, weight] : model) {
          double rec[] = {value, 1};
          cache.update(rec);
        }
      }
      faults = {};
      EXPECT_EQ(Difference(ReadAll(cache), {model.begin(), model.end()}), "") << count;
    }
  }
}

#ifndef _GLIBCXX_DEBUG  // whose vectors are larger
TEST(BinEncoder, NeverTakesMoreMemoryThanAMap) {
  for (int order = 0; order < 3; ++order) {
    std::vector<double> values(1000000);
    std::iota(values.begin(), values.end(), 0);
    if (order == 1) std::reverse(values.begin(), values.end());
    std::mt19937 random(1);
    if (order == 2) std::shuffle(values.begin(), values.end(), random);
    BinEncoderCache cache;
    std::map<double, double> map;
    const long before = heapBytes;
    long ofMap = 0, updates = 0;
    for (std::size_t n = 1; n <= values.size(); ++n) {
      const long start = heapBytes;
      map[values[n - 1]] = 1;
      ofMap += heapBytes - start;
      mostHeapBytes = heapBytes;
      const bool isSearched = n <= 300 || n == 1000 || n == 10000 || n == 50000;
      for (std::size_t i = 0, at = n - 1; i < (isSearched ? 6 * n + 20 : 1);
           ++i, at = random() % n) {
        ++updates;
        double rec[] = {values[at], 1};
        cache.update(rec);
      }
      ASSERT_LE(mostHeapBytes - before - ofMap, ofMap) << n << " values, order " << order;
    }
    EXPECT_TRUE(order != 0 || heapBytes - before - ofMap < ofMap / 3) << "leaves are full";
    for (const auto& pair : ReadAll(cache)) updates -= static_cast<long>(pair.second);
    EXPECT_EQ(updates, 0) << "no weight is lost, order " << order;
  }
}
#endif
