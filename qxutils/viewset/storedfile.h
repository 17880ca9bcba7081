// SPDX-FileCopyrightText: The qxutils authors
// SPDX-License-Identifier: Apache-2.0

// Not installed: the files of a view set.
#ifndef QXUTILS_VIEWSET_STOREDFILE_H
#define QXUTILS_VIEWSET_STOREDFILE_H

#include <memory>
#include <string>

#include "qxutils/export.h"
#include "qxutils/host/environmentsettings.h"
#include "qxutils/platform/tempfile.h"
#include "qxutils/storage/tempfilestorage.h"

namespace qxg_800 {

// Throws a QxUtilsException with `message` unless `success`.
void Require(bool success, const char* message);

// A storage and the temporary file that it writes and reads.
//
// With the library's own storage the file is created here, and removed at the end unless it was
// released. Its device and inode are noted. Another file that stands under its name later is
// neither read nor removed. With an engine's storage no file is created or removed.
class QXUTILS_EXPORT StoredFile {
 public:
  using Settings = Arbex_800::EnvironmentSettings;

  // Holds neither storage nor file.
  QXUTILS_LOCAL StoredFile() noexcept;

  // Makes a new storage without a file. Throws FileOpenError when none is available.
  QXUTILS_LOCAL explicit StoredFile(const Settings& settings);

  // Removes the file.
  QXUTILS_LOCAL ~StoredFile();

  QXUTILS_LOCAL StoredFile& operator=(StoredFile&& other) noexcept;

  QXUTILS_LOCAL TempFileStorage* operator->() const { return fpStorage.get(); }

  // Opens a new file in `folder` for writing and returns its name. `last` is the file made before
  // it with the same prefix, or holds none. Throws FileOpenError. No file is left then.
  QXUTILS_LOCAL std::string Create(const Settings& settings, const std::string& folder,
                                   const char* prefix, const StoredFile& last);

  // Ends writing and opens the file for reading. Throws FileWriteError when written bytes are lost.
  // Throws FileOpenError when the file can't be opened or another one has replaced it.
  QXUTILS_LOCAL void Reopen(const Settings& settings, const std::string& name);

  // Removes the file if it is still there.
  QXUTILS_LOCAL void Remove();

  // Leaves the file on disk and hands over its storage.
  QXUTILS_LOCAL std::unique_ptr<TempFileStorage> Release();

 private:
  QXUTILS_LOCAL void RemoveAs(const std::string& name);

  std::unique_ptr<TempFileStorage> fpStorage;
  bool fExists = false;  // the file is here and is to be removed
  FileId fId;            // of the file to be removed
};

}  // namespace qxg_800

#endif
