// Configuration files of any bytes, read by the library and by a plain model of the same rules.
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <sstream>

#include "qxutils/config/qxconfigfile_internal.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(data, data + size);
  std::map<std::string, std::string> pairs;
  for (std::size_t start = 0, equals = 0, end = 0; start < size; start = end + 1) {
    equals = text.find('=', start);
    if (equals == std::string::npos || equals + 1 == size) break;
    end = std::min(text.find('\n', equals), size);
    pairs[text.substr(start, equals - start)] = text.substr(equals + 1, end - equals - 1);
  }
  const int descriptor = memfd_create("fuzz", MFD_CLOEXEC);
  if (write(descriptor, data, size) != static_cast<ssize_t>(size)) std::abort();
  tree_800::QxConfigFile file("/proc/self/fd/" + std::to_string(descriptor));
  close(descriptor);
  std::ostringstream expected, printed;
  for (const auto& [key, value] : pairs) {
    if (file.Read(key) != value) std::abort();
    expected << key << ' ' << value << '\n';
  }
  printed << file;
  if (printed.str() != expected.str() || !file.Read(text + "=").empty()) std::abort();
  return 0;
}
