// SPDX-FileCopyrightText: The qxutils authors
// SPDX-License-Identifier: Apache-2.0

// Not installed: keeps descriptors 0 to 2 from the library's files.
#ifndef QXUTILS_PLATFORM_DESCRIPTORS_H
#define QXUTILS_PLATFORM_DESCRIPTORS_H

namespace qxg_800 {

// Keeps descriptors 0 to 2 from being given out while it lives.
//
// A host may close its standard descriptors and print all the same. The text would land in a file
// of ours that got such a number. So the free ones are held with descriptors that can be neither
// read nor written. The destructor of the last such object frees them. It leaves errno alone.
//
// What it can't prevent: the host closes one at the very moment, so look at the result of an open.
// A host that puts a file of its own on a held number while that is freed may lose it. A child
// that is forked meanwhile keeps them until it starts another program.
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
  bool fIsNeeded;  // the host lacks one of them
  bool fAreHeld = true;
};

// Whether `descriptor` is one of 0 to 2.
bool IsStandard(int descriptor);

// Calls open() and returns a descriptor above 2, which the caller owns. On failure returns -1, with
// errno set. No file is left then that the call has created with O_EXCL.
int OpenAboveStandard(const char* path, int flags, unsigned mode);

}  // namespace qxg_800

#endif
