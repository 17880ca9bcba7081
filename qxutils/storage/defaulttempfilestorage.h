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

// The library's own storage: either a file on disk or one view of a view set.
//
// A file storage may be written, closed and opened again for reading. A view storage is written in
// whole items and closed; it can't be opened, read, sought or named. No storage removes a file:
// whoever created a temporary file removes it by name. Which of the two it is never changes.
//
// Storages throw nothing of their own but std::bad_alloc; a view storage passes on what its view
// set throws. Used by one thread at a time.
//
// Field order is part of the binary interface.
class QXUTILS_EXPORT NimbTempFileStorage : public TempFileStorage {
 public:
  // Holds nothing: Open, Seek and Close give false, Read and Write give 0.
  NimbTempFileStorage();

  // A closed file storage. `settings` must outlive it.
  explicit NimbTempFileStorage(const Arbex_800::EnvironmentSettings& settings);

  // The storage of the view number `view` of `manager`. `buffer` is what the manager's
  // GetViewBuffer gives for that view; with null, every Write gives -1. Manager and buffer must
  // outlive the storage.
  NimbTempFileStorage(int view, QxViewSetManager& manager, QxViewBuffer* buffer);

  // Closes a file, which then stays on disk, and leaves a view open. What closing a file would have
  // told is lost here: call Close where the bytes matter.
  ~NimbTempFileStorage() override;

  NimbTempFileStorage(const NimbTempFileStorage&) = delete;
  NimbTempFileStorage& operator=(const NimbTempFileStorage&) = delete;

  // File: as IOBinFile::Open. View: false.
  bool Open(const std::string& name, int mode,
            Arbex_800::EnvironmentSettings::CompressionLevel level) override;

  // File: as IOBinFile::Read. View: 0.
  int Read(char* data, int length) override;

  // File: as IOBinFile::Write. View: `length`, or -1 when nothing was stored; see
  // IOBinVirtualFile::Write.
  int Write(const char* data, int length) override;

  // File: as IOBinFile::Seek. View: false.
  bool Seek(long position) override;

  // File: as IOBinFile::Close. View: closes the view; see IOBinVirtualFile::Close.
  bool Close() override;

  // Does nothing.
  void Remove() override;

  // File: the name of the last Open or SetFileName. View: "abc".
  const std::string& GetFileName() const override;

  // File: changes what GetFileName gives, and nothing else. View: nothing.
  void SetFileName(const std::string& name) override;

 private:
  bool fIsFile;                                    // never changes
  std::unique_ptr<IOBinFile> fpFile;               // null for a view
  std::unique_ptr<IOBinFileWriter> fpVirtualFile;  // null for a file
};

}  // namespace qxg_800

#endif
