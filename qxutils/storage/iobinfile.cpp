#include "qxutils/storage/iobinfile.h"

#include <stdio_ext.h>

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

// "e": a child that the host process starts must not inherit its temporary files.
std::FILE* OpenImp(const std::string& name, IOBinFile::IOModeFile mode, int /*level*/) {
  const StandardDescriptors standard;
  if (!standard.AreHeld()) return nullptr;
  return std::fopen(name.c_str(), mode == IOBinFile::IOModeRead ? "rbe" : "wbe");
}

}  // namespace

IOBinFile::IOBinFile(const EnvironmentSettings& settings) : fSettings(settings) {}

IOBinFile::~IOBinFile() { IOBinFile::Close(); }

bool IOBinFile::Open(const std::string& name, IOModeFile mode,
                     EnvironmentSettings::CompressionLevel level) {
  const bool isClosed = Close();
  fLevel = level;
  fFileName = name;
  fMode = mode;
  if (!isClosed || fFileName.empty()) return false;
  fpStream.reset(OpenImp(fFileName, fMode, ConvertToZlibLevel(fLevel)));
  if (!fpStream) return false;
  // Small reads take half without the stream's own lock; one thread at a time uses this object. A
  // stream to write keeps it, since fflush(nullptr) in any thread of the host flushes it too.
  if (fMode == IOModeRead) __fsetlocking(fpStream.get(), FSETLOCKING_BYCALLER);
  return true;
}

int IOBinFile::Read(char* data, int length) {
  // Reading a stream to write would leave its error mark, which Close heeds.
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

// What fclose returns tells only of its own flush. One before it, be it the host's fflush(nullptr)
// in another thread, may have failed and left nothing but the stream's error mark.
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
