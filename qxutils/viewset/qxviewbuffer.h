// SPDX-FileCopyrightText: The qxutils authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QXUTILS_VIEWSET_QXVIEWBUFFER_H
#define QXUTILS_VIEWSET_QXVIEWBUFFER_H

#include <cstring>
#include <memory>

#include "qxutils/export.h"

namespace qxg_800 {

/// Collects the items of one view in memory until they are written out.
///
/// Holds up to GetCapacity() items of GetItemSize() bytes each, in one block that is allocated
/// once. Not copyable. Used by one thread at a time.
///
/// Field order is part of the binary interface.
class QXUTILS_EXPORT QxViewBuffer {
 public:
  /// Makes an empty buffer. `capacity` is in items, `itemSize` in bytes. With a capacity below 0 or
  /// an item size below 1 nothing is allocated and every Store is refused.
  ///
  /// Throws std::bad_array_new_length when the block would be larger than an int can count. Throws
  /// std::bad_alloc when out of memory.
  QxViewBuffer(int capacity, int itemSize);

  /// Releases the block with the items that were not written out.
  ~QxViewBuffer();

  QxViewBuffer(const QxViewBuffer&) = delete;
  QxViewBuffer& operator=(const QxViewBuffer&) = delete;

  /// Appends whole items, `bytes` bytes copied from `data`, and returns `bytes`. All or nothing:
  /// returns -1, with nothing changed, in these cases:
  /// - `bytes` is not a positive multiple of the item size.
  /// - There is no room for all items.
  /// - `data` is null, or the buffer's view is closed.
  int Store(const char* data, int bytes);

  /// Whether the number of items equals the capacity. So a buffer of capacity 0 is always full.
  bool IsFull() const;

  /// Forgets the items. The block stays.
  void Reset();

  /// Returns the block, which stays the buffer's. Items lie in it one after the other from its
  /// start. Null when nothing was allocated.
  char* GetBuffer();

  /// Returns the number of items stored now.
  long GetSize() const;

  /// Returns the greatest number of items, as it was given.
  long GetCapacity() const;

  /// Returns the bytes of one item, as they were given.
  int GetItemSize() const;

 private:
  friend class IOBinVirtualFile;
  friend class QxViewSetManager;

  // Store for one item of eight bytes, since nearly every write is one double. It needs no
  // division, and the compiler knows the size of the copy. Returns false, with nothing stored, when
  // it is not that or there is no room.
  bool StoreEightBytes(const char* data, int bytes) {
    constexpr int kBytes = 8;
    if (bytes != kBytes || fItemSize != kBytes || fSize >= fStoreLimit || !data) return false;
    std::memmove(fpBuffer.get() + fSize * kBytes, data, kBytes);
    ++fSize;
    return true;
  }

  // Refuses every Store from now on: the view is closed, so later items would never be written out.
  QXUTILS_LOCAL void Seal();

  std::unique_ptr<char[]> fpBuffer;  // fCapacity * fItemSize bytes
  int fItemSize;
  long fCapacity;
  long fSize = 0;        // 0 to fCapacity
  long fStoreLimit = 0;  // items up to which Store accepts: fCapacity, or 0 when it accepts nothing
};

}  // namespace qxg_800

#endif
