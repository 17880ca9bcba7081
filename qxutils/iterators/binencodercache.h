#ifndef QXUTILS_ITERATORS_BINENCODERCACHE_H
#define QXUTILS_ITERATORS_BINENCODERCACHE_H

#include <cstddef>
#include <map>
#include <memory>

#include "qxutils/export.h"
#include "qxutils/host/aiterator.h"
#include "qxutils/host/trecord.h"

namespace qxg_800 {

// One distinct value of a variable and the total weight of the cases that carry it.
struct record {
  double value;
  double weight;
};

// The order of records: by value. Records of equal value are equivalent, whatever their weights.
inline bool compare_record(record a, record b) { return a.value < b.value; }

// Gathers the distinct values of a continuous variable, each with its total weight, and hands them
// out in ascending order.
//
// Memory grows with the number of distinct values, not with that of the cases: one node of an
// ordered map each, and for the whole cache an index that makes updates fast, of at most 2 KiB a
// value and 128 KiB in all. There is none as long as the values only ascend or are very few, in the
// end none where they are very many, and none where there is no memory for it.
//
// Throws nothing but std::bad_alloc, and is then as it was before. Copies are deep. Used by one
// thread at a time.
//
// The orders of the fields and of the virtual operations are part of the binary interface.
class QXUTILS_EXPORT BinEncoderCache {
 public:
  // An empty cache.
  BinEncoderCache();

  BinEncoderCache(const BinEncoderCache& other);
  BinEncoderCache& operator=(const BinEncoderCache& other);

  virtual ~BinEncoderCache();

  // Adds the weight rec[1], of any sign, to the total of the value rec[0]; a weight that is not
  // finite leaves the total so. A value that is new, be its weight 0, gets an entry. -0.0 and 0.0
  // are one value, whose sign is that of the first one.
  //
  // Does nothing when `rec` is null or the value is not a number. REQUIRES: else `rec` points to
  // two doubles (not checked).
  virtual void update(double* rec);

  // A new BinEncoderIterator over the pairs as they are now, which is the caller's and independent
  // of the cache.
  virtual Arbex_800::ADoubleRecordIterator* createIterator();

 private:
  using Pair = std::map<double, double>::value_type;
  QXUTILS_LOCAL static Pair none;                  // stands where there is no entry
  static constexpr int kNoShift = 64;              // that of no index
  static constexpr std::size_t kLeastIndexed = 8;  // values; with fewer the map alone is as fast

  QXUTILS_LOCAL void UpdateLast(double weight);
  QXUTILS_LOCAL void Settle();
  QXUTILS_LOCAL void UpdateMap(double value, double weight);
  QXUTILS_LOCAL std::size_t Slot(double value) const;
  QXUTILS_LOCAL void RenewIndex();

  std::map<double, double> fValueWeights;  // total weight by value
  // The map's entry of the last update: equal values in a row need no search. `none` at first.
  Pair* fpLast = &none;
  bool fIsWaiting = false;
  double fWaiting = 0;  // when fIsWaiting: a weight that *fpLast is still to get
  // Addresses of the map's entries where their values' bits lead: what is found there needs no
  // search. Values that share a slot take turns. Null: there is no index.
  std::unique_ptr<Pair*[]> fpIndex;
  int fIndexShift = kNoShift;               // the index has 2^(64 - fIndexShift) slots
  std::size_t fIndexLimit = kLeastIndexed;  // values from which on a search renews the index
};

// Hands out (value, total weight) pairs as records of two doubles, in ascending order of value.
//
//   while (iterator.HasMore() == 0) Use(*iterator.Next());
//
// The one record object is the iterator's and its values are overwritten by each Next: copy what
// you keep. There is no way back to the start. Not copyable. Used by one thread at a time.
//
// Field order is part of the binary interface.
class QXUTILS_EXPORT BinEncoderIterator : public Arbex_800::ADoubleRecordIterator {
 public:
  // Copies `pairs`, total weight by value. Throws std::bad_alloc; nothing else here throws.
  // REQUIRES: no value is a NaN (not checked).
  explicit BinEncoderIterator(const std::map<double, double>& pairs);

  ~BinEncoderIterator() override;

  BinEncoderIterator(const BinEncoderIterator&) = delete;
  BinEncoderIterator& operator=(const BinEncoderIterator&) = delete;

  // 0 when a record is left, else 1. Moves nothing, and may be called again.
  int HasMore() const override;

  // The next record; null, with nothing changed, when none is left.
  Arbex_800::TRecord<double>* Next() override;

  // What the last HasMore gave; 0 before the first.
  int GetFailReason() const override;

 private:
  std::unique_ptr<record[]> fpRecords;  // ascending; the first is the buffer of *fpRecord too
  long fNumRecords;
  long fPos = 0;  // of the next record, in doubles: 0, 2, 4, ...
  mutable int fFailReason = 0;
  std::unique_ptr<Arbex_800::TRecord<double>> fpRecord;
};

}  // namespace qxg_800

#endif
