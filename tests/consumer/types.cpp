// SPDX-FileCopyrightText: The qxutils authors
// SPDX-License-Identifier: Apache-2.0

// Exceptions and casts between the library and a program, which have copies of the same type
// information.
#include <cstdio>
#include <exception>
#include <memory>

#include "qxutils/iterators/binencodercache.h"
#include "qxutils/iterators/binfileiterator.h"
#include "qxutils/platform/qxutilsexception.h"
#include "qxutils/storage/tempfilestorage.h"
#include "qxutils/viewset/qxviewsetmanager.h"

namespace {

template <class T>
bool IsA(Arbex_800::AIterator<Arbex_800::TRecord<double>>& iterator) {
  return dynamic_cast<T*>(&iterator) && dynamic_cast<Arbex_800::ADoubleRecordIterator*>(&iterator);
}

}  // namespace

int main() {
  qxg_800::BinEncoderCache cache;
  const std::unique_ptr<Arbex_800::ADoubleRecordIterator> values(cache.createIterator());
  TempFileStorage storage;
  qxg_800::BinFileIterator records(&storage, 1);
  if (!IsA<qxg_800::BinEncoderIterator>(*values) || !IsA<qxg_800::BinFileIterator>(records))
    return std::puts("an iterator is not told by its type");
  if (IsA<qxg_800::BinEncoderIterator>(records)) return std::puts("an iterator of another type");
  try {
    const Arbex_800::EnvironmentSettings settings("/dev/null");
    qxg_800::QxViewSetManager(1 << 20, {{8, 0}}, settings);
  } catch (const std::exception& error) {
    return dynamic_cast<const qxg_800::QxUtilsException*>(&error) ? 0 : std::puts(error.what());
  }
  return std::puts("nothing was thrown");
}
