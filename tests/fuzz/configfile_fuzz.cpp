// Configuration files of any bytes, read by the library and by a plain model of the same rules.
#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <map>
#include <sstream>
#include <string>

#include "qxutils/config/qxconfigfile_internal.h"

namespace {

std::map<std::string, std::string> ParsePlainly(const std::string& text) {
  std::map<std::string, std::string> pairs;
  std::size_t start = 0;
  for (;;) {
    const std::size_t equals = text.find('=', start);
    if (equals == std::string::npos || equals + 1 == text.size()) return pairs;
    const std::size_t end = text.find('\n', equals);
    pairs[text.substr(start, equals - start)] = text.substr(equals + 1, end - equals - 1);
    if (end == std::string::npos) return pairs;
    start = end + 1;
  }
}

void Check(bool holds) {
  if (!holds) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(data, data + size);
  const int descriptor = memfd_create("fuzz", MFD_CLOEXEC);
  Check(write(descriptor, text.data(), size) == static_cast<ssize_t>(size));
  tree_800::QxConfigFile file("/proc/self/fd/" + std::to_string(descriptor));
  close(descriptor);
  std::ostringstream expected, printed;
  for (const auto& [key, value] : ParsePlainly(text)) {
    Check(file.Read(key) == value);
    expected << key << ' ' << value << '\n';
  }
  printed << file;
  Check(printed.str() == expected.str());
  Check(file.Read(text + "=").empty());  // no key has a '='
  return 0;
}
