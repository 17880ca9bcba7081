// SPDX-FileCopyrightText: The qxutils authors
// SPDX-License-Identifier: Apache-2.0

#include "qxutils/platform/descriptors.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

#include "qxutils/platform/platformspecs_internal.h"

namespace qxg_800 {
namespace {

constexpr int kStandard = STDERR_FILENO + 1;

int users = 0;                // objects that need the free ones held; guarded by the gate
bool isOurs[kStandard] = {};  // what is held; guarded by the gate

// Whether the host has all three. One that can be neither read nor written is held for another
// thread, which frees it soon.
bool HostHasAll() {
  for (int standard = 0; standard < kStandard; ++standard) {
    const int flags = fcntl(standard, F_GETFL);
    if (flags == -1 || (flags & O_PATH) != 0) return false;
  }
  return true;
}

bool HoldFree() {
  for (int standard = 0; standard < kStandard; ++standard) {
    if (fcntl(standard, F_GETFD) != -1) continue;
    const int held = open("/", O_PATH | O_CLOEXEC);  // the lowest that is free
    if (held < 0) return false;
    if (IsStandard(held)) {
      isOurs[held] = true;
    } else {
      close(held);  // the host has taken this one meanwhile
    }
  }
  return true;
}

void FreeHeld() {
  for (int standard = 0; standard < kStandard; ++standard) {
    // The host may have put a descriptor of its own in this place.
    const int flags = isOurs[standard] ? fcntl(standard, F_GETFL) : -1;
    if (flags != -1 && (flags & O_PATH) != 0) close(standard);
    isOurs[standard] = false;
  }
}

}  // namespace

// The lock is not held while the caller opens, which may take long or wait for ever on a FIFO.
StandardDescriptors::StandardDescriptors() : fIsNeeded(!HostHasAll()) {
  if (!fIsNeeded) return;
  const GateLock lock;
  ++users;
  fAreHeld = HoldFree();
}

StandardDescriptors::~StandardDescriptors() {
  if (!fIsNeeded) return;
  const int before = errno;
  const GateLock lock;
  if (--users == 0) FreeHeld();
  errno = before;
}

bool IsStandard(int descriptor) { return descriptor >= 0 && descriptor < kStandard; }

int OpenAboveStandard(const char* path, int flags, unsigned mode) {
  const StandardDescriptors standard;
  if (!standard.AreHeld()) return -1;
  const int descriptor = open(path, flags, mode);
  if (!IsStandard(descriptor)) return descriptor;
  // The host has closed one meanwhile.
  const bool isInherited = (flags & O_CLOEXEC) == 0;
  const int above = fcntl(descriptor, isInherited ? F_DUPFD : F_DUPFD_CLOEXEC, kStandard);
  const int error = errno;
  close(descriptor);
  if (above < 0 && (flags & O_EXCL) != 0) unlink(path);  // it was created here
  errno = error;
  return above;
}

}  // namespace qxg_800
