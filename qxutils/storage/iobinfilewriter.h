// SPDX-FileCopyrightText: The qxutils authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QXUTILS_STORAGE_IOBINFILEWRITER_H
#define QXUTILS_STORAGE_IOBINFILEWRITER_H

#include "qxutils/export.h"

/// A sink of bytes: something that can be written to and closed. Used by one thread at a time.
///
/// The order of the virtual operations is part of the binary interface.
class QXUTILS_EXPORT IOBinFileWriter {
 public:
  /// Makes a sink.
  IOBinFileWriter() = default;

  /// Ends the use of the sink. Call Close first where the bytes matter.
  virtual ~IOBinFileWriter();
  IOBinFileWriter(const IOBinFileWriter&) = delete;
  IOBinFileWriter& operator=(const IOBinFileWriter&) = delete;

  /// Takes `length` bytes from `data` and returns the number taken. Any other number than `length`
  /// is a failure.
  virtual int Write(const char* data, int length) = 0;

  /// Ends writing. Returns true on success. False can mean that bytes taken before are lost.
  virtual bool Close() = 0;
};

#endif
