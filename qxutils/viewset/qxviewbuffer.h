#ifndef QXUTILS_VIEWSET_QXVIEWBUFFER_H
#define QXUTILS_VIEWSET_QXVIEWBUFFER_H

#include <cstring>
#include <memory>

#include "qxutils/export.h"

namespace qxg_800 {

// Collects the items of one view in memory until they are written out.
//
// Holds up to GetCapacity() items of GetItemSize() bytes each in one block that is allocated once.
// Not copyable. Used by one thread at a time.
//
// Field order is part of the binary interface.
class QXUTILS_EXPORT QxViewBuffer {
 public:
  // `capacity` in items, `itemSize` in bytes. With a capacity below 0 or an item size below 1
  // nothing is allocated and every Store is refused. Throws std::bad_array_new_length when the
  // block would be larger than an int can count, std::bad_alloc when there is no memory for it.
  QxViewBuffer(int capacity, int itemSize);

  ~QxViewBuffer();

  QxViewBuffer(const QxViewBuffer&) = delete;
  QxViewBuffer& operator=(const QxViewBuffer&) = delete;

  // Appends `bytes` / GetItemSize() whole items copied from `data`. All or nothing: gives `bytes`,
  // or -1 when the count is not a positive multiple of the item size, there is no room for all,
  // `data` is null, or the buffer's view is closed.
  int Store(const char* data, int bytes);

  // Whether the number of items equals the capacity.
  bool IsFull() const;

  // Forgets the items; the block stays.
  void Reset();

  // The block, item after item from its start; it lives as long as the buffer. Null when nothing
  // was allocated.
  char* GetBuffer();

  // Items stored now.
  long GetSize() const;

  // The greatest number of items.
  long GetCapacity() const;

  // Bytes of one item.
  int GetItemSize() const;

 private:
  friend class IOBinVirtualFile;
  friend class QxViewSetManager;

  // Store of one item of eight bytes, a double in nearly every write: no division, and a copy whose
  // size the compiler knows. False, with nothing stored, when it is not that or there is no room.
  bool StoreEightBytes(const char* data, int bytes) {
    constexpr int kBytes = 8;
    if (bytes != kBytes || fItemSize != kBytes || fSize >= fStoreLimit || !data) return false;
    std::memmove(fpBuffer.get() + fSize * kBytes, data, kBytes);
    ++fSize;
    return true;
  }

  // Refuses every Store from now on: the view is closed, what came now would never be written out.
  QXUTILS_LOCAL void Seal();

  std::unique_ptr<char[]> fpBuffer;  // fCapacity * fItemSize bytes
  int fItemSize;
  long fCapacity;
  long fSize = 0;        // 0 to fCapacity
  long fStoreLimit = 0;  // items up to which Store accepts: fCapacity, or 0 when it accepts nothing
};

}  // namespace qxg_800

#endif
