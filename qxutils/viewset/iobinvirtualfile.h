// SPDX-FileCopyrightText: The qxutils authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QXUTILS_VIEWSET_IOBINVIRTUALFILE_H
#define QXUTILS_VIEWSET_IOBINVIRTUALFILE_H

#include "qxutils/export.h"
#include "qxutils/storage/iobinfilewriter.h"

namespace qxg_800 {

class QxViewBuffer;
class QxViewSetManager;

/// The writer of one view of a view set.
///
/// Items go into the view's buffer. Whenever a write finds the buffer full, they go from there to
/// the set's shared file. Owns nothing. Several writers of one view fill the same buffer.
///
/// All writers of a set and its manager are used by one thread at a time.
///
/// Field order is part of the binary interface.
class QXUTILS_EXPORT IOBinVirtualFile final : public IOBinFileWriter {
 public:
  /// Makes a writer of `view`. Manager and buffer must outlive the writer. With a null buffer every
  /// Write returns -1.
  ///
  /// REQUIRES: `buffer` is null or what the manager's GetViewBuffer returned for `view` (not
  /// checked).
  IOBinVirtualFile(int view, QxViewSetManager& manager, QxViewBuffer* buffer);

  /// Leaves the view open.
  ~IOBinVirtualFile() override;

  IOBinVirtualFile(const IOBinVirtualFile&) = delete;
  IOBinVirtualFile& operator=(const IOBinVirtualFile&) = delete;

  /// Stores `length` bytes, a whole number of items, and returns `length`. Returns -1, with nothing
  /// stored, in these cases:
  /// - The length is not a positive multiple of the item size.
  /// - It exceeds the room that is left.
  /// - `data` is null, or the view is closed.
  ///
  /// A full buffer is written out first. A buffer that is not full is never written out to make
  /// room. So one item always fits into an open view, while several at once may be refused.
  ///
  /// Throws what QxViewSetManager::Write throws when it writes the full buffer. Nothing is stored
  /// then.
  int Write(const char* data, int length) override;

  /// Closes the view and returns true. Returns false when the view is unknown or closed already.
  /// Closing the last view of the set makes all view files. Throws what QxViewSetManager::Close
  /// throws.
  bool Close() override;

 private:
  // Writes what is not one item of eight bytes, or meets a full buffer. It is not inlined, so that
  // the usual path saves no registers.
  [[gnu::noinline]] QXUTILS_LOCAL int WriteOther(const char* data, int length);

  QxViewSetManager& fManager;
  QxViewBuffer* fpBuffer;  // the manager's
  int fView;
};

}  // namespace qxg_800

#endif
