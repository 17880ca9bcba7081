// Not installed: keeps the library's files off descriptors 0 to 2.
#ifndef QXUTILS_PLATFORM_DESCRIPTORS_H
#define QXUTILS_PLATFORM_DESCRIPTORS_H

#include <unistd.h>

namespace qxg_800 {

// Keeps descriptors 0 to 2 from being given out while it lives.
//
// A host may have closed its standard descriptors and print all the same. What it prints would land
// in a file of ours that got such a number. So those that are free are held meanwhile, by
// descriptors that can be neither read nor written. errno is left alone at the end.
class StandardDescriptors {
 public:
  StandardDescriptors();
  ~StandardDescriptors();
  StandardDescriptors(const StandardDescriptors&) = delete;
  StandardDescriptors& operator=(const StandardDescriptors&) = delete;

  // False, with errno set, when one of them is free and could not be held: open nothing then.
  bool AreHeld() const { return fAreHeld; }

 private:
  bool fIsOurs[STDERR_FILENO + 1] = {};
  bool fAreHeld = true;
};

// open(), which never returns 0 to 2 here.
int OpenAboveStandard(const char* path, int flags, unsigned mode);

}  // namespace qxg_800

#endif
