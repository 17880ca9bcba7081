// The iterator classes of the host tree library, as this library uses them.
//
// An engine that has the real host library puts that library's declarations in the place of this
// header (see the README, "With the real host library").
#ifndef QXUTILS_HOST_AITERATOR_H
#define QXUTILS_HOST_AITERATOR_H

#include "qxutils/export.h"
#include "qxutils/host/trecord.h"

namespace Arbex_800 {

// Hands out records one by one. The protocol: call HasMore, and while it gives 0, call Next and use
// the record; any other value is the reason why there are no more.
//
// The order of the virtual operations is part of the binary interface.
template <class TItem>
class QXUTILS_EXPORT AIterator {
 public:
  virtual ~AIterator() = default;

  // 0 when a record is ready, else the reason why not. A call may read the next record: call it
  // once per record.
  virtual int HasMore() const = 0;

  // The record, owned by the iterator and overwritten by the next one; null when there is none.
  virtual TItem* Next() = 0;

  // The present status, with the values of HasMore. Moves nothing.
  virtual int GetFailReason() const = 0;
};

// An iterator over records of doubles.
class QXUTILS_EXPORT ADoubleRecordIterator : public AIterator<TRecord<double>> {};

}  // namespace Arbex_800

#endif
