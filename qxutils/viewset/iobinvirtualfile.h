#ifndef QXUTILS_VIEWSET_IOBINVIRTUALFILE_H
#define QXUTILS_VIEWSET_IOBINVIRTUALFILE_H

#include "qxutils/export.h"
#include "qxutils/storage/iobinfilewriter.h"

namespace qxg_800 {

class QxViewBuffer;
class QxViewSetManager;

// The writer of one view of a view set: items go into the view's buffer, and from there to the
// set's shared file whenever a write finds the buffer full.
//
// Owns nothing. Several writers of one view fill the same buffer. Used by one thread at a time, as
// its manager is.
//
// Field order is part of the binary interface.
class QXUTILS_EXPORT IOBinVirtualFile final : public IOBinFileWriter {
 public:
  // `buffer` is what the manager's GetViewBuffer gives for `view`; with null every Write gives -1.
  // Manager and buffer must outlive the writer.
  IOBinVirtualFile(int view, QxViewSetManager& manager, QxViewBuffer* buffer);

  // Leaves the view open.
  ~IOBinVirtualFile() override;

  IOBinVirtualFile(const IOBinVirtualFile&) = delete;
  IOBinVirtualFile& operator=(const IOBinVirtualFile&) = delete;

  // Stores `length` bytes, a whole number of items, and gives `length`; or -1, with nothing stored,
  // when the count is not a positive multiple of the item size, when it exceeds the room that is
  // left, when `data` is null or when the view is closed.
  //
  // A buffer that is full is written out first; one that is not full is never written out to make
  // room, so that a write of a single item to an open view always fits, while a write of several
  // may be refused. Throws QxUtilsException with FileWriteError when the full buffer can't be
  // written; nothing is stored then.
  int Write(const char* data, int length) override;

  // Closes the view: true; false when it is closed already. Closing the last view of the set
  // returns when all view files exist. Throws what QxViewSetManager::Close throws.
  bool Close() override;

 private:
  // What is not one item of eight bytes, or meets a full buffer. Kept apart so that the rest saves
  // no registers.
  [[gnu::noinline]] QXUTILS_LOCAL int WriteOther(const char* data, int length);

  QxViewSetManager& fManager;
  QxViewBuffer* fpBuffer;  // the manager's
  int fView;
};

}  // namespace qxg_800

#endif
