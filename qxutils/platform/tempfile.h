// SPDX-FileCopyrightText: The qxutils authors
// SPDX-License-Identifier: Apache-2.0

// Not installed: temporary files that are nobody else's.
#ifndef QXUTILS_PLATFORM_TEMPFILE_H
#define QXUTILS_PLATFORM_TEMPFILE_H

#include <sys/types.h>

#include <string>

namespace qxg_800 {

// Identifies a file. The same name may lead to another file later.
struct FileId {
  dev_t device = 0;
  ino_t inode = 0;
};

// Creates a new empty file under a name as GenerateTempName builds it. Returns the name and sets
// `id`. On failure returns an empty string, with errno set. Throws std::bad_alloc.
//
// No existing file is opened and no link is followed. The file is readable and writable by its
// owner alone whatever the umask, where the file system has permissions.
//
// `taken` is a name that is known to be taken, such as that of the last file with this prefix. It
// is passed over without a try. Empty when none is known.
std::string CreateTempFile(const char* folder, const char* prefix, const char* extension,
                           const std::string& taken, FileId& id);

// Whether `name` leads to the file `id` without a link.
bool IsFile(const std::string& name, const FileId& id);

// Makes `folder` absolute, so that it stays the same when the host changes its working folder.
//
// A relative folder is kept where its absolute path does not lead to it. An example is a working
// folder with a parent that can't be searched. Returns false when the path is too long to be made
// absolute. Throws std::bad_alloc.
bool FixFolder(std::string& folder);

}  // namespace qxg_800

#endif
