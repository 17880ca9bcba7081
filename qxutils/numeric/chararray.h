#ifndef QXUTILS_NUMERIC_CHARARRAY_H
#define QXUTILS_NUMERIC_CHARARRAY_H

#include <memory>
#include <string>

#include "qxutils/export.h"

namespace qxg_800 {

// An array of raw bytes that owns what it holds.
//
// Zero bytes are ordinary content, and none is added at the end. A negative length counts as 0.
// Throws nothing but std::bad_alloc, and is then as it was before. Copies are deep. Used by one
// thread at a time.
//
// Field order is part of the binary interface.
class QXUTILS_EXPORT CharArray {
 public:
  // No bytes.
  CharArray();

  // `size` bytes of unspecified content.
  explicit CharArray(int size);

  // See SetData.
  CharArray(char* data, int length);

  CharArray(const CharArray& other);
  CharArray& operator=(const CharArray& other);

  ~CharArray();

  // Replaces the contents by a copy of the `length` bytes at `data`, which stays the caller's and
  // may lie in this very array.
  //
  // The block stays the same, and nothing is allocated, when the length does. With null, bytes of
  // that length stay as they are and those of a new length are unspecified.
  void SetData(char* data, int length);

  // Releases the bytes early; GetNumElements gives what it gave before. Until the next SetData or
  // assignment AsPChar gives null, and a copy is made as if by SetData with null and that length.
  void Cleanup();

  // Byte `i`, which can be written through a const array too; after Cleanup a byte that is
  // nobody's. REQUIRES: 0 <= i < GetNumElements() (not checked).
  char& operator[](int i) const;

  // The bytes, which stay the array's, valid until the length changes; null when there are none.
  char* AsPChar() const;

  // The length in bytes.
  int GetNumElements() const;

  // The array's own address, its length and its bytes as a text for diagnostics. Zero bytes are
  // left out.
  std::string ToString() const;

  // The self-test: 1 when it passes, else 0.
  static int test();

 private:
  std::unique_ptr<char[]> fpChar;  // fLength bytes; null when that is 0, and after Cleanup
  int fLength;
};

}  // namespace qxg_800

#endif
