// SPDX-FileCopyrightText: The qxutils authors
// SPDX-License-Identifier: Apache-2.0

// The distinct values of a million cases with their total weights, returned in ascending order.
#include <algorithm>
#include <cstring>
#include <map>
#include <memory>
#include <unordered_map>

#include "bench.h"
#include "qxutils/iterators/binencodercache.h"
#include "subjects.h"

namespace bench {
namespace {

constexpr long kCases = 1'000'000;

using Values = std::vector<double>;

// Depends on the order, the values and the weights.
class Digest {
 public:
  void Add(double value, double weight) {
    for (const double part : {value, weight}) {
      std::uint64_t bits = 0;
      std::memcpy(&bits, &part, sizeof bits);
      fBits = (fBits ^ bits) * 0x9E3779B97F4A7C15;
    }
  }
  double Get() const { return static_cast<double>(fBits >> 11); }

 private:
  std::uint64_t fBits = 0;
};

double Ours(const Values& values) {
  qxg_800::BinEncoderCache cache;
  for (const double value : values) {
    double pair[] = {value, 1.0};
    cache.update(pair);
  }
  const std::unique_ptr<Arbex_800::ADoubleRecordIterator> iterator(cache.createIterator());
  Digest digest;
  while (iterator->HasMore() == 0) {
    const double* pair = iterator->Next()->data;
    digest.Add(pair[0], pair[1]);
  }
  return digest.Get();
}

double Ordered(const Values& values) {
  std::map<double, double> map;
  for (const double value : values) map[value] += 1.0;
  Digest digest;
  for (const auto& [value, weight] : map) digest.Add(value, weight);
  return digest.Get();
}

double HashedAndSorted(const Values& values) {
  std::unordered_map<double, double> map;
  for (const double value : values) map[value] += 1.0;
  std::vector<std::pair<double, double>> pairs(map.begin(), map.end());
  std::sort(pairs.begin(), pairs.end());
  Digest digest;
  for (const auto& [value, weight] : pairs) digest.Add(value, weight);
  return digest.Get();
}

using Work = double (*)(const Values&);

void AddMap(const std::string& row, const std::string& peer, const Values& values, Work work,
            bool isLong) {
  const auto items = static_cast<long>(values.size());
  if (!isLong) return Add(row, peer, items, [&values, work] { return work(values); });
  constexpr int kRepetitions = 3;  // half a second each
  AddOnce(
      row, peer, items, kRepetitions, [] { return std::make_unique<double>(); },
      [&values, work](double& result) { result = work(values); },
      [=](double result) { Agree(row, peer, Text(result)); });
}

}  // namespace

void AddDistinct() {
  static std::map<std::string, Values> data;
  for (const long distinct : {100L, 10'000L, 1'000'000L}) {
    const long count = Scaled(distinct);
    Random random;
    Values kinds(static_cast<std::size_t>(count));
    for (double& kind : kinds) kind = 1e6 * random.Uniform();
    Values values;
    for (long i = 0; i < Scaled(kCases); ++i) {
      values.push_back(kinds[static_cast<std::size_t>(i % count)]);
    }
    const auto add = [&](const std::string& order, const std::string& peer, Work theirs) {
      const std::string row = "distinct-" + order + '/' + std::to_string(distinct);
      const Values& cases = data[row] = values;
      AddMap(row, "ours", cases, Ours, distinct == kCases);
      AddMap(row, peer, cases, theirs, distinct == kCases);
    };
    Shuffle(values);
    if (distinct == 100) {
      add("random", "unordered_map", HashedAndSorted);
    } else {
      add("random", "map", Ordered);
    }
    std::sort(values.begin(), values.end());
    add("sorted", "map", Ordered);
  }
}

}  // namespace bench
