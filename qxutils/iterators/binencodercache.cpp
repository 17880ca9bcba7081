#include "qxutils/iterators/binencodercache.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <new>
#include <type_traits>
#include <utility>

namespace qxg_800 {
namespace {

using Record = Arbex_800::TRecord<double>;

constexpr int kReady = 0;
constexpr int kEndOfData = 1;

constexpr int kDoubles = 2;  // of one record

constexpr std::size_t kSlotsPerValue = 128;
constexpr int kMostIndexBits = 14;  // 128 KiB of addresses

// Multiplicative hashing by the golden ratio (D. E. Knuth, The Art of Computer Programming 3, 6.4).
constexpr std::uint64_t kGoldenRatio = 0x9E3779B97F4A7C15;

}  // namespace

static_assert(std::is_standard_layout_v<record> && sizeof(record) == kDoubles * sizeof(double) &&
                  offsetof(record, weight) == sizeof(double),
              "the host library's record reads value and weight as two doubles in a row");

BinEncoderCache::BinEncoderCache() = default;

BinEncoderCache::BinEncoderCache(const BinEncoderCache& other)
    : fValueWeights(other.fValueWeights) {}

BinEncoderCache& BinEncoderCache::operator=(const BinEncoderCache& other) {
  if (this == &other) return *this;
  std::map<double, double> copy(other.fValueWeights);  // the map's own assignment may stop half-way
  fValueWeights.swap(copy);
  fpLast = nullptr;
  fpIndex.reset();
  fIndexBits = 0;
  fIndexLimit = kLeastIndexed;
  return *this;
}

BinEncoderCache::~BinEncoderCache() = default;

void BinEncoderCache::update(double* rec) {
  if (!rec || std::isnan(rec[0])) return;  // a NaN would pass for equal to another value
  const double value = rec[0];
  if (fpLast && fpLast->first == value) {
    fpLast->second += rec[1];
    return;
  }
  Pair* const indexed = fpIndex ? fpIndex[Slot(value)] : nullptr;
  if (!indexed || indexed->first != value) return UpdateMap(value, rec[1]);
  indexed->second += rec[1];
  fpLast = indexed;
}

// Ascending input needs no search and so no index.
void BinEncoderCache::UpdateMap(double value, double weight) {
  auto entry = fValueWeights.end();
  if (entry != fValueWeights.begin() && std::prev(entry)->first >= value) {
    if (fValueWeights.size() >= fIndexLimit) RenewIndex();
    entry = fValueWeights.lower_bound(value);
  }
  if (entry != fValueWeights.end() && entry->first == value) {
    entry->second += weight;
  } else {
    entry = fValueWeights.emplace_hint(entry, value, 0.0 + weight);  // -0.0 gives 0.0
  }
  fpLast = &*entry;
  if (fpIndex) fpIndex[Slot(value)] = fpLast;
}

std::size_t BinEncoderCache::Slot(double value) const {
  std::uint64_t bits = 0;
  std::memcpy(&bits, &value, sizeof bits);
  return bits * kGoldenRatio >> (64 - fIndexBits);
}

// Sparse, so that few values share a slot, and given up where that is too little to be of use.
// Without memory for it the map does alone.
void BinEncoderCache::RenewIndex() {
  const std::size_t values = fValueWeights.size();
  fIndexLimit = 2 * values;
  int bits = 0;
  while (bits < kMostIndexBits && std::size_t{1} << bits < kSlotsPerValue * values) ++bits;
  if (values > std::size_t{2} << kMostIndexBits) bits = 0;
  if (bits == fIndexBits) return;
  fIndexBits = bits;
  fpIndex.reset();  // before the new one is made: memory for one of them is what the cache takes
  fpIndex.reset(bits > 0 ? new (std::nothrow) Pair*[std::size_t{1} << bits]() : nullptr);
}

Arbex_800::ADoubleRecordIterator* BinEncoderCache::createIterator() {
  return std::make_unique<BinEncoderIterator>(fValueWeights).release();
}

BinEncoderIterator::BinEncoderIterator(const std::map<double, double>& pairs)
    : fpRecords(new record[pairs.size()]), fNumRecords(static_cast<long>(pairs.size())) {
  // The map's order is that of compare_record already: there is nothing to sort.
  std::transform(pairs.begin(), pairs.end(), fpRecords.get(), [](const auto& pair) {
    return record{pair.first, pair.second};
  });
  fpRecord = std::make_unique<Record>(reinterpret_cast<double*>(fpRecords.get()), kDoubles);
}

BinEncoderIterator::~BinEncoderIterator() = default;

int BinEncoderIterator::HasMore() const {
  return fFailReason = fPos >= kDoubles * fNumRecords ? kEndOfData : kReady;
}

Record* BinEncoderIterator::Next() {
  if (fPos >= kDoubles * fNumRecords) return nullptr;
  // The first record is read first, so nothing that is still to come is overwritten.
  fpRecords[0] = fpRecords[static_cast<std::size_t>(fPos / kDoubles)];
  fPos += kDoubles;
  return fpRecord.get();
}

int BinEncoderIterator::GetFailReason() const { return fFailReason; }

}  // namespace qxg_800
