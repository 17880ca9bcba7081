#ifndef QXUTILS_CONFIG_QXCONFIGFILE_H
#define QXUTILS_CONFIG_QXCONFIGFILE_H

#include <fstream>
#include <map>
#include <string>

#include "qxutils/export.h"

namespace tree_800 {

// The key/value pairs of a text file, read once when the object is made.
//
// A key is all the text up to the next '=', its value all that follows up to the end of the line:
//
//   name=value
//
// Nothing is trimmed, skipped or interpreted. Blanks belong to keys and values, so does a carriage
// return before the line's end, and further '=' belong to the value. There are no comments: a line
// without '=', an empty one too, is the beginning of the next key, line break included. Of equal
// keys the last one counts. A value needs no line break behind it at the end of the file, unless it
// is empty: a file that ends in '=' has no pair there.
//
// The file stays open (programs that the process starts inherit it) and the pairs are held as long
// as the object lives. Not copyable. Made by one thread; any number of threads may then call Read.
class QXUTILS_EXPORT QxConfigFile {
 public:
  // Reads the file at `path`, which ends at its first zero byte. There are no pairs when it can't
  // be opened or is a folder, and those before the failure when it can't be read to its end:
  // neither is told. Throws std::bad_alloc when there is no memory for the file or for all pairs.
  explicit QxConfigFile(const std::string& path);

  ~QxConfigFile();

  QxConfigFile(const QxConfigFile&) = delete;
  QxConfigFile& operator=(const QxConfigFile&) = delete;

  // A copy of the value of `key`, case-sensitive; an empty string when there is no such key.
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
