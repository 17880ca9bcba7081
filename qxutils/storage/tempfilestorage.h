// SPDX-FileCopyrightText: The qxutils authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QXUTILS_STORAGE_TEMPFILESTORAGE_H
#define QXUTILS_STORAGE_TEMPFILESTORAGE_H

#include <string>

#include "qxutils/export.h"
#include "qxutils/host/environmentsettings.h"

/// The storage interface: all temporary data of the library passes through it.
///
/// An engine may derive a class of its own and put an object of it into the settings. See
/// TempFileStorageMgr. Every operation has a default, so a class overrides only what it supports.
/// The result of each default stands in brackets. A storage is used by one thread at a time.
///
/// For the author of such a class:
/// - A view set calls Open with mode 1, Write and Close. For its shared file it then calls Open
///   with mode 0, Seek, Read and Close. Lengths may be 0.
/// - A clone for the registry is made before its original is opened. So it must reach data that is
///   written later.
/// - Until an Open has succeeded, Read must return a short count.
/// - An exception passes through the library to its caller. Only the destructor of BinFileIterator
///   drops what Close throws. A destructor must not throw.
///
/// The order of the virtual operations is part of the binary interface.
class QXUTILS_EXPORT TempFileStorage {
 public:
  /// Makes a storage that holds nothing.
  TempFileStorage() = default;

  /// Must not throw in a derived class. The library calls Close before where the bytes matter.
  virtual ~TempFileStorage();

  /// Makes the storage ready under `name` and returns true when it is. `mode` is a value of
  /// IOBinFile::IOModeFile: 0 reads, any other value writes. `level` is that of the settings, for
  /// the class to use as it likes. [true]
  virtual bool Open(const std::string& name, int mode,
                    Arbex_800::EnvironmentSettings::CompressionLevel level);

  /// Copies up to `length` bytes into `data` and returns the number copied. A short count is the
  /// end of the data or a failure. [0]
  virtual int Read(char* data, int length);

  /// Takes `length` bytes from `data` and returns the number taken. Any other number than `length`
  /// is a failure. [0]
  virtual int Write(const char* data, int length);

  /// Moves to a byte position counted from the start. Returns true on success. [true]
  virtual bool Seek(long position);

  /// Ends the present use. The storage may be opened again. Returns true on success. After writing,
  /// false means that bytes may be lost, even ones that an earlier Write took. [true]
  virtual bool Close();

  /// Never called by the library. [does nothing]
  virtual void Remove();

  /// Returns the storage's name. The reference is valid until the name changes or the storage is
  /// destroyed. [a text "abc" that lives as long as the program]
  virtual const std::string& GetFileName() const;

  /// Sets the storage's name. [does nothing]
  virtual void SetFileName(const std::string& name);

  /// Returns the storage's sequence id: its index in the settings' registry of clones, or -1 when
  /// it has none. [-1]
  virtual int GetSeqId() const;

  /// Sets the sequence id. [does nothing]
  virtual void SetSeqId(const int& id);

  /// Returns a new storage that reaches the same stored data. What is written through one can be
  /// read through the other. The caller owns it. [null]
  virtual TempFileStorage* Clone();

  /// A hook for the engine's own classes, never called by the library. [null]
  virtual void* GetFileHandle();

  /// A hook for the engine's own classes, never called by the library. [true]
  virtual bool RestHandle();

  /// A hook for the engine's own classes, never called by the library. [null]
  virtual void* GetContextHand();

  /// Returns a new storage for a new temporary file. Called on the prototype. The caller owns the
  /// result. [null]
  virtual TempFileStorage* GetNewObj();

 protected:
  /// For the Clone of a derived class.
  TempFileStorage(const TempFileStorage&) = default;

  /// For a derived class that can be assigned to.
  TempFileStorage& operator=(const TempFileStorage&) = default;
};

#endif
