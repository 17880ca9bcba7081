// SPDX-FileCopyrightText: The qxutils authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QXUTILS_ITERATORS_BINFILEITERATOR_H
#define QXUTILS_ITERATORS_BINFILEITERATOR_H

#include <memory>

#include "qxutils/export.h"
#include "qxutils/host/aiterator.h"
#include "qxutils/host/environmentsettings.h"
#include "qxutils/host/trecord.h"

class TempFileStorage;

namespace qxg_800 {

/// Reads a file of records of doubles back, one record at a time.
///
/// Records lie in the file one after the other, with nothing before, between or after them. Each is
/// `recordLength` doubles in the machine's own byte order. Bytes at the end that make no whole
/// record are not returned.
///
/// While HasMore returns 0, Next returns the record:
///
///     while (iterator.HasMore() == 0) Use(*iterator.Next());
///
/// Each HasMore that returns 0 has read one record, so call it once per record. The iterator owns
/// the only record object, and each read overwrites its values. Copy what you keep.
///
/// The status, which HasMore and GetFailReason return:
/// - 0: a record is ready, or HasMore has not been called yet.
/// - 1: the data have ended or can't be read.
/// - 2: cancelled.
/// - 3: there is no storage.
///
/// The end of the data, a failed read and a failed open have the same status. Compare the number of
/// records with the number that was written.
///
/// Throws nothing of its own but std::bad_alloc. Not copyable. An iterator and its storage are used
/// by one thread at a time. A child made by fork must not end with exit: see IOBinFile.
///
/// Field order is part of the binary interface.
class QXUTILS_EXPORT BinFileIterator : public Arbex_800::ADoubleRecordIterator {
 public:
  /// Reads from `storage`, which stays the caller's and must outlive the iterator. With null the
  /// status is 3.
  ///
  /// REQUIRES: `storage` is open for reading and stands at a record's start, and nothing else moves
  /// it later (not checked).
  ///
  /// The recordLength * 8 bytes of the record are allocated and cleared here. A record length may
  /// be below 1, or too large to count its bytes in an int. Then the record has no values, and the
  /// first HasMore returns 1.
  BinFileIterator(TempFileStorage* storage, int recordLength);

  /// Opens the file `name` with a storage of its own. A null name counts as an empty one.
  /// `settings` must outlive the iterator. The destructor closes and deletes the storage. It does
  /// not remove the file.
  ///
  /// With `sequenceId` -1 the storage is a new one, and with a storagePrototype its clone is added
  /// to the registry. With any other id it is a clone of that entry in the settings' registry.
  ///
  /// When the file can't be opened, the first HasMore returns 1. When no storage is available, the
  /// status is 3.
  BinFileIterator(const char* name, int recordLength,
                  const Arbex_800::EnvironmentSettings& settings, int sequenceId);

  /// Closes and deletes a storage of the iterator's own. Leaves any other open. Never throws.
  ~BinFileIterator() override;

  BinFileIterator(const BinFileIterator&) = delete;
  BinFileIterator& operator=(const BinFileIterator&) = delete;

  /// Reads the next record if the status is 0, and returns the status.
  int HasMore() const override;

  /// Returns the record when the status is 0, else null. Reads nothing, so it may be called again.
  /// Before the first HasMore the record's values are 0.
  Arbex_800::TRecord<double>* Next() override;

  /// Returns the status. Reads nothing.
  int GetFailReason() const override;

  /// Ends the iteration: the status is 2 from here on, until Init.
  void CancelIteration();

  /// Makes a new record, all 0, and sets the status to 0, whatever it was. The record that Next
  /// returned before is deleted. Reading goes on where the storage stands. Does nothing without a
  /// storage. Called by the constructors.
  void Init();

 private:
  TempFileStorage* fpStorage = nullptr;  // null: none was given
  int fRecordLength;                     // doubles
  bool fOwnsStorage = false;             // true: closed and deleted at the end
  std::unique_ptr<Arbex_800::TRecord<double>> fpRecord;
  mutable int fFailReason;  // the status
  bool fReadable;           // false: the first HasMore returns 1 without reading
};

}  // namespace qxg_800

#endif
