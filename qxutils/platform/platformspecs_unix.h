// SPDX-FileCopyrightText: The qxutils authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QXUTILS_PLATFORM_PLATFORMSPECS_UNIX_H
#define QXUTILS_PLATFORM_PLATFORMSPECS_UNIX_H

#include <string>

#include "qxutils/export.h"

namespace qxg_800 {

/// @defgroup platform Temporary names and folders, and questions to the system
///
/// Temporary names and folders, and a few questions to the system.
///
/// Any thread may call these functions at any time. The making of names and the test of a folder
/// take turns under one mutex of the process. So does OpenFile, for a moment before and after the
/// open, while the host lacks one of descriptors 0 to 2. No call returns while it holds the mutex.
///
/// Failure is reported by the result alone. Nothing is thrown but std::bad_alloc. A path ends at
/// its first zero byte.
/// @{

/// Returns a name that nothing has at this moment.
///
/// The name is `folder`, '/', `prefix`, the process id, a counter, '.', `extension`. Both numbers
/// are in lower-case hexadecimal, with nothing between them. A name may be of any length.
///
/// Each argument may be null. With a null or empty folder the name is relative to the working
/// folder. No '/' is added after a folder that ends in a slash or a backslash. With a null
/// extension there is no dot.
///
/// The name is not reserved: the next call returns it again until something of that name exists. So
/// create the file before you ask again. Create it exclusively (O_EXCL) where others may write to
/// the folder.
///
/// A name is passed over when something stands there, even a dangling link. It is also passed over
/// when the system can't tell, for instance because the disk fails. After 1,000 such names in a row
/// the next such name counts as free. In a folder that is missing or can't be searched every name
/// counts as free. Creating the file fails then.
QXUTILS_EXPORT std::string GenerateTempName(const char* folder, const char* prefix,
                                            const char* extension);

/// Makes a new folder and returns its path. On failure returns an empty string, with errno from
/// mkdir.
///
/// The folder lies under `parent`. When `parent` is not a folder that can be entered, it lies under
/// the working folder and the path is relative. Its name has the prefix "qxd" and no extension.
///
/// Its permission bits are 0774 less the process's umask. So the group may write to it and others
/// may list it, unless the umask forbids that. For a private folder call chmod with 0700 right
/// after. That leaves a moment in between. To leave none, narrow the umask around the call, which
/// counts for all threads.
QXUTILS_EXPORT std::string CreateTempSubDirectory(const std::string& parent);

/// Whether `path` is a folder that the process's effective user may enter. False for an empty path,
/// and for one of more than 4,093 bytes. The working folder is never changed.
QXUTILS_EXPORT bool IsValidDirectory(const std::string& path);

/// Returns the working folder. On failure, and when its path has 1,024 bytes or more, returns an
/// empty string.
QXUTILS_EXPORT std::string GetCurrentFolder();

/// Removes an empty folder. Returns 0 on success, else -1 with errno from rmdir.
QXUTILS_EXPORT int RemoveFolder(const std::string& path);

/// Returns how many files the process may have open at once, or -1 when there is no limit.
QXUTILS_EXPORT long GetMaxOpenFiles();

/// Opens `path` and returns its descriptor, which the caller owns and closes. On failure returns -1
/// with errno from open.
///
/// The mode "wb" opens for reading and appending. A missing file is created, with permission bits
/// 0600 less the umask. An existing one keeps its contents. Every write goes to the end. Any other
/// mode opens for reading only.
///
/// The descriptor is never 0 to 2. Programs that the process starts inherit it.
QXUTILS_EXPORT int OpenFile(const std::string& path, const std::string& mode);

/// @}

}  // namespace qxg_800

#endif
