#include "qxutils/iterators/binencodercache.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <limits>
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

// Its value is equal to no other, so nothing is ever added to it.
std::pair<const double, double> BinEncoderCache::none(std::numeric_limits<double>::quiet_NaN(), 0);

BinEncoderCache::BinEncoderCache() = default;

BinEncoderCache::BinEncoderCache(const BinEncoderCache& other)
    : fValueWeights(other.fValueWeights) {
  if (other.fIsWaiting) fValueWeights[other.fpLast->first] += other.fWaiting;
}

BinEncoderCache& BinEncoderCache::operator=(const BinEncoderCache& other) {
  if (this == &other) return *this;
  BinEncoderCache copy(other);  // the map's own assignment may stop half-way
  fValueWeights.swap(copy.fValueWeights);
  fpLast = &none;
  fIsWaiting = false;
  fpIndex.reset();
  fIndexShift = kNoShift;
  fIndexLimit = kLeastIndexed;
  return *this;
}

BinEncoderCache::~BinEncoderCache() = default;

void BinEncoderCache::update(double* rec) {
  if (!rec) return;
  const double value = rec[0];
  if (fpLast->first == value) return UpdateLast(rec[1]);
  Settle();
  Pair* const entry = fpIndex ? fpIndex[Slot(value)] : &none;
  if (entry->first != value) return UpdateMap(value, rec[1]);
  entry->second += rec[1];
  fpLast = entry;
}

// Of equal values in a row every other weight waits for the next one. A total that was just stored
// is slow to load again: loaded half as often, a value costs four tenths less.
void BinEncoderCache::UpdateLast(double weight) {
  if (fIsWaiting) {
    fpLast->second = fpLast->second + fWaiting + weight;
    fIsWaiting = false;
  } else {
    fWaiting = weight;
    fIsWaiting = true;
  }
}

// From here on the map has all weights.
void BinEncoderCache::Settle() {
  if (!fIsWaiting) return;
  fpLast->second += fWaiting;
  fIsWaiting = false;
}

// Ascending input needs no search and so no index.
void BinEncoderCache::UpdateMap(double value, double weight) {
  if (std::isnan(value)) return;  // would pass for equal to another one
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
  return bits * kGoldenRatio >> fIndexShift;
}

// Sparse, so that few values share a slot, and given up where that is too little to be of use.
// Without memory for it the map does alone.
void BinEncoderCache::RenewIndex() {
  const std::size_t values = fValueWeights.size();
  fIndexLimit = 2 * values;
  int bits = 0;
  while (bits < kMostIndexBits && std::size_t{1} << bits < kSlotsPerValue * values) ++bits;
  if (values > std::size_t{2} << kMostIndexBits) bits = 0;
  if (kNoShift - bits == fIndexShift) return;
  fIndexShift = kNoShift - bits;
  fpIndex.reset();  // before the new one is made: memory for one of them is what the cache takes
  if (bits == 0) return;
  const std::size_t slots = std::size_t{1} << bits;
  fpIndex.reset(new (std::nothrow) Pair*[slots]);
  if (fpIndex) std::fill_n(fpIndex.get(), slots, &none);
}

Arbex_800::ADoubleRecordIterator* BinEncoderCache::createIterator() {
  Settle();
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
