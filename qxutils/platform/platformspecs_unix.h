#ifndef QXUTILS_PLATFORM_PLATFORMSPECS_UNIX_H
#define QXUTILS_PLATFORM_PLATFORMSPECS_UNIX_H

#include <string>

#include "qxutils/export.h"

// Temporary names and folders, and a few questions to the system.
//
// Any thread may call these functions at any time. One process-wide mutex serialises the making of
// names and the test of a folder; it is held within a call only. Where a path is empty or can't be
// reached, the result says so; nothing is thrown but std::bad_alloc. A path ends at its first zero
// byte.
namespace qxg_800 {

// A name that nothing has at this moment: `folder`, '/', `prefix`, the process id and a counter in
// lower-case hexadecimal with nothing between them, '.', `extension`.
//
// Each argument may be null. A null or empty folder gives a name relative to the working folder; no
// '/' is added behind a folder that ends in a slash or a backslash; a null extension leaves the dot
// out. A name may be of any length.
//
// The name is not reserved: until something of that name exists, the next call gives the same name.
// So create the file before asking again, and create it exclusively (O_EXCL) where others may write
// to the folder.
//
// A name is passed over when something stands there (a dangling link too), or when a failing disk
// does not tell. After 1,000 such answers in a row the next name is returned. In a folder that is
// missing or can't be searched every name counts as free: creating the file then fails.
QXUTILS_EXPORT std::string GenerateTempName(const char* folder, const char* prefix,
                                            const char* extension);

// Makes a new folder, named with the prefix "qxd" and without extension, permission bits 0774 less
// the process's umask, and gives its path.
//
// It lies under `parent`, or, when `parent` is not a folder that can be entered, under the working
// folder (the path is then relative). An empty string when the folder can't be made, with errno
// from mkdir.
QXUTILS_EXPORT std::string CreateTempSubDirectory(const std::string& parent);

// Whether `path` is a folder that the process's effective user may enter. The working folder is not
// moved. False for a path of more than 4,093 bytes.
QXUTILS_EXPORT bool IsValidDirectory(const std::string& path);

// The working folder; an empty string when it can't be told, or needs 1,024 bytes or more.
QXUTILS_EXPORT std::string GetCurrentFolder();

// Removes an empty folder. 0 on success, else -1 with errno from rmdir.
QXUTILS_EXPORT int RemoveFolder(const std::string& path);

// How many files the process may have open at once; -1 when there is no limit.
QXUTILS_EXPORT long GetMaxOpenFiles();

// Opens `path` and gives its descriptor, which the caller owns and closes, or -1 with errno from
// open.
//
// The mode "wb" opens for reading and appending: the file is created when missing (permission bits
// 0600 less the umask), kept as it is otherwise, and every write goes to its end. Any other mode
// opens for reading only. The descriptor is never 0 to 2.
QXUTILS_EXPORT int OpenFile(const std::string& path, const std::string& mode);

}  // namespace qxg_800

#endif
