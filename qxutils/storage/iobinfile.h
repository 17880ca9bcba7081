// SPDX-FileCopyrightText: The qxutils authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QXUTILS_STORAGE_IOBINFILE_H
#define QXUTILS_STORAGE_IOBINFILE_H

#include <cstdio>
#include <memory>
#include <string>

#include "qxutils/export.h"
#include "qxutils/host/environmentsettings.h"
#include "qxutils/storage/iobinfilewriter.h"

namespace qxg_800 {

/// A file of bytes on disk, open for reading or for writing through a buffered stream.
///
/// May be opened, closed and opened again, under the same name or another. Nothing is ever
/// compressed. Failure is reported by the result alone. Nothing is thrown but std::bad_alloc.
///
/// Used by one thread at a time. Other threads may call fflush(nullptr) meanwhile.
///
/// A child made by fork shares the open file and has a copy of the buffered bytes. Let it start
/// another program or end with _exit. With exit it would write the copy into the file. In a file
/// that is read, exit would move the place from which the parent reads on.
///
/// Field order is part of the binary interface.
class QXUTILS_EXPORT IOBinFile : public IOBinFileWriter {
 public:
  /// How Open opens a file. Any value but IOModeRead opens for writing.
  enum IOModeFile : int {
    IOModeRead = 0,   ///< The file must exist.
    IOModeWrite = 1,  ///< The file is created, or truncated to length 0.
  };

  /// Makes a closed file. `settings` must outlive it.
  explicit IOBinFile(const Arbex_800::EnvironmentSettings& settings);

  /// Closes the stream. A failure is not reported, so call Close where the bytes matter.
  ~IOBinFile() override;

  IOBinFile(const IOBinFile&) = delete;
  IOBinFile& operator=(const IOBinFile&) = delete;

  /// Opens the file `name`. Keeps the name even when that fails. The level is not used. The
  /// descriptor is close-on-exec and never 0 to 2.
  ///
  /// A stream that is still open is closed first, as by Close. If that returns false, Open returns
  /// false and opens nothing.
  ///
  /// Returns false, with the object closed, when the name is empty or the file can't be opened. In
  /// the latter case errno is that of the system.
  ///
  /// When std::bad_alloc is thrown, nothing has changed.
  bool Open(const std::string& name, IOModeFile mode,
            Arbex_800::EnvironmentSettings::CompressionLevel level);

  /// Reads up to `length` bytes into `data` and returns the number read. It is smaller at the end
  /// of the file or after an error. It is 0 when the file is not open for reading, `data` is null
  /// or `length` is negative.
  int Read(char* data, int length);

  /// Writes `length` bytes and returns the number written. A smaller number is a failure. It is 0
  /// when the file is not open for writing, `data` is null or `length` is negative.
  ///
  /// Bytes are buffered. Only Close reports whether all of them were written.
  int Write(const char* data, int length) override;

  /// Moves to a byte position counted from the start of the file, which may lie after its end.
  /// Returns false when no stream is open, the position is negative, the system can't move there,
  /// or buffered bytes can't be written.
  bool Seek(long position);

  /// Closes the stream. Returns true when no stream is open, so it may be called again.
  ///
  /// Returns false when the stream can't be closed, or when any write to it has failed since Open.
  /// That may be an earlier Write with a short count. It may also be bytes that Write accepted and
  /// that another thread's fflush(nullptr) could not write. The stream is released all the same.
  ///
  /// Nothing is forced to the disk (no fsync).
  bool Close() override;

  /// Does nothing. The file stays on disk and an open stream stays open. Whoever created a
  /// temporary file removes it by name.
  void Remove();

  /// Returns the name of the last Open or SetFileName, empty before the first. The reference is
  /// valid until the object is destroyed, the text until the name changes.
  const std::string& GetFileName() const;

  /// Changes what GetFileName returns, and nothing else.
  void SetFileName(const std::string& name);

 private:
  struct CloseStream {
    void operator()(std::FILE* stream) const { std::fclose(stream); }
  };

  IOModeFile fMode = IOModeRead;                     // of the last Open
  std::unique_ptr<std::FILE, CloseStream> fpStream;  // null while closed
  std::string fFileName;
  Arbex_800::EnvironmentSettings::CompressionLevel fLevel{};  // of the last Open
  QXUTILS_UNUSED const Arbex_800::EnvironmentSettings& fSettings;
};

}  // namespace qxg_800

#endif
