// Not installed: temporary files that are nobody else's.
#ifndef QXUTILS_PLATFORM_TEMPFILE_H
#define QXUTILS_PLATFORM_TEMPFILE_H

#include <sys/types.h>

#include <string>

namespace qxg_800 {

// Tells a file from every other one. The same name may lead to another file later.
struct FileId {
  dev_t device = 0;
  ino_t inode = 0;  // 0: no file
};

// Creates a new empty file under a name of GenerateTempName. Returns the name and sets `id`; an
// empty string, with errno set, when it failed. No existing file is opened and no link is followed.
// The file is readable and writable by its owner alone, whatever the umask.
//
// `taken` is a name that is known to be taken, such as the last one made in this folder with this
// prefix, and is passed over without a try; empty: none is known.
std::string CreateTempFile(const char* folder, const char* prefix, const char* extension,
                           const std::string& taken, FileId& id);

// Whether `name` leads to the file `id`, and not by a link.
bool IsFile(const std::string& name, const FileId& id);

// `folder`, made absolute so that it stays the same where the host moves its working folder. The
// relative one is kept where an absolute one leads nowhere, for instance since a parent of the
// working folder can't be searched. False when the path is too long to be made absolute.
bool FixFolder(std::string& folder);

}  // namespace qxg_800

#endif
