// The distinct values of a million cases with their total weights, handed back in ascending order.
#include <absl/container/btree_map.h>

#include <algorithm>
#include <boost/container/flat_map.hpp>
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

template <class Map>
double Ordered(const Values& values) {
  Map map;
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

void AddMaps(const std::string& row, const Values& values, bool isLong, bool hasFlat) {
  const auto add = [&](const std::string& peer, double (*work)(const Values&)) {
    const auto items = static_cast<long>(values.size());
    if (!isLong) return Add(row, peer, items, [&values, work] { return work(values); });
    constexpr int kRepetitions = 3;  // half a second each
    AddOnce(
        row, peer, items, kRepetitions, [] { return std::make_unique<double>(); },
        [&values, work](double& result) { result = work(values); },
        [=](double result) { Agree(row, peer, Text(result)); });
  };
  add("ours", Ours);
  add("map", Ordered<std::map<double, double>>);
  add("unordered_map", HashedAndSorted);
  add("btree_map", Ordered<absl::btree_map<double, double>>);
  if (hasFlat) add("flat_map", Ordered<boost::container::flat_map<double, double>>);
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
    const std::string name = '/' + std::to_string(distinct);
    Values& shuffled = data["distinct-random" + name] = values;
    Shuffle(shuffled);
    Values& sorted = data["distinct-sorted" + name] = values;
    std::sort(sorted.begin(), sorted.end());
    // In a flat map a million values would be a million moves of half of them.
    const bool isLong = distinct == kCases;
    AddMaps("distinct-random" + name, shuffled, isLong, !isLong);
    AddMaps("distinct-sorted" + name, sorted, isLong, true);
  }
}

}  // namespace bench
