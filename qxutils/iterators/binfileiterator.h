#ifndef QXUTILS_ITERATORS_BINFILEITERATOR_H
#define QXUTILS_ITERATORS_BINFILEITERATOR_H

#include <memory>

#include "qxutils/export.h"
#include "qxutils/host/aiterator.h"
#include "qxutils/host/environmentsettings.h"
#include "qxutils/host/trecord.h"

class TempFileStorage;

namespace qxg_800 {

// Reads a file of records of doubles back, one record at a time.
//
// The file: record after record, each `recordLength` doubles in the machine's own byte order, with
// nothing before, between or behind them; bytes at the end that make no whole record are not
// delivered.
//
// While HasMore gives 0, Next gives the record:
//
//   while (iterator.HasMore() == 0) Use(*iterator.Next());
//
// Each HasMore that gives 0 has read one record, so call it once per record. The one record object
// is the iterator's and its values are overwritten by each read: copy what you keep.
//
// Throws nothing of its own but std::bad_alloc. Not copyable. An iterator and its storage are used
// by one thread at a time, and nothing else may move the storage meanwhile.
//
// Field order is part of the binary interface.
class QXUTILS_EXPORT BinFileIterator : public Arbex_800::ADoubleRecordIterator {
 public:
  // What HasMore and GetFailReason give: 0, a record is ready (or none has been asked for yet); 1,
  // the data have ended or can't be read; 2, cancelled; 3, there is no storage.

  // Reads from `storage`, which stays the caller's and must outlive the iterator. With null the
  // status is 3. REQUIRES: it is open for reading and stands at a record's start (not checked).
  //
  // The recordLength * 8 bytes of the record are allocated and cleared here. A record length below
  // 1, or one whose bytes an int can't count, gives status 1 at the first HasMore, and a record
  // without values before it.
  BinFileIterator(TempFileStorage* storage, int recordLength);

  // Opens the file `name` (null counts as an empty name) with a storage of its own, which it closes
  // and deletes at the end; the file is not removed. With `sequenceId` -1 the storage is a new one
  // (with a storagePrototype this adds a clone to the registry), else a clone of the settings'
  // registry entry of that id. `settings` must outlive the iterator.
  //
  // A file that can't be opened gives status 1 at the first HasMore, a storage that can't be had 3.
  BinFileIterator(const char* name, int recordLength,
                  const Arbex_800::EnvironmentSettings& settings, int sequenceId);

  ~BinFileIterator() override;

  BinFileIterator(const BinFileIterator&) = delete;
  BinFileIterator& operator=(const BinFileIterator&) = delete;

  // Reads the next record, if the status is 0, and gives the status.
  int HasMore() const override;

  // The record when the status is 0, else null. Reads nothing, and may be called again. Before the
  // first HasMore the record's values are 0.
  Arbex_800::TRecord<double>* Next() override;

  // The status.
  int GetFailReason() const override;

  // Ends the iteration: the status is 2 from here on.
  void CancelIteration();

  // Makes a new record, all 0, and sets the status to 0, from any other; records given before are
  // gone. Reading goes on where the storage stands. Without a storage it does nothing. Called by
  // the constructors.
  void Init();

 private:
  TempFileStorage* fpStorage = nullptr;  // null: none was given
  int fRecordLength;                     // doubles
  bool fOwnsStorage = false;             // true: closed and deleted at the end
  std::unique_ptr<Arbex_800::TRecord<double>> fpRecord;
  mutable int fFailReason;  // the status
  bool fReadable;           // false: the first HasMore gives 1 without reading
};

}  // namespace qxg_800

#endif
