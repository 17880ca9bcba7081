// SPDX-FileCopyrightText: The qxutils authors
// SPDX-License-Identifier: Apache-2.0

// Values as bytes, for another process of the same program on the same kind of machine. Those that
// can't be copied as bytes have T::Visit(self, visitor), which calls the visitor with each member.
#ifndef QXTREE_PACK_H
#define QXTREE_PACK_H

#include <cstddef>
#include <cstring>
#include <stdexcept>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

namespace qxtree {

// Appends values to bytes.
class Packer {
 public:
  template <class T>
  void operator()(const T& value) {
    if constexpr (std::is_trivially_copyable_v<T>)
      fBytes.append(reinterpret_cast<const char*>(&value), sizeof value);
    else
      T::Visit(value, *this);
  }
  void operator()(const std::string& text) {
    (*this)(text.size());
    fBytes += text;
  }
  template <class T>
  void operator()(const std::vector<T>& values) {
    (*this)(values.size());
    for (const T& value : values) (*this)(value);
  }

  const std::string& Bytes() const { return fBytes; }

 private:
  std::string fBytes;
};

// Takes them back in the same order. Throws std::length_error when there are too few bytes.
class Unpacker {
 public:
  // `bytes` must outlive it.
  explicit Unpacker(std::string_view bytes) : fRest(bytes) {}

  template <class T>
  void operator()(T& value) {
    if constexpr (std::is_trivially_copyable_v<T>) {
      std::memcpy(static_cast<void*>(&value), Next(sizeof value), sizeof value);
    } else {
      T::Visit(value, *this);
    }
  }
  void operator()(std::string& text) {
    std::size_t bytes = 0;
    (*this)(bytes);
    text.assign(Next(bytes), bytes);
  }
  template <class T>
  void operator()(std::vector<T>& values) {
    std::size_t count = 0;
    (*this)(count);
    values.resize(count);
    for (T& value : values) (*this)(value);
  }

  bool IsAtEnd() const { return fRest.empty(); }

 private:
  const char* Next(std::size_t bytes) {
    if (fRest.size() < bytes) throw std::length_error("a message of a process is too short");
    const char* const next = fRest.data();
    fRest.remove_prefix(bytes);
    return next;
  }

  std::string_view fRest;
};

template <class T>
std::string Pack(const T& value) {
  Packer packer;
  packer(value);
  return packer.Bytes();
}
template <class T>
void Unpack(std::string_view bytes, T& value) {
  Unpacker unpacker(bytes);
  unpacker(value);
}

}  // namespace qxtree

#endif
