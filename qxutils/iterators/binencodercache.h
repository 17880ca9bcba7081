// SPDX-FileCopyrightText: The qxutils authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QXUTILS_ITERATORS_BINENCODERCACHE_H
#define QXUTILS_ITERATORS_BINENCODERCACHE_H

#include <cstddef>
#include <map>
#include <memory>
#include <vector>

#include "qxutils/export.h"
#include "qxutils/host/aiterator.h"
#include "qxutils/host/trecord.h"

namespace qxg_800 {

/// One distinct value of a variable and the total weight of the cases that carry it.
struct record {
  double value;   ///< The value.
  double weight;  ///< The total weight, of any sign.
};

/// The order of records: by value. Records of equal value are equivalent, whatever their weights.
inline bool compare_record(record a, record b) { return a.value < b.value; }

/// An ordered map: the total weight of each value, in ascending order of value.
///
/// Never takes more memory than a `std::map<double, double>` of the same values, also while it
/// grows. Throws nothing but std::bad_alloc, and is then as it was before. Copies are deep. Used by
/// one thread at a time.
class QXUTILS_EXPORT ValueWeights {
 public:
  /// Leads to the records of a map in ascending order of value. Valid until the map gets a new
  /// value or is assigned to or destroyed. An iterator at the end leads to no record, and must not
  /// move (not checked).
  class Iterator {
   public:
    /// Returns the record, which stays the map's.
    const record& operator*() const { return fpMap->At(fPlace); }

    /// Returns the record, which stays the map's.
    const record* operator->() const { return &fpMap->At(fPlace); }

    /// Moves to the next record, or to the end.
    Iterator& operator++() {
      fPlace = fpMap->After(fPlace);
      return *this;
    }

    /// Whether both lead to the same record, or are at the end.
    ///
    /// REQUIRES: both are of the same map (not checked).
    bool operator==(const Iterator& other) const { return fPlace == other.fPlace; }

    /// Whether they lead to different records.
    ///
    /// REQUIRES: both are of the same map (not checked).
    bool operator!=(const Iterator& other) const { return fPlace != other.fPlace; }

   private:
    friend class ValueWeights;
    Iterator(const ValueWeights* pMap, std::size_t place) : fpMap(pMap), fPlace(place) {}

    const ValueWeights* fpMap;
    std::size_t fPlace;
  };

  /// Makes an empty map.
  ValueWeights() = default;

  /// Copies all records.
  ValueWeights(const ValueWeights& other) = default;

  /// Replaces the records by copies of those of `other`.
  ValueWeights& operator=(const ValueWeights& other);

  /// Returns the total weight of `value`. A new value gets an entry with weight 0. The reference is
  /// valid until the map gets another new value.
  ///
  /// REQUIRES: `value` is not a NaN (not checked).
  double& operator[](double value);

  /// The number of values.
  std::size_t size() const { return fSize; }

  /// Leads to the least value. At the end when the map is empty.
  Iterator begin() const { return {this, 0}; }

  /// The end, after the greatest value.
  Iterator end() const { return {this, End()}; }

 private:
  friend class BinEncoderCache;
  using Leaf = std::vector<record>;
  static constexpr std::size_t kStride = 256;
  static constexpr std::size_t kLeafSize = kStride - 1;  // records

  // The place of a record is its number in its leaf, plus kStride for each leaf before.
  record& At(std::size_t place) { return fLeaves[place / kStride][place % kStride]; }
  const record& At(std::size_t place) const { return fLeaves[place / kStride][place % kStride]; }
  std::size_t After(std::size_t place) const {
    const std::size_t leaf = place / kStride;
    return place % kStride + 1 < fLeaves[leaf].size() ? place + 1 : (leaf + 1) * kStride;
  }
  std::size_t End() const { return fLeaves.size() * kStride; }

  QXUTILS_LOCAL void Swap(ValueWeights& other) noexcept;
  QXUTILS_LOCAL std::size_t Search(double value) const;
  QXUTILS_LOCAL bool Has(std::size_t place, double value) const;
  QXUTILS_LOCAL bool IsFullAt(std::size_t place) const;
  QXUTILS_LOCAL record& Insert(std::size_t place, double value);
  QXUTILS_LOCAL void Split(std::size_t leaf, std::size_t kept);

  std::vector<Leaf> fLeaves;  // ascending; none is empty
  std::size_t fSize = 0;      // records in all leaves
};

/// Gathers the distinct values of a continuous variable, each with its total weight, and hands them
/// out in ascending order.
///
/// Memory grows with the number of distinct values, not with that of the cases. It is never more
/// than that of a `std::map<double, double>` of the same values, also while the cache grows.
///
/// Throws nothing but std::bad_alloc, and is then as it was before. Copies are deep. Used by one
/// thread at a time.
///
/// The orders of the fields and of the virtual operations are part of the binary interface.
class QXUTILS_EXPORT BinEncoderCache {
 public:
  /// Makes an empty cache.
  BinEncoderCache();

  /// Copies all pairs.
  BinEncoderCache(const BinEncoderCache& other);

  /// Replaces the pairs by copies of those of `other`.
  BinEncoderCache& operator=(const BinEncoderCache& other);

  /// Leaves the iterators that were made valid.
  virtual ~BinEncoderCache();

  /// Adds the weight `rec[1]`, of any sign, to the total of the value `rec[0]`.
  ///
  /// A new value gets an entry, even with weight 0. A weight that is not finite leaves the total
  /// not finite. -0.0 and 0.0 are one value, whose sign is that of the first one.
  ///
  /// Does nothing when `rec` is null or the value is not a number.
  ///
  /// REQUIRES: otherwise `rec` points to two doubles (not checked).
  virtual void update(double* rec);

  /// Returns a new BinEncoderIterator over a copy of the pairs as they are now. The caller owns it,
  /// and it may outlive the cache.
  virtual Arbex_800::ADoubleRecordIterator* createIterator();

 private:
  struct QXUTILS_LOCAL Shortcuts;

  QXUTILS_LOCAL void UpdateSearched(double value, double weight);

  ValueWeights fValueWeights;
  std::unique_ptr<Shortcuts> fpShortcuts;  // make updates fast; null: there are none
};

/// Hands out (value, total weight) pairs as records of two doubles, in ascending order of value.
///
///     while (iterator.HasMore() == 0) Use(*iterator.Next());
///
/// The iterator owns the only record object, and each Next overwrites its values. Copy what you
/// keep. There is no way back to the start. Not copyable. Used by one thread at a time.
///
/// Field order is part of the binary interface.
class QXUTILS_EXPORT BinEncoderIterator : public Arbex_800::ADoubleRecordIterator {
 public:
  /// Copies `pairs`, total weight by value. Throws std::bad_alloc; nothing else here throws.
  ///
  /// REQUIRES: no value is a NaN (not checked).
  explicit BinEncoderIterator(const ValueWeights& pairs);

  /// Copies `pairs` in the same way.
  explicit BinEncoderIterator(const std::map<double, double>& pairs);

  /// Deletes the record that Next returned.
  ~BinEncoderIterator() override;

  BinEncoderIterator(const BinEncoderIterator&) = delete;
  BinEncoderIterator& operator=(const BinEncoderIterator&) = delete;

  /// Returns 0 when a record is left, else 1. Moves nothing, and may be called again.
  int HasMore() const override;

  /// Returns the next record. Returns null, with nothing changed, when none is left.
  Arbex_800::TRecord<double>* Next() override;

  /// Returns what the last HasMore returned, or 0 before the first.
  int GetFailReason() const override;

 private:
  QXUTILS_LOCAL explicit BinEncoderIterator(std::size_t numRecords);

  std::unique_ptr<record[]> fpRecords;  // ascending; the first is the buffer of *fpRecord too
  long fNumRecords;
  long fPos = 0;  // of the next record, in doubles: 0, 2, 4, ...
  mutable int fFailReason = 0;
  std::unique_ptr<Arbex_800::TRecord<double>> fpRecord;
};

}  // namespace qxg_800

#endif
