// SPDX-FileCopyrightText: The qxutils authors
// SPDX-License-Identifier: Apache-2.0

#include "qxtree/input.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>
#include <zlib.h>
#include <zstd.h>
#include <zstd_errors.h>

#include <algorithm>
#include <cerrno>
#include <new>
#include <stdexcept>
#include <utility>

#include "qxtree/process.h"

namespace qxtree {
namespace {

constexpr std::size_t kBlockBytes = 1 << 16;
constexpr std::size_t kMagicBytes = 4;
constexpr int kGzip = 16;        // added to the window's bits: only this format
constexpr int kWindowBits = 23;  // of zstd: 8 MiB

[[noreturn]] void Damaged(const char* why) {
  throw std::runtime_error(fmt::format("it is damaged ({})", why));
}

class GzipDecoder : public Decoder {
 public:
  GzipDecoder() {
    if (inflateInit2(&fStream, MAX_WBITS + kGzip) != Z_OK) throw std::bad_alloc();
  }
  ~GzipDecoder() override { inflateEnd(&fStream); }

  std::size_t Decode(std::string_view& from, char* to, std::size_t room) override {
    fStream.avail_out = static_cast<uInt>(room);
    fStream.next_out = reinterpret_cast<Bytef*>(to);
    // It may hold back what had no room before, so it is asked without new bytes too.
    do {
      // zlib does not change what it reads.
      fStream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(from.data()));
      fStream.avail_in = static_cast<uInt>(from.size());
      const int result = inflate(&fStream, Z_NO_FLUSH);
      if (result == Z_MEM_ERROR) throw std::bad_alloc();
      if (result == Z_BUF_ERROR) break;  // nothing to do
      from.remove_prefix(from.size() - fStream.avail_in);
      fIsAtEnd = result == Z_STREAM_END;
      if (result != Z_OK && !fIsAtEnd)
        Damaged(fStream.msg ? fStream.msg : "a dictionary is needed");
      if (fIsAtEnd) inflateReset(&fStream);
    } while (!from.empty() && fStream.avail_out == room);
    return room - fStream.avail_out;
  }

  bool IsAtEnd() const override { return fIsAtEnd; }

 private:
  z_stream fStream{};
  bool fIsAtEnd = false;
};

class ZstdDecoder : public Decoder {
 public:
  ZstdDecoder() : fpContext(ZSTD_createDCtx(), ZSTD_freeDCtx) {
    if (!fpContext) throw std::bad_alloc();
    ZSTD_DCtx_setParameter(fpContext.get(), ZSTD_d_windowLogMax, kWindowBits);
  }

  std::size_t Decode(std::string_view& from, char* to, std::size_t room) override {
    ZSTD_outBuffer out{to, room, 0};
    do {  // as above
      ZSTD_inBuffer in{from.data(), from.size(), 0};
      const std::size_t result = ZSTD_decompressStream(fpContext.get(), &out, &in);
      from.remove_prefix(in.pos);
      if (ZSTD_isError(result)) Fail(result);
      if (in.pos > 0 || out.pos > 0) fIsAtEnd = result == 0;
    } while (!from.empty() && out.pos == 0);
    return out.pos;
  }

  bool IsAtEnd() const override { return fIsAtEnd; }

 private:
  [[noreturn]] static void Fail(std::size_t result) {
    const ZSTD_ErrorCode code = ZSTD_getErrorCode(result);
    if (code == ZSTD_error_memory_allocation) throw std::bad_alloc();
    if (code != ZSTD_error_frameParameter_windowTooLarge) Damaged(ZSTD_getErrorName(result));
    throw std::runtime_error("its window is above 8 MiB: compress without --ultra and --long");
  }

  const std::unique_ptr<ZSTD_DCtx, std::size_t (*)(ZSTD_DCtx*)> fpContext;
  bool fIsAtEnd = false;
};

// A frame of zstd, or one that its readers skip, begins with four bytes in this order.
bool IsZstd(std::string_view bytes) {
  if (bytes.size() < kMagicBytes) return false;
  const bool isSkipped = (bytes[0] & 0xF0) == 0x50 && bytes.substr(1, 3) == "\x2A\x4D\x18";
  return isSkipped || bytes.substr(0, kMagicBytes) == "\x28\xB5\x2F\xFD";
}

int Open(const std::string& path) {
  if (path == "-") return STDIN_FILENO;
  for (;;) {
    Poll();  // a pipe without a writer waits until a signal comes
    const int descriptor = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY);
    if (descriptor >= 0) return descriptor;
    if (errno != EINTR) throw fmt::system_error(errno, "cannot open '{}'", path);
  }
}

}  // namespace

Input::Input(const std::string& path, std::uint64_t begin, std::uint64_t end)
    : fName(path == "-" ? "standard input" : fmt::format("'{}'", path)),
      fDescriptor(Open(path)),
      fIsPart(end != kWhole),
      fLeft(end - begin),
      fHasBegun(begin > 0),
      fRaw(new char[kBlockBytes]) {
  struct stat status {};
  if (fstat(fDescriptor, &status) != 0 || !S_ISREG(status.st_mode)) return;
  const off_t start = begin > 0 ? lseek(fDescriptor, static_cast<off_t>(begin), SEEK_SET)
                                : lseek(fDescriptor, 0, SEEK_CUR);
  fSize = static_cast<double>(status.st_size - std::max<off_t>(start, 0));
  if (fIsPart) fSize = static_cast<double>(fLeft);
}

Input::~Input() {
  if (fDescriptor != STDIN_FILENO) close(fDescriptor);
}

double Input::Share() const { return fSize > 0 ? std::min(fRead / fSize, 1.0) : -1; }

void Input::Fail(const std::string& what) const {
  throw std::runtime_error(fmt::format("cannot read {}: {}", fName, what));
}

// Reads on into the rest of the block. False at the end.
bool Input::Fill() {
  const std::size_t kept = fRest.size();
  for (;;) {
    const std::size_t room = std::min<std::uint64_t>(kBlockBytes - kept, fLeft);
    const ssize_t bytes = read(fDescriptor, fRaw.get() + kept, room);
    const int error = errno;
    Poll();
    if (bytes < 0 && error == EINTR) continue;
    if (bytes < 0) throw fmt::system_error(error, "cannot read {}", fName);
    fRest = {fRaw.get(), kept + static_cast<std::size_t>(bytes)};
    fRead += static_cast<double>(bytes);
    fLeft -= static_cast<std::uint64_t>(bytes);
    // A part of a file has its end.
    if (bytes == 0 && room > 0 && fIsPart) Fail("it is shorter than before");
    return bytes > 0;
  }
}

std::string_view Input::Next() {
  Poll();
  if (!fHasBegun) {
    fHasBegun = true;
    while (fRest.size() < kMagicBytes && Fill()) {
    }
    if (fRest.substr(0, 2) == "\x1F\x8B") fpDecoder = std::make_unique<GzipDecoder>();
    if (IsZstd(fRest)) fpDecoder = std::make_unique<ZstdDecoder>();
    if (fpDecoder) fDecoded.reset(new char[kBlockBytes]);
  }
  if (!fpDecoder) {
    if (fRest.empty()) Fill();
    return std::exchange(fRest, {});
  }
  for (;;) {
    const bool isMore = !fRest.empty() || Fill();
    const std::size_t bytes = Decode();
    if (bytes > 0) return {fDecoded.get(), bytes};
    if (isMore) continue;
    if (!fpDecoder->IsAtEnd()) Fail("it is cut off");
    return {};
  }
}

std::size_t Input::Decode() try {
  return fpDecoder->Decode(fRest, fDecoded.get(), kBlockBytes);
} catch (const std::runtime_error& error) {
  Fail(error.what());
}

}  // namespace qxtree
