// SPDX-FileCopyrightText: The qxutils authors
// SPDX-License-Identifier: Apache-2.0

// The bytes of a file as it was before it was compressed.
#ifndef QXTREE_INPUT_H
#define QXTREE_INPUT_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

namespace qxtree {

// Turns compressed bytes into the original ones.
class Decoder {
 public:
  virtual ~Decoder() = default;

  // Takes bytes away from the start of `from`, writes at most `room` bytes to `to` and returns how
  // many. 0: it needs more. Throws std::runtime_error that says what is wrong.
  virtual std::size_t Decode(std::string_view& from, char* to, std::size_t room) = 0;

  // Whether it is not in the middle of something.
  virtual bool IsAtEnd() const = 0;
};

// A file, or standard input for "-". When its first bytes are those of gzip or zstd, it gives what
// was compressed. Several compressed files in one are read one after the other. Memory: about 0.2
// MiB, with zstd 9 MiB. All errors but Interrupted name the file.
class Input {
 public:
  static constexpr std::uint64_t kWhole = static_cast<std::uint64_t>(-1);

  // From the byte `begin` on; up to the byte `end`, or to the end of the file. Bytes in the middle
  // are taken as they are. Throws std::system_error, and Interrupted.
  explicit Input(const std::string& path, std::uint64_t begin = 0, std::uint64_t end = kWhole);
  ~Input();
  Input(const Input&) = delete;
  Input& operator=(const Input&) = delete;

  // The next bytes, at most 64 KiB, valid until the next call; none at the end. Throws Interrupted,
  // and std::system_error. Throws std::runtime_error when a compressed file is damaged or cut off.
  std::string_view Next();

  // After the first call of Next.
  bool IsCompressed() const { return fpDecoder != nullptr; }

  // For messages.
  const std::string& Name() const { return fName; }

  // How much has been read, from 0 to 1; negative when the size is not known.
  double Share() const;

 private:
  bool Fill();
  std::size_t Decode();
  [[noreturn]] void Fail(const std::string& what) const;

  const std::string fName;
  const int fDescriptor;
  const bool fIsPart;
  double fSize = 0;     // bytes to be read; 0: not known
  std::uint64_t fLeft;  // to be read, at most
  double fRead = 0;
  bool fHasBegun = false;
  std::unique_ptr<char[]> fRaw, fDecoded;
  std::string_view fRest;              // of fRaw, not yet used
  std::unique_ptr<Decoder> fpDecoder;  // null: not compressed
};

}  // namespace qxtree

#endif
