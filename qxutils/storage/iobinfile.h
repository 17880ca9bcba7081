#ifndef QXUTILS_STORAGE_IOBINFILE_H
#define QXUTILS_STORAGE_IOBINFILE_H

#include <cstdio>
#include <memory>
#include <string>

#include "qxutils/export.h"
#include "qxutils/host/environmentsettings.h"
#include "qxutils/storage/iobinfilewriter.h"

namespace qxg_800 {

// A file of bytes on disk, open for reading or for writing through a buffered stream.
//
// May be opened, closed and opened again, under the same name or another. Nothing is ever
// compressed. Failure is reported by results alone; nothing is thrown but std::bad_alloc. Used by
// one thread at a time; other threads may call fflush(nullptr) meanwhile.
//
// A child made by fork has a copy of the buffered bytes. Let it end with _exit or start another
// program: exit would write the copy into the file.
//
// Field order is part of the binary interface.
class QXUTILS_EXPORT IOBinFile : public IOBinFileWriter {
 public:
  // Any value but IOModeRead writes.
  enum IOModeFile : int {
    IOModeRead = 0,   // the file must exist
    IOModeWrite = 1,  // the file is created, or cut to length 0
  };

  // A closed file. `settings` must outlive it.
  explicit IOBinFile(const Arbex_800::EnvironmentSettings& settings);

  // Closes the stream; a failure to do so goes unreported, so call Close where the bytes matter.
  ~IOBinFile() override;

  IOBinFile(const IOBinFile&) = delete;
  IOBinFile& operator=(const IOBinFile&) = delete;

  // Opens the file `name` and keeps its name, whether that succeeds or not. The descriptor is
  // close-on-exec and never 0 to 2. A stream that is still open is closed first.
  //
  // False, with the object closed, when the name is empty, when the former stream could not be
  // closed (nothing is opened then), or when the file can't be opened, with errno from the system.
  bool Open(const std::string& name, IOModeFile mode,
            Arbex_800::EnvironmentSettings::CompressionLevel level);

  // Reads up to `length` bytes into `data` and gives the number read: fewer at the end of the file
  // or on an error; 0 when the file is not open for reading, `data` is null or `length` is
  // negative.
  int Read(char* data, int length);

  // Writes `length` bytes and gives the number written; 0 when the file is not open for writing,
  // `data` is null or `length` is negative. Bytes are buffered: only Close reports whether all of
  // them were written.
  int Write(const char* data, int length) override;

  // Moves to a byte position counted from the start of the file. False when no stream is open, the
  // position is negative, or bytes written before can't be written out. A position after the end is
  // fine.
  bool Seek(long position);

  // Closes the stream, if one is open. False when any write since Open failed, even one that Write
  // accepted and another thread flushed. The stream is released all the same. May be repeated.
  bool Close() override;

  // Does nothing: the file stays on disk, an open stream stays open. Whoever created a temporary
  // file removes it by name.
  void Remove();

  // The name of the last Open or SetFileName; valid until the name changes or the object is
  // destroyed.
  const std::string& GetFileName() const;

  // Changes what GetFileName gives, and nothing else.
  void SetFileName(const std::string& name);

 private:
  struct CloseStream {
    void operator()(std::FILE* stream) const { std::fclose(stream); }
  };

  IOModeFile fMode = IOModeRead;                     // of the last Open
  std::unique_ptr<std::FILE, CloseStream> fpStream;  // null while closed
  std::string fFileName;
  Arbex_800::EnvironmentSettings::CompressionLevel fLevel{};  // of the last Open
  [[maybe_unused]] const Arbex_800::EnvironmentSettings& fSettings;
};

}  // namespace qxg_800

#endif
