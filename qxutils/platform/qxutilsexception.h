// SPDX-FileCopyrightText: The qxutils authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QXUTILS_PLATFORM_QXUTILSEXCEPTION_H
#define QXUTILS_PLATFORM_QXUTILSEXCEPTION_H

#include <exception>
#include <string>

#include "qxutils/export.h"

/// The texts of a QxUtilsException. The library throws it with no others.
namespace QxUtils_800 {

/// Bytes of the shared file or of a view file could not be written, or an earlier write of the set
/// failed. Also thrown for a buffer whose item size is not the view's.
constexpr char FileWriteError[] = "Error writing to file";

/// A file can't be created or opened, or another file has replaced it. Also thrown when no storage
/// is available, and when the path of a relative folder is too long.
constexpr char FileOpenError[] = "Error opening file";

/// The place of a view's items in the shared file can't be reached.
constexpr char FileSeekError[] = "Error seeking in file";

/// Items of a view can't be read back from the shared file.
constexpr char FileReadError[] = "Error reading from file";

}  // namespace QxUtils_800

/// The services for tree engines: view sets, record iterators, statistics, random numbers and text.
namespace qxg_800 {

/// A temporary file of a view set failed. Thrown by value, with one of the four texts of
/// QxUtils_800, by QxViewSetManager and by what calls it: IOBinVirtualFile and NimbTempFileStorage.
///
/// Running out of memory is std::bad_alloc instead, but FileOpenError within the C library's fopen.
/// A copy has a text of its own. An object is used by one thread at a time.
class QXUTILS_EXPORT QxUtilsException : public std::exception {
 public:
  /// Copies `message`. Null counts as an empty text. Throws std::bad_alloc.
  QxUtilsException(const char* message);

  /// Releases the text.
  ~QxUtilsException() noexcept override;

  /// Returns the text, which is valid as long as this object lives.
  const char* what() const noexcept override;

 private:
  std::string fMessage;
};

}  // namespace qxg_800

#endif
