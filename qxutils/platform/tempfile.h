// Not installed: how the library makes temporary files that are nobody else's.
#ifndef QXUTILS_PLATFORM_TEMPFILE_H
#define QXUTILS_PLATFORM_TEMPFILE_H

#include <string>

namespace qxg_800 {

// Creates a new empty file under a name of GenerateTempName and gives the name; an empty string,
// with errno from open, when it can't be created. No existing file is opened and no link is
// followed; the file is readable and writable by its owner alone.
//
// `taken` is a name that is known to be taken, such as the last one made in this folder with this
// prefix, and is passed over without a try; empty: none is known.
std::string CreateTempFile(const char* folder, const char* prefix, const char* extension,
                           const std::string& taken);

}  // namespace qxg_800

#endif
