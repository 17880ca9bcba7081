// SPDX-FileCopyrightText: The qxutils authors
// SPDX-License-Identifier: Apache-2.0

// Not installed: the library's lock, and making something under a new temporary name.
#ifndef QXUTILS_PLATFORM_PLATFORMSPECS_INTERNAL_H
#define QXUTILS_PLATFORM_PLATFORMSPECS_INTERNAL_H

#include <functional>
#include <string>

namespace qxg_800 {

// Holds the library's one lock while it lives. Not recursive.
class GateLock {
 public:
  GateLock();
  ~GateLock();
  GateLock(const GateLock&) = delete;
  GateLock& operator=(const GateLock&) = delete;
};

// Makes something under a name as GenerateTempName builds it, and returns the name.
//
// `make` is called with one name after the other until it returns true. It fails with EEXIST where
// a name is taken. When it fails with any other error, the result is an empty string and errno is
// what `make` left. Throws std::bad_alloc and what `make` throws.
//
// `taken` is a name that is known to be taken and is passed over. Empty when none is known.
std::string MakeUnderNewName(const char* folder, const char* prefix, const char* extension,
                             const std::string& taken,
                             const std::function<bool(const char* name)>& make);

}  // namespace qxg_800

#endif
