// SPDX-FileCopyrightText: The qxutils authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QXUTILS_NUMERIC_CHARARRAY_H
#define QXUTILS_NUMERIC_CHARARRAY_H

#include <memory>
#include <string>

#include "qxutils/export.h"

namespace qxg_800 {

/// An array of raw bytes that owns what it holds.
///
/// Zero bytes are ordinary content, and none is added at the end. A negative length counts as 0.
/// Throws nothing but std::bad_alloc, and has not changed then. Copies are deep. Used by one thread
/// at a time.
///
/// Field order is part of the binary interface.
class QXUTILS_EXPORT CharArray {
 public:
  /// Makes an array without bytes.
  CharArray();

  /// Makes an array of `size` bytes of unspecified content.
  explicit CharArray(int size);

  /// Makes an array of a copy of the `length` bytes at `data`. With null their content is
  /// unspecified.
  CharArray(char* data, int length);

  /// Makes an array with bytes of its own, copied from `other`.
  CharArray(const CharArray& other);

  /// Replaces the contents by a copy of those of `other`, as SetData does.
  CharArray& operator=(const CharArray& other);

  /// Releases the bytes.
  ~CharArray();

  /// Replaces the contents by a copy of the `length` bytes at `data`. They stay the caller's and
  /// may lie in this array.
  ///
  /// When the length stays the same, so does the block, and nothing is allocated. With null, bytes
  /// of the same length stay as they are, and those of a new length are unspecified.
  void SetData(char* data, int length);

  /// Releases the bytes early. GetNumElements returns the same length as before. Until the next
  /// SetData or assignment AsPChar returns null. A copy of the array then has bytes of that length
  /// and unspecified content.
  void Cleanup();

  /// Returns byte `i`, which can be written even through a const array. After Cleanup it is a byte
  /// outside of any array, and a write to it is lost.
  ///
  /// REQUIRES: 0 <= i < GetNumElements() (not checked).
  char& operator[](int i) const;

  /// Returns the bytes, which stay the array's, or null when there are none. Valid until the length
  /// changes.
  char* AsPChar() const;

  /// The length in bytes.
  int GetNumElements() const;

  /// Returns a text for diagnostics: the array's own address, its length and its bytes. Zero bytes
  /// are left out.
  std::string ToString() const;

  /// The self-test. Returns 1 when it passes, else 0.
  static int test();

 private:
  std::unique_ptr<char[]> fpChar;  // fLength bytes; null when that is 0, and after Cleanup
  int fLength;
};

}  // namespace qxg_800

#endif
