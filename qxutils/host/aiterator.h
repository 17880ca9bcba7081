// SPDX-FileCopyrightText: The qxutils authors
// SPDX-License-Identifier: Apache-2.0

/// @file
/// The iterator classes of the host tree library, as this library uses them.
///
/// An engine that has the real host library uses that library's declarations in place of this
/// header. See the README, "With the real host library".
#ifndef QXUTILS_HOST_AITERATOR_H
#define QXUTILS_HOST_AITERATOR_H

#include "qxutils/export.h"
#include "qxutils/host/trecord.h"

namespace Arbex_800 {

/// Returns records one by one.
///
/// Call HasMore. While it returns 0, call Next and use the record. Any other value is the reason
/// why there are no more records. An iterator is used by one thread at a time.
///
/// The order of the virtual operations is part of the binary interface.
template <class TItem>
class QXUTILS_EXPORT AIterator {
 public:
  /// Deletes the record with the iterator.
  virtual ~AIterator() = default;

  /// Returns 0 when a record is ready, else the reason why not. A call may read the next record, so
  /// call it once per record.
  virtual int HasMore() const = 0;

  /// Returns the record, or null when there is none. The iterator owns it and overwrites it with
  /// the next one.
  virtual TItem* Next() = 0;

  /// Returns the present status, one of the values of HasMore. Reads nothing.
  virtual int GetFailReason() const = 0;
};

/// Returns records of doubles one by one. It is the base of the library's iterators.
class QXUTILS_EXPORT ADoubleRecordIterator : public AIterator<TRecord<double>> {};

}  // namespace Arbex_800

#endif
