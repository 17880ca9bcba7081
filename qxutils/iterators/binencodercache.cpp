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

constexpr std::size_t kLeastIndexed = 16;  // values
constexpr int kSparseBits = 4;             // an index has 2^4 slots for a value while it may grow
constexpr int kGreatestIndexBits = 14;     // 128 KiB of addresses
constexpr int kUpdatesAfterMiss = 63;

}  // namespace

static_assert(std::is_standard_layout_v<record> && sizeof(record) == kDoubles * sizeof(double) &&
                  offsetof(record, weight) == sizeof(double),
              "the host library's record reads value and weight as two doubles in a row");

BinEncoderCache::BinEncoderCache() : fLast(fValueWeights.end()) {}

BinEncoderCache::BinEncoderCache(const BinEncoderCache& other)
    : fValueWeights(other.fValueWeights), fLast(fValueWeights.end()) {}

BinEncoderCache& BinEncoderCache::operator=(const BinEncoderCache& other) {
  Pairs copy(other.fValueWeights);  // the map's own assignment may stop half-way
  fValueWeights.swap(copy);
  fLast = fValueWeights.end();
  fpIndex.reset();
  fIndexBits = 0;
  fIndexed = fIndexRoom = 0;
  return *this;
}

BinEncoderCache::~BinEncoderCache() = default;

void BinEncoderCache::update(double* rec) {
  if (!rec || std::isnan(rec[0])) return;  // a NaN would pass for equal to another value
  const double value = rec[0];
  const double weight = rec[1];
  if (TryBehindLast(value)) {
    fLast->second += weight;
    return;
  }
  std::size_t slot = 0;
  if (fpIndex) {
    for (slot = Slot(value); fpIndex[slot]; slot = NextSlot(slot)) {
      if (fpIndex[slot]->first != value) continue;
      fpIndex[slot]->second += weight;
      return;
    }
  }
  TakePlace(fValueWeights.lower_bound(value), value);
  fLast->second += weight;
  if (fIndexed < fIndexRoom) {
    fpIndex[slot] = &*fLast;
    ++fIndexed;
  } else {
    GrowIndex();
  }
}

// Makes fLast the entry of `value`, whose place is `place` or right before it; a new one has total
// 0.
void BinEncoderCache::TakePlace(Pairs::iterator place, double value) {
  if (place == fValueWeights.end() || place->first > value) {
    place = fValueWeights.emplace_hint(place, value, 0.0);
  }
  fLast = place;
}

// Sorted input: makes fLast the entry of `value` when that is the last value or comes right behind
// it. Where this fails it is tried again only after some updates, so that other input hardly pays
// for it.
bool BinEncoderCache::TryBehindLast(double value) {
  if (fUpdatesToNextTry > 0) {
    --fUpdatesToNextTry;
    return false;
  }
  if (fLast != fValueWeights.end() && fLast->first <= value) {
    if (fLast->first == value) return true;
    const auto next = std::next(fLast);
    if (next == fValueWeights.end() || next->first >= value) {
      TakePlace(next, value);
      return true;
    }
  }
  fUpdatesToNextTry = kUpdatesAfterMiss;
  return false;
}

// Multiplicative hashing with linear probing (D. E. Knuth, The Art of Computer Programming 3, 6.4).
std::size_t BinEncoderCache::Slot(double value) const {
  std::uint64_t bits = 0;
  std::memcpy(&bits, &value, sizeof bits);
  return (bits * 0x9E3779B97F4A7C15U) >> (64 - fIndexBits);
}

std::size_t BinEncoderCache::NextSlot(std::size_t slot) const {
  return (slot + 1) & ((std::size_t{1} << fIndexBits) - 1);
}

// Makes the index anew for more values, sparse while it may still grow. The index only saves
// searches: where there is no memory for a greater one, the one that stands goes on.
void BinEncoderCache::GrowIndex() {
  if (fIndexBits == kGreatestIndexBits || fValueWeights.size() < kLeastIndexed) return;
  int bits = kGreatestIndexBits;
  while (fValueWeights.size() << (kSparseBits + 1) < std::size_t{1} << bits) --bits;
  const std::size_t slots = std::size_t{1} << bits;
  std::unique_ptr<Pairs::value_type*[]> index(new (std::nothrow) Pairs::value_type*[slots]());
  if (!index) return;
  fpIndex = std::move(index);
  fIndexBits = bits;
  fIndexed = 0;
  fIndexRoom = bits < kGreatestIndexBits ? slots >> kSparseBits : slots / 2;
  for (Pairs::value_type& entry : fValueWeights) {
    if (fIndexed == fIndexRoom) return;
    std::size_t slot = Slot(entry.first);
    while (fpIndex[slot]) slot = NextSlot(slot);
    fpIndex[slot] = &entry;
    ++fIndexed;
  }
}

Arbex_800::ADoubleRecordIterator* BinEncoderCache::createIterator() {
  return std::make_unique<BinEncoderIterator>(fValueWeights).release();
}

BinEncoderIterator::BinEncoderIterator(const std::map<double, double>& pairs)
    : fpRecords(new record[pairs.size()]), fNumRecords(static_cast<long>(pairs.size())) {
  record* const end =
      std::transform(pairs.begin(), pairs.end(), fpRecords.get(), [](const auto& pair) {
        return record{pair.first, pair.second};
      });
  if (fNumRecords > 0) std::sort(fpRecords.get(), end, compare_record);
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
