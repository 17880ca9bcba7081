// SPDX-FileCopyrightText: The qxutils authors
// SPDX-License-Identifier: Apache-2.0

/// @file
/// The record type of the host tree library, as this library uses it.
///
/// An engine that has the real host library uses that library's declaration in place of this
/// header. See the README, "With the real host library".
#ifndef QXUTILS_HOST_TRECORD_H
#define QXUTILS_HOST_TRECORD_H

#include <algorithm>
#include <utility>

#include "qxutils/export.h"

namespace Arbex_800 {

/// A record: `size` values at `data`, owned by the record or borrowed from somebody else.
///
/// Copies are deep: a copy owns its values. A record that was moved from has none. Throws nothing
/// but std::bad_alloc. Used by one thread at a time.
///
/// Field order is part of the binary interface.
template <class T>
struct QXUTILS_EXPORT TRecord {
  /// The values; null when there are none.
  T* data = nullptr;

  /// The number of values.
  int size = 0;

  /// True when `data` came from array new. The record frees it then.
  bool ownsData = false;

  /// Makes a record of `count` values of its own, all zero. With a count below 1 there are none,
  /// and `data` is null.
  explicit TRecord(int count) {
    if (count < 1) return;
    data = new T[static_cast<unsigned>(count)]();
    size = count;
    ownsData = true;
  }

  /// Makes a record over `count` values that stay the caller's and must outlive it.
  ///
  /// REQUIRES: `values` has that many (not checked).
  TRecord(T* values, int count) : data(values), size(count) {}

  /// Makes a record with values of its own, copied from `other`.
  TRecord(const TRecord& other) : TRecord(other.size) { std::copy_n(other.data, size, data); }

  /// Takes the values of `other`, owned or borrowed, and leaves it without any.
  TRecord(TRecord&& other) noexcept { Swap(other); }

  /// Replaces the values by those of `other`. The record frees those that it owned.
  TRecord& operator=(TRecord other) noexcept {
    Swap(other);
    return *this;
  }

  /// Frees the values when the record owns them.
  ~TRecord() {
    if (ownsData) delete[] data;
    data = nullptr;
    size = 0;
    ownsData = false;
  }

 private:
  void Swap(TRecord& other) noexcept {
    std::swap(data, other.data);
    std::swap(size, other.size);
    std::swap(ownsData, other.ownsData);
  }
};

}  // namespace Arbex_800

#endif
