#ifndef QXUTILS_STORAGE_IOBINFILEWRITER_H
#define QXUTILS_STORAGE_IOBINFILEWRITER_H

#include "qxutils/export.h"

// A sink of bytes: something that can be written to and closed.
//
// The order of the virtual operations is part of the binary interface.
class QXUTILS_EXPORT IOBinFileWriter {
 public:
  IOBinFileWriter() = default;
  virtual ~IOBinFileWriter();
  IOBinFileWriter(const IOBinFileWriter&) = delete;
  IOBinFileWriter& operator=(const IOBinFileWriter&) = delete;

  // Takes `length` bytes from `data` and gives the number taken; anything but `length` is a
  // failure.
  virtual int Write(const char* data, int length) = 0;

  // Ends writing. True on success; false can mean that bytes taken before were lost.
  virtual bool Close() = 0;
};

#endif
