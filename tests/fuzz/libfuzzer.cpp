// SPDX-FileCopyrightText: The qxutils authors
// SPDX-License-Identifier: Apache-2.0

// Lets libFuzzer run the target that the environment variable FUZZ_TARGET names.
#include "fuzz.h"

extern "C" int LLVMFuzzerTestOneInput(const char* data, std::size_t size) {
  static const FuzzTarget::Function run = FuzzTarget::all.at(std::getenv("FUZZ_TARGET"));
  testing::FLAGS_gtest_throw_on_failure = true;  // which ends the program
  return (run({std::string(data, size)}), 0);
}
