// Not installed: keeps descriptors 0 to 2 from the library's files.
#ifndef QXUTILS_PLATFORM_DESCRIPTORS_H
#define QXUTILS_PLATFORM_DESCRIPTORS_H

#include <unistd.h>

#include <optional>

#include "qxutils/platform/platformspecs_internal.h"

namespace qxg_800 {

// Keeps descriptors 0 to 2 from being given out while it lives.
//
// A host may close its standard descriptors and print all the same. The text would land in a file
// of ours that got such a number. So this object holds those that are free with descriptors that
// can be neither read nor written. The destructor frees them and leaves errno alone.
// While it holds any, other threads that make one wait, so don't make two in one thread.
class StandardDescriptors {
 public:
  StandardDescriptors();
  ~StandardDescriptors();
  StandardDescriptors(const StandardDescriptors&) = delete;
  StandardDescriptors& operator=(const StandardDescriptors&) = delete;

  // Returns false, with errno set, when one of them is free and could not be held. Open nothing
  // then.
  bool AreHeld() const { return fAreHeld; }

 private:
  std::optional<GateLock> fLock;  // while there are any to hold
  bool fIsOurs[STDERR_FILENO + 1] = {};
  bool fAreHeld = true;
};

// Calls open() while descriptors 0 to 2 are held. Returns the descriptor, which the caller owns, or
// -1 with errno set.
int OpenAboveStandard(const char* path, int flags, unsigned mode);

}  // namespace qxg_800

#endif
