// SPDX-FileCopyrightText: The qxutils authors
// SPDX-License-Identifier: Apache-2.0

// An almost empty library in C++, the least that loading one costs.
#include <string>

extern "C" __attribute__((visibility("default"))) std::size_t LengthOf(const char* text);

std::size_t LengthOf(const char* text) { return std::string(text).size(); }
