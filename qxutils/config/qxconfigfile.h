// SPDX-FileCopyrightText: The qxutils authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QXUTILS_CONFIG_QXCONFIGFILE_H
#define QXUTILS_CONFIG_QXCONFIGFILE_H

#include <fstream>
#include <map>
#include <string>

#include "qxutils/export.h"

/// The reader of key/value files.
namespace tree_800 {

/// The key/value pairs of a text file, read once when the object is made.
///
/// A key is all the text up to the next '='. Its value is all that follows up to the end of the
/// line:
///
///     name=value
///
/// Nothing is trimmed, skipped or interpreted. Blanks belong to keys and values. A carriage return
/// before the end of the line belongs to the value, and so do further '='. There are no comments. A
/// line without '=', even an empty one, is the beginning of the next key, with its line break. Of
/// equal keys the last one counts. The last value of the file needs no line break after it unless
/// it is empty: a file that ends in '=' has no pair there.
///
/// The file stays open and the pairs stay in memory as long as the object lives. Programs that the
/// process starts inherit the open file. Not copyable. Made by one thread. Any number of threads
/// may then call Read.
class QXUTILS_EXPORT QxConfigFile {
 public:
  /// Reads the file at `path`, a text that ends at its first zero byte. There are no pairs when the
  /// file can't be opened or is a folder. When it can't be read to its end, there are the pairs
  /// before the failure. Neither is reported. Throws std::bad_alloc when out of memory.
  explicit QxConfigFile(const std::string& path);

  /// Closes the file.
  ~QxConfigFile();

  QxConfigFile(const QxConfigFile&) = delete;
  QxConfigFile& operator=(const QxConfigFile&) = delete;

  /// Returns a copy of the value of `key`, or an empty string when there is no such key. Keys are
  /// case-sensitive. Throws std::bad_alloc.
  std::string Read(const std::string& key);

 private:
  friend class QxConfigFilePrinter;  // the library's own

  QXUTILS_LOCAL void Open(const std::string& path);
  QXUTILS_LOCAL void ReadPairs();

  std::ifstream fStream;
  std::map<std::string, std::string> fPairs;
};

}  // namespace tree_800

#endif
