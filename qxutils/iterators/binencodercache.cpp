#include "qxutils/iterators/binencodercache.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <type_traits>

namespace qxg_800 {
namespace {

using Record = Arbex_800::TRecord<double>;

constexpr int kReady = 0;
constexpr int kEndOfData = 1;

constexpr int kDoubles = 2;  // of one record

}  // namespace

static_assert(std::is_standard_layout_v<record> && sizeof(record) == kDoubles * sizeof(double) &&
                  offsetof(record, weight) == sizeof(double),
              "the host library's record reads value and weight as two doubles in a row");

BinEncoderCache::BinEncoderCache() = default;

BinEncoderCache::BinEncoderCache(const BinEncoderCache& other) = default;

BinEncoderCache& BinEncoderCache::operator=(const BinEncoderCache& other) {
  std::map<double, double> copy(other.fValueWeights);  // the map's own assignment may stop half-way
  fValueWeights.swap(copy);
  return *this;
}

BinEncoderCache::~BinEncoderCache() = default;

void BinEncoderCache::update(double* rec) {
  if (!rec || std::isnan(rec[0])) return;  // a NaN would pass for equal to another value
  auto entry = fValueWeights.lower_bound(rec[0]);
  if (entry == fValueWeights.end() || entry->first > rec[0]) {
    entry = fValueWeights.emplace_hint(entry, rec[0], 0.0);
  }
  entry->second += rec[1];
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
