// SPDX-FileCopyrightText: The qxutils authors
// SPDX-License-Identifier: Apache-2.0

#include "qxutils/iterators/binfileiterator.h"

#include <cstddef>
#include <limits>

#include "qxutils/iterators/iteratorstatus.h"
#include "qxutils/storage/iobinfile.h"
#include "qxutils/storage/tempfilestorage.h"
#include "qxutils/storage/tempfilestoragemgr.h"

namespace qxg_800 {
namespace {

using Arbex_800::EnvironmentSettings;
using Record = Arbex_800::TRecord<double>;

constexpr int kDoubleBytes = sizeof(double);

bool CanRead(int recordLength) {
  return recordLength >= 1 && recordLength <= std::numeric_limits<int>::max() / kDoubleBytes;
}

std::unique_ptr<TempFileStorage> NewStorage(const EnvironmentSettings& settings, int sequenceId) {
  TempFileStorageMgr& manager = TempFileStorageMgr::instance();
  return std::unique_ptr<TempFileStorage>(
      sequenceId == -1 ? manager.getObject(settings) : manager.getObject(settings, sequenceId));
}

}  // namespace

static_assert(sizeof(Record) == 16 && offsetof(Record, size) == 8 &&
                  offsetof(Record, ownsData) == 12,
              "the host library's record has this layout");

BinFileIterator::BinFileIterator(TempFileStorage* storage, int recordLength)
    : fpStorage(storage),
      fRecordLength(recordLength),
      fFailReason(kNoStorage),
      fReadable(CanRead(recordLength)) {
  Init();
}

BinFileIterator::BinFileIterator(const char* name, int recordLength,
                                 const EnvironmentSettings& settings, int sequenceId)
    : fRecordLength(recordLength), fFailReason(kNoStorage), fReadable(CanRead(recordLength)) {
  std::unique_ptr<TempFileStorage> storage = NewStorage(settings, sequenceId);
  if (!storage) return;
  const auto level = settings.GetCompressionLevel();
  if (!storage->Open(name ? name : "", IOBinFile::IOModeRead, level)) fReadable = false;
  fpStorage = storage.get();
  Init();
  (void)storage.release();  // this object's from here on
  fOwnsStorage = true;
}

BinFileIterator::~BinFileIterator() {
  fpRecord.reset();
  if (!fOwnsStorage) return;
  const std::unique_ptr<TempFileStorage> storage(fpStorage);
  try {
    storage->Close();
  } catch (...) {  // an engine's own failure: nothing is lost by what was only read
  }
}

int BinFileIterator::HasMore() const {
  if (fFailReason != kReady) return fFailReason;
  if (!fReadable) return fFailReason = kEndOfData;
  const int bytes = fRecordLength * kDoubleBytes;
  const int count = fpStorage->Read(reinterpret_cast<char*>(fpRecord->data), bytes);
  if (count != bytes) fFailReason = kEndOfData;
  return fFailReason;
}

Record* BinFileIterator::Next() { return fFailReason == kReady ? fpRecord.get() : nullptr; }

int BinFileIterator::GetFailReason() const { return fFailReason; }

void BinFileIterator::CancelIteration() { fFailReason = kCancelled; }

void BinFileIterator::Init() {
  if (!fpStorage) return;
  fpRecord = std::make_unique<Record>(CanRead(fRecordLength) ? fRecordLength : 0);
  fFailReason = kReady;
}

}  // namespace qxg_800
