#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <utility>
#include <vector>

#include "failing_new.h"
#include "qxutils/iterators/binencodercache.h"

namespace {

using qxg_800::BinEncoderCache;
using Iterator = std::unique_ptr<Arbex_800::ADoubleRecordIterator>;
using Pairs = std::vector<std::pair<double, double>>;

void Update(BinEncoderCache& cache, const Pairs& pairs) {
  for (const auto& [value, weight] : pairs) {
    double rec[] = {value, weight};
    cache.update(rec);
  }
}

Pairs ReadAll(const Iterator& iterator) {
  Pairs pairs;
  while (iterator->HasMore() == 0 && iterator->HasMore() == 0) {
    const double* const data = iterator->Next()->data;
    pairs.emplace_back(data[0], data[1]);
  }
  return pairs;
}

Pairs ReadAll(BinEncoderCache& cache) { return ReadAll(Iterator(cache.createIterator())); }

}  // namespace

TEST(BinEncoder, GivesDistinctValuesInOrderWithTheirTotals) {
  BinEncoderCache cache;
  cache.update(nullptr);
  Update(cache, {{2, 1}, {1, 3}, {2, 0.5}, {-0.0, 0}, {NAN, 9}, {0.0, 3}, {INFINITY, 1}});
  Update(cache, {{-INFINITY, -1}, {1, -3}, {NAN, 9}, {1e-300, 0}});
  const Pairs pairs = ReadAll(cache);
  EXPECT_EQ(pairs, (Pairs{{-INFINITY, -1}, {0, 3}, {1e-300, 0}, {1, 0}, {2, 1.5}, {INFINITY, 1}}));
  EXPECT_TRUE(std::signbit(pairs[1].first));  // as it came first
}

TEST(BinEncoder, IteratorIsASnapshotWithOneRecordAndAnEnd) {
  BinEncoderCache cache;
  for (const Pairs& pairs : {Pairs{}, Pairs{{1, 3}, {2, 1}}}) {
    Update(cache, pairs);
    const Iterator iterator(cache.createIterator());
    Update(cache, {{2, 5}});
    EXPECT_EQ(iterator->GetFailReason(), 0);
    EXPECT_EQ(ReadAll(iterator).size(), pairs.size());
    EXPECT_EQ(iterator->GetFailReason(), 1);
    EXPECT_EQ(iterator->Next(), nullptr);
  }
  EXPECT_EQ(ReadAll(cache), (Pairs{{1, 3}, {2, 11}}));
}

TEST(BinEncoder, CopiesAreDeepAndWantOfMemoryChangesNothing) {
  BinEncoderCache source, target;
  Update(source, {{1, 1}, {2, 1}, {3, 1}});
  Update(target, {{5, 5}});
  const auto unchanged = [&] { EXPECT_EQ(ReadAll(target), (Pairs{{5, 5}})); };
  EXPECT_EQ(FailEachAllocation([&] { Iterator(target.createIterator()); }, unchanged), 3);
  EXPECT_EQ(FailEachAllocation([&] { target = source; }, unchanged), 3);
  double rec[] = {4, 1};
  const auto update = [&] { source.update(rec); };
  EXPECT_EQ(FailEachAllocation(update, [&] { EXPECT_EQ(ReadAll(source), ReadAll(target)); }), 1);
  EXPECT_EQ(ReadAll(target), (Pairs{{1, 1}, {2, 1}, {3, 1}}));
}
