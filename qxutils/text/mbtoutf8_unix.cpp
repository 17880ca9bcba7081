// SPDX-FileCopyrightText: The qxutils authors
// SPDX-License-Identifier: Apache-2.0

#include "qxutils/text/mbtoutf8_unix.h"

#include <iconv.h>
#include <langinfo.h>

#include <cstddef>
#include <cstring>
#include <memory>

namespace xmlu_800 {
namespace {

constexpr std::size_t kBytesPerByte = 4;  // of output for one of input

using OpenFunction = iconv_t (*)(const char* code);

bool IsOpen(iconv_t descriptor) { return descriptor != reinterpret_cast<iconv_t>(-1); }

iconv_t iconvToUTF8(const char* fromcode) {
  const iconv_t descriptor = iconv_open("UTF-8", fromcode);
  return IsOpen(descriptor) ? descriptor : iconv_open("utf8", fromcode);
}

iconv_t iconvFromUTF8(const char* tocode) {
  const iconv_t descriptor = iconv_open(tocode, "UTF-8");
  return IsOpen(descriptor) ? descriptor : iconv_open(tocode, "utf8");
}

// On some systems the code set is named "ISO8859-1" and iconv knows it only as "8859-1".
iconv_t OpenForLocale(OpenFunction open) {
  constexpr std::size_t kIsoBytes = 3;
  const char* code = nl_langinfo(CODESET);
  iconv_t descriptor = open(code);
  if (!IsOpen(descriptor) && std::strncmp(code, "ISO", kIsoBytes) == 0) {
    code += kIsoBytes;
    descriptor = open(code + std::strspn(code, " "));
  }
  return IsOpen(descriptor) ? descriptor : open("8859-1");
}

// Between the current locale's code set and UTF-8, in the direction of `open`.
class Converter {
 public:
  explicit Converter(OpenFunction open) : fDescriptor(OpenForLocale(open)) {}
  ~Converter() {
    if (IsOpen(fDescriptor)) iconv_close(fDescriptor);
  }
  Converter(const Converter&) = delete;
  Converter& operator=(const Converter&) = delete;

  // `out` may be `in`.
  void Convert(const std::string& in, std::string& out) const {
    if (!IsOpen(fDescriptor)) return out.clear();
    std::size_t inLeft = in.size();
    std::size_t outLeft = kBytesPerByte * inLeft;             // addresses have fewer than 62 bits
    const std::unique_ptr<char[]> buffer(new char[outLeft]);  // make_unique would clear it
    char* from = const_cast<char*>(in.data());                // iconv does not write to it
    char* to = buffer.get();
    iconv(fDescriptor, &from, &inLeft, &to, &outLeft);
    out.assign(buffer.get(), to);
  }

 private:
  const iconv_t fDescriptor;
};

}  // namespace

// NOLINTNEXTLINE(performance-unnecessary-value-param): the signature is part of the interface
std::string MbToUTF8(std::string in) {
  Converter(iconvToUTF8).Convert(in, in);
  return in;
}

void UTF8ToMb(const std::string& in, std::string& out) {
  Converter(iconvFromUTF8).Convert(in, out);
}

}  // namespace xmlu_800
