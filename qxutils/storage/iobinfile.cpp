// SPDX-FileCopyrightText: The qxutils authors
// SPDX-License-Identifier: Apache-2.0

#include "qxutils/storage/iobinfile.h"

#include <stdio_ext.h>

#include <cerrno>
#include <cstddef>

#include "qxutils/platform/descriptors.h"

namespace qxg_800 {
namespace {

using Arbex_800::EnvironmentSettings;

int ConvertToZlibLevel(EnvironmentSettings::CompressionLevel level) {
  constexpr int kGreatestLevel = 9;
  const int value = level;
  return value >= 0 && value <= kGreatestLevel ? value : 0;
}

// "e" is close-on-exec: a program that the host starts must not inherit its temporary files.
std::FILE* OpenImp(const std::string& name, IOBinFile::IOModeFile mode, int /*level*/) {
  constexpr int kTries = 100;
  for (int tries = 0; tries < kTries; ++tries) {
    const StandardDescriptors standard;
    if (!standard.AreHeld()) return nullptr;
    std::FILE* const stream =
        std::fopen(name.c_str(), mode == IOBinFile::IOModeRead ? "rbe" : "wbe");
    if (!stream || !IsStandard(fileno(stream))) return stream;
    std::fclose(stream);  // the host has closed one meanwhile, and may print to it
  }
  errno = EBADF;
  return nullptr;
}

}  // namespace

IOBinFile::IOBinFile(const EnvironmentSettings& settings) : fSettings(settings) {}

IOBinFile::~IOBinFile() { IOBinFile::Close(); }

bool IOBinFile::Open(const std::string& name, IOModeFile mode,
                     EnvironmentSettings::CompressionLevel level) {
  std::string copy(name);  // may throw, and only a Close that is reported may lose bytes
  const bool isClosed = Close();
  fLevel = level;
  fFileName.swap(copy);
  fMode = mode;
  if (!isClosed || fFileName.empty()) return false;
  fpStream.reset(OpenImp(fFileName, fMode, ConvertToZlibLevel(fLevel)));
  if (!fpStream) return false;
  // Without the stream's own lock small reads take half the time. One thread at a time uses this
  // object. A stream for writing keeps its lock, since any thread of the host may call
  // fflush(nullptr), which flushes it, too.
  if (fMode == IOModeRead) __fsetlocking(fpStream.get(), FSETLOCKING_BYCALLER);
  return true;
}

int IOBinFile::Read(char* data, int length) {
  // Reading from a stream for writing would set its error mark, and Close would report it.
  if (!fpStream || fMode != IOModeRead || !data || length < 0) return 0;
  return static_cast<int>(std::fread(data, 1, static_cast<std::size_t>(length), fpStream.get()));
}

int IOBinFile::Write(const char* data, int length) {
  if (!fpStream || !data || length < 0) return 0;
  return static_cast<int>(std::fwrite(data, 1, static_cast<std::size_t>(length), fpStream.get()));
}

bool IOBinFile::Seek(long position) {
  return fpStream && std::fseek(fpStream.get(), position, SEEK_SET) == 0;
}

// fclose reports only its own flush. An earlier one, such as fflush(nullptr) in another thread of
// the host, may have failed. Then only the stream's error mark shows it.
bool IOBinFile::Close() {
  if (!fpStream) return true;
  std::FILE* const stream = fpStream.release();
  const bool isWhole =
      fMode == IOModeRead || (std::fflush(stream) == 0 && std::ferror(stream) == 0);
  return std::fclose(stream) == 0 && isWhole;
}

void IOBinFile::Remove() {}

const std::string& IOBinFile::GetFileName() const { return fFileName; }

void IOBinFile::SetFileName(const std::string& name) { fFileName = name; }

}  // namespace qxg_800
