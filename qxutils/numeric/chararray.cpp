// SPDX-FileCopyrightText: The qxutils authors
// SPDX-License-Identifier: Apache-2.0

#include "qxutils/numeric/chararray.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <iterator>
#include <utility>

namespace qxg_800 {
namespace {

// Returns `length` bytes copied from `data`, or all 0 when that is null. Null for no bytes.
std::unique_ptr<char[]> NewBytes(const char* data, int length) {
  if (length <= 0) return nullptr;
  const auto bytes = static_cast<std::size_t>(length);
  if (!data) return std::make_unique<char[]>(bytes);
  std::unique_ptr<char[]> copy(new char[bytes]);  // make_unique would clear it
  std::memcpy(copy.get(), data, bytes);
  return copy;
}

bool Holds(const CharArray& array, const char* bytes, int length) {
  for (int i = 0; i < length; ++i) {
    if (array[i] != bytes[i]) return false;
  }
  return true;
}

}  // namespace

CharArray::CharArray() : fLength(0) { SetData(nullptr, 0); }

CharArray::CharArray(int size) : fpChar(NewBytes(nullptr, size)), fLength(std::max(size, 0)) {}

CharArray::CharArray(char* data, int length) : fLength(0) { SetData(data, length); }

CharArray::CharArray(const CharArray& other) : fLength(0) {
  SetData(other.fpChar.get(), other.fLength);
}

CharArray& CharArray::operator=(const CharArray& other) {
  if (this != &other) SetData(other.fpChar.get(), other.fLength);
  return *this;
}

CharArray::~CharArray() { Cleanup(); }

void CharArray::SetData(char* data, int length) {
  if (fpChar && length == fLength) {
    if (data) std::memmove(fpChar.get(), data, static_cast<std::size_t>(length));
    return;
  }
  // The copy first: it may fail, and `data` may lie in the bytes that are released.
  auto bytes = NewBytes(data, length);
  Cleanup();
  fpChar = std::move(bytes);
  fLength = std::max(length, 0);
}

void CharArray::Cleanup() { fpChar.reset(); }

char& CharArray::operator[](int i) const {
  thread_local char nothing;  // safe to touch when there are no bytes, as after Cleanup
  return fpChar ? fpChar[static_cast<std::size_t>(i)] : nothing = '\0';
}

char* CharArray::AsPChar() const { return fpChar.get(); }

int CharArray::GetNumElements() const { return fLength; }

std::string CharArray::ToString() const {
  std::string text = "object = CharArray\n";
  text += "address = " + std::to_string(reinterpret_cast<long>(this));
  text += "fLength = " + std::to_string(fLength);
  text += "fpChar = ";
  const int bytes = fpChar ? fLength : 0;
  std::copy_if(fpChar.get(), fpChar.get() + bytes, std::back_inserter(text),
               [](char byte) { return byte != '\0'; });
  text += "\n";
  return text;
}

int CharArray::test() {
  constexpr int kBytes = 10;
  char letters[kBytes];
  std::memcpy(letters, "abcdefghij", kBytes);
  char digits[kBytes];
  std::memcpy(digits, "0123456789", kBytes);
  { const CharArray empty; }

  auto b = std::make_unique<CharArray>(letters, kBytes);
  const CharArray c(*b);
  CharArray d(nullptr, 0);
  d = c;
  d = *b;
  b.reset();
  if (d.GetNumElements() != kBytes || !Holds(d, letters, kBytes)) return 0;

  const CharArray e(digits, kBytes);
  d = e;
  if (!Holds(d, digits, kBytes)) return 0;
  d.SetData(letters, kBytes);
  if (!Holds(d, letters, kBytes)) return 0;
  d.SetData(nullptr, kBytes);
  static_cast<void>(d.AsPChar());
  return 1;
}

}  // namespace qxg_800
