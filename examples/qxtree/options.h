#ifndef QXTREE_OPTIONS_H
#define QXTREE_OPTIONS_H

#include <stdexcept>
#include <string>

namespace qxtree {

struct Options {
  std::string input;  // the CSV file
  long memory = 0;    // bytes, for the buffers of the columns while they are written
  std::string temp;   // the folder under which the program makes one of its own
  std::string help;   // not empty: show this and do nothing else
};

// Wrong use of the flags; the text says of which.
struct UsageError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// Throws UsageError, and std::filesystem::filesystem_error when the system's temporary folder is
// needed and there is none.
Options ParseOptions(int argc, const char* const* argv);

}  // namespace qxtree

#endif
