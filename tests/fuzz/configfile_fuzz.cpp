// SPDX-FileCopyrightText: The qxutils authors
// SPDX-License-Identifier: Apache-2.0

// Configuration files of any bytes, read by the library and by a plain model of the same rules.
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <sstream>

#include "fuzz.h"
#include "qxutils/config/qxconfigfile_internal.h"

static const FuzzTarget configFile("configfile", [](FuzzInput in) {
  const std::string text = in.Rest();
  std::map<std::string, std::string> pairs;
  for (std::size_t start = 0, equals = 0, end = 0; start < text.size(); start = end + 1) {
    equals = text.find('=', start);
    if (equals == std::string::npos || equals + 1 == text.size()) break;
    end = std::min(text.find('\n', equals), text.size());
    pairs[text.substr(start, equals - start)] = text.substr(equals + 1, end - equals - 1);
  }
  const int descriptor = memfd_create("fuzz", MFD_CLOEXEC);
  EXPECT_EQ(write(descriptor, text.data(), text.size()), static_cast<ssize_t>(text.size()));
  tree_800::QxConfigFile file("/proc/self/fd/" + std::to_string(descriptor));
  close(descriptor);
  std::ostringstream expected, printed;
  for (const auto& [key, value] : pairs) {
    EXPECT_EQ(file.Read(key), value) << key;
    expected << key << ' ' << value << '\n';
  }
  printed << file;
  EXPECT_EQ(printed.str(), expected.str());
  EXPECT_EQ(file.Read(text + "="), "");
});
