#include "qxutils/viewset/iobinvirtualfile.h"

#include "qxutils/viewset/qxviewbuffer.h"
#include "qxutils/viewset/qxviewsetmanager.h"

namespace qxg_800 {

IOBinVirtualFile::IOBinVirtualFile(int view, QxViewSetManager& manager, QxViewBuffer* buffer)
    : fManager(manager), fpBuffer(buffer), fView(view) {}

IOBinVirtualFile::~IOBinVirtualFile() = default;

int IOBinVirtualFile::Write(const char* data, int length) {
  if (!fpBuffer) return -1;
  if (fpBuffer->StoreItem(data, length)) return length;
  if (fpBuffer->IsFull()) {
    fManager.Write(fView);
    if (fpBuffer->IsFull()) return -1;  // of capacity 0, or not this view's
  }
  return fpBuffer->Store(data, length);
}

bool IOBinVirtualFile::Close() { return fManager.Close(fView) == 0; }

}  // namespace qxg_800
