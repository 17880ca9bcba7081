// SPDX-FileCopyrightText: The qxutils authors
// SPDX-License-Identifier: Apache-2.0

#include "qxutils/viewset/qxviewbuffer.h"

#include <cstddef>
#include <cstring>
#include <limits>
#include <new>

namespace qxg_800 {

QxViewBuffer::QxViewBuffer(int capacity, int itemSize) : fItemSize(itemSize), fCapacity(capacity) {
  if (fCapacity < 0 || fItemSize < 1) return;
  const long bytes = fCapacity * fItemSize;
  if (bytes > std::numeric_limits<int>::max()) throw std::bad_array_new_length();
  fpBuffer.reset(new char[static_cast<std::size_t>(bytes)]);  // make_unique would clear it
  fStoreLimit = fCapacity;
}

QxViewBuffer::~QxViewBuffer() = default;

int QxViewBuffer::Store(const char* data, int bytes) {
  if (!data || fItemSize < 1 || bytes % fItemSize != 0) return -1;
  const int items = bytes / fItemSize;
  if (fSize + items > fStoreLimit) return -1;  // a full buffer, too, has no room for an item
  if (items <= 0) return -1;
  // memmove: the caller may copy items of this very block
  std::memmove(fpBuffer.get() + fSize * fItemSize, data, static_cast<std::size_t>(bytes));
  fSize += items;
  return bytes;
}

bool QxViewBuffer::IsFull() const { return fSize == fCapacity; }

void QxViewBuffer::Reset() { fSize = 0; }

char* QxViewBuffer::GetBuffer() { return fpBuffer.get(); }

long QxViewBuffer::GetSize() const { return fSize; }

long QxViewBuffer::GetCapacity() const { return fCapacity; }

int QxViewBuffer::GetItemSize() const { return fItemSize; }

void QxViewBuffer::Seal() { fStoreLimit = 0; }

}  // namespace qxg_800
