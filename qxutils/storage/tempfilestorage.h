#ifndef QXUTILS_STORAGE_TEMPFILESTORAGE_H
#define QXUTILS_STORAGE_TEMPFILESTORAGE_H

#include <string>

#include "qxutils/export.h"
#include "qxutils/host/environmentsettings.h"

// The storage interface: all temporary data of the library passes through it.
//
// An engine may derive a class of its own and put an object of it into the settings (see
// TempFileStorageMgr). Every operation has a default, so a class overrides only what it supports;
// what each default gives stands in brackets. A storage is used by one thread at a time.
//
// For the author of such a class. A view set uses a storage in the order Open with mode 1, Write,
// Close; Open with mode 0, Seek and Read, Close; lengths may be 0. A clone for the registry is made
// before its original is opened, so it must reach data that is written later. Read before an Open
// that succeeded must come up short. An exception passes through the library to its caller.
//
// The order of the virtual operations is part of the binary interface.
class QXUTILS_EXPORT TempFileStorage {
 public:
  TempFileStorage() = default;
  virtual ~TempFileStorage();

  // Makes the storage ready under `name`; `mode` 0 reads, any other value writes (the values of
  // IOBinFile::IOModeFile). True when it is ready. [true]
  virtual bool Open(const std::string& name, int mode,
                    Arbex_800::EnvironmentSettings::CompressionLevel level);

  // Moves up to `length` bytes into `data` and gives the number moved; a short count is the end of
  // the data or a failure. [0]
  virtual int Read(char* data, int length);

  // Moves `length` bytes from `data` and gives the number moved; a short count is a failure. [0]
  virtual int Write(const char* data, int length);

  // Moves to a byte position counted from the start. True on success. [true]
  virtual bool Seek(long position);

  // Ends the present use; the storage may be opened again. True on success; false after writing can
  // mean that bytes written before were lost. [true]
  virtual bool Close();

  // Never called by the library. [nothing]
  virtual void Remove();

  // The storage's name; the reference is valid until the name changes or the storage is destroyed.
  // [a text "abc" that lives as long as the program]
  virtual const std::string& GetFileName() const;

  // Sets the storage's name. [nothing]
  virtual void SetFileName(const std::string& name);

  // The storage's sequence id: its index in the settings' registry of clones, -1 for none. [-1]
  virtual int GetSeqId() const;

  // Sets the sequence id. [nothing]
  virtual void SetSeqId(const int& id);

  // A new storage that reaches the same stored data, so that what is written through one can be
  // read through the other; the caller owns it. [null]
  virtual TempFileStorage* Clone();

  // Hooks for the engine's own classes; never called by the library. [null, true, null]
  virtual void* GetFileHandle();
  virtual bool RestHandle();
  virtual void* GetContextHand();

  // A new storage for a new temporary file, asked of the prototype; the caller owns it. [null]
  virtual TempFileStorage* GetNewObj();

 protected:
  // For the Clone of a derived class.
  TempFileStorage(const TempFileStorage&) = default;
  TempFileStorage& operator=(const TempFileStorage&) = default;
};

#endif
