// SPDX-FileCopyrightText: The qxutils authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QXUTILS_STORAGE_DEFAULTTEMPFILESTORAGE_H
#define QXUTILS_STORAGE_DEFAULTTEMPFILESTORAGE_H

#include <memory>
#include <string>

#include "qxutils/export.h"
#include "qxutils/host/environmentsettings.h"
#include "qxutils/storage/iobinfilewriter.h"
#include "qxutils/storage/tempfilestorage.h"

namespace qxg_800 {

class IOBinFile;
class QxViewBuffer;
class QxViewSetManager;

/// The library's own storage: either a file on disk or one view of a view set. Which of the two it
/// is never changes.
///
/// A file storage may be written, closed and opened again for reading. A view storage is written in
/// whole items and closed. It can't be opened, read, moved in or named. No storage removes a file:
/// whoever created a temporary file removes it by name.
///
/// Throws nothing of its own but std::bad_alloc. A view storage passes on what its view set throws.
/// Used by one thread at a time.
///
/// Field order is part of the binary interface.
class QXUTILS_EXPORT NimbTempFileStorage : public TempFileStorage {
 public:
  /// Makes a storage that holds nothing. Open, Seek and Close return false, Read and Write return
  /// 0, and GetFileName returns "abc".
  NimbTempFileStorage();

  /// Makes a closed file storage. `settings` must outlive it.
  explicit NimbTempFileStorage(const Arbex_800::EnvironmentSettings& settings);

  /// Makes the storage of one view. Manager and buffer must outlive it. With a null buffer every
  /// Write returns -1.
  ///
  /// REQUIRES: `buffer` is null or what the manager's GetViewBuffer returned for `view` (not
  /// checked).
  NimbTempFileStorage(int view, QxViewSetManager& manager, QxViewBuffer* buffer);

  /// Closes a file, which stays on disk. Leaves a view open. A failure is not reported, so call
  /// Close where the bytes matter.
  ~NimbTempFileStorage() override;

  NimbTempFileStorage(const NimbTempFileStorage&) = delete;
  NimbTempFileStorage& operator=(const NimbTempFileStorage&) = delete;

  /// File: as IOBinFile::Open. View: false.
  bool Open(const std::string& name, int mode,
            Arbex_800::EnvironmentSettings::CompressionLevel level) override;

  /// File: as IOBinFile::Read. View: 0.
  int Read(char* data, int length) override;

  /// File: as IOBinFile::Write. View: as IOBinVirtualFile::Write, which returns `length`, or -1
  /// when nothing was stored.
  int Write(const char* data, int length) override;

  /// File: as IOBinFile::Seek. View: false.
  bool Seek(long position) override;

  /// File: as IOBinFile::Close, which is false when any write since Open has failed. That includes
  /// a write that another thread's fflush(nullptr) made. View: as IOBinVirtualFile::Close.
  bool Close() override;

  /// Does nothing.
  void Remove() override;

  /// File: as IOBinFile::GetFileName. View: "abc".
  const std::string& GetFileName() const override;

  /// File: changes what GetFileName returns, and nothing else. View: does nothing.
  void SetFileName(const std::string& name) override;

 private:
  bool fIsFile;                                    // never changes
  std::unique_ptr<IOBinFile> fpFile;               // null for a view
  std::unique_ptr<IOBinFileWriter> fpVirtualFile;  // null for a file
};

}  // namespace qxg_800

#endif
