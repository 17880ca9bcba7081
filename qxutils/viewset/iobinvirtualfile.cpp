// SPDX-FileCopyrightText: The qxutils authors
// SPDX-License-Identifier: Apache-2.0

#include "qxutils/viewset/iobinvirtualfile.h"

#include "qxutils/viewset/qxviewbuffer.h"
#include "qxutils/viewset/qxviewsetmanager.h"

namespace qxg_800 {

IOBinVirtualFile::IOBinVirtualFile(int view, QxViewSetManager& manager, QxViewBuffer* buffer)
    : fManager(manager), fpBuffer(buffer), fView(view) {}

IOBinVirtualFile::~IOBinVirtualFile() = default;

int IOBinVirtualFile::Write(const char* data, int length) {
  if (fpBuffer && fpBuffer->StoreEightBytes(data, length)) return length;
  return WriteOther(data, length);
}

// Store can be tried first, since a full buffer refuses everything.
int IOBinVirtualFile::WriteOther(const char* data, int length) {
  if (!fpBuffer) return -1;
  const int stored = fpBuffer->Store(data, length);
  if (stored >= 0 || !fpBuffer->IsFull()) return stored;
  fManager.Write(fView);
  return fpBuffer->Store(data, length);  // refused by a buffer of capacity 0, or not this view's
}

bool IOBinVirtualFile::Close() { return fManager.Close(fView) == 0; }

}  // namespace qxg_800
