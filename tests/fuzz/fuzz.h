// SPDX-FileCopyrightText: The qxutils authors
// SPDX-License-Identifier: Apache-2.0

// Fuzz targets: each runs the library on any bytes and expects what an oracle expects.
#ifndef QXUTILS_TESTS_FUZZ_FUZZ_H
#define QXUTILS_TESTS_FUZZ_FUZZ_H

#include <gtest/gtest.h>

#include <map>
#include <string>

struct FuzzInput {
  int Byte() { return at < bytes.size() ? static_cast<unsigned char>(bytes[at++]) : 0; }
  std::string Rest() const { return bytes.substr(at); }
  std::string bytes;
  std::size_t at = 0;
};

struct FuzzTarget {
  using Function = void (*)(FuzzInput in);
  FuzzTarget(const char* name, Function run) { all[name] = run; }
  static inline std::map<std::string, Function> all;
};

#endif
