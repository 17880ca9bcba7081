#ifndef QXUTILS_PLATFORM_QXUTILSEXCEPTION_H
#define QXUTILS_PLATFORM_QXUTILSEXCEPTION_H

#include <exception>
#include <string>

#include "qxutils/export.h"

// The texts of a QxUtilsException. The library throws it with no others.
namespace QxUtils_800 {

constexpr char FileWriteError[] = "Error writing to file";
constexpr char FileOpenError[] = "Error opening file";
constexpr char FileSeekError[] = "Error seeking in file";
constexpr char FileReadError[] = "Error reading from file";

}  // namespace QxUtils_800

namespace qxg_800 {

// A temporary file of a view set failed. Thrown by value, with one of the four texts of
// QxUtils_800, by QxViewSetManager and by what calls it: IOBinVirtualFile and NimbTempFileStorage.
//
// Running out of memory is std::bad_alloc instead, but FileOpenError within the C library's fopen.
// A copy has a text of its own. An object is used by one thread at a time.
class QXUTILS_EXPORT QxUtilsException : public std::exception {
 public:
  // Copies `message`. Null counts as an empty text. Throws std::bad_alloc.
  QxUtilsException(const char* message);

  ~QxUtilsException() noexcept override;

  // Returns the text, which is valid as long as this object lives.
  const char* what() const noexcept override;

 private:
  std::string fMessage;
};

}  // namespace qxg_800

#endif
