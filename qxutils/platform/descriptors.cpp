#include "qxutils/platform/descriptors.h"

#include <fcntl.h>

#include <cerrno>

namespace qxg_800 {
namespace {

// Whether the host has all three. One that can be neither read nor written may be held by another
// thread, which frees it soon.
bool HostHasAll() {
  for (int standard = STDIN_FILENO; standard <= STDERR_FILENO; ++standard) {
    const int flags = fcntl(standard, F_GETFL);
    if (flags == -1 || (flags & O_PATH) != 0) return false;
  }
  return true;
}

}  // namespace

StandardDescriptors::StandardDescriptors() {
  if (HostHasAll()) return;
  fLock.emplace();
  for (int standard = STDIN_FILENO; standard <= STDERR_FILENO; ++standard) {
    if (fcntl(standard, F_GETFD) != -1) continue;
    const int held = open("/", O_PATH | O_CLOEXEC);  // the lowest that is free
    fAreHeld = fAreHeld && held >= 0;
    if (held > STDERR_FILENO) close(held);  // another thread has taken `standard` meanwhile
    if (held >= 0 && held <= STDERR_FILENO) fIsOurs[held] = true;
  }
}

StandardDescriptors::~StandardDescriptors() {
  const int before = errno;
  for (int standard = STDIN_FILENO; standard <= STDERR_FILENO; ++standard) {
    // The host may have put a descriptor of its own in this place meanwhile.
    const int flags = fIsOurs[standard] ? fcntl(standard, F_GETFL) : -1;
    if (flags != -1 && (flags & O_PATH) != 0) close(standard);
  }
  errno = before;
}

int OpenAboveStandard(const char* path, int flags, unsigned mode) {
  const StandardDescriptors standard;
  return standard.AreHeld() ? open(path, flags, mode) : -1;
}

}  // namespace qxg_800
