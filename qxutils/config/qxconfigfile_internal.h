// SPDX-FileCopyrightText: The qxutils authors
// SPDX-License-Identifier: Apache-2.0

// Not installed: how the library prints the pairs of a configuration file.
#ifndef QXUTILS_CONFIG_QXCONFIGFILE_INTERNAL_H
#define QXUTILS_CONFIG_QXCONFIGFILE_INTERNAL_H

#include <iosfwd>

#include "qxutils/config/qxconfigfile.h"

namespace tree_800 {

// Prints each pair as key, blank, value and std::endl, in ascending byte order of the keys. Returns
// `os`. This is not the file's syntax, so it can't be read back.
std::ostream& operator<<(std::ostream& os, QxConfigFile& file);

// Has access to the pairs. With a friend operator in the public header, users of it could call that
// operator, which would not link.
class QxConfigFilePrinter {
 public:
  static void Print(std::ostream& os, const QxConfigFile& file);
};

}  // namespace tree_800

#endif
