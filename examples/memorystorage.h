// SPDX-FileCopyrightText: The qxutils authors
// SPDX-License-Identifier: Apache-2.0

// A storage of an engine's own, for engines to copy and adapt: all temporary data stay in memory.
//
//   examples::MemoryStorage prototype;
//   std::vector<TempFileStorage*> registry;  // the engine deletes its entries at the end
//   settings.storagePrototype = &prototype;
//   settings.storageRegistry = &registry;
#ifndef QXUTILS_EXAMPLES_MEMORYSTORAGE_H
#define QXUTILS_EXAMPLES_MEMORYSTORAGE_H

#include <algorithm>
#include <cstddef>
#include <memory>
#include <string>

#include "qxutils/storage/tempfilestorage.h"

namespace examples {

// The name given to Open is kept and means nothing: data are found again through clones, which
// share them, by their sequence id. They live as long as one of the storages that reach them.
class MemoryStorage : public TempFileStorage {
 public:
  bool Open(const std::string& name, int mode,
            Arbex_800::EnvironmentSettings::CompressionLevel /*level*/) override {
    fName = name;
    fPosition = 0;
    fIsOpen = true;
    fIsWritten = mode != 0;
    if (fIsWritten) fBytes->clear();
    return true;
  }

  int Read(char* data, int length) override {
    if (!fIsOpen || fIsWritten || length <= 0 || fPosition >= fBytes->size()) return 0;
    const std::size_t count = fBytes->copy(data, static_cast<std::size_t>(length), fPosition);
    fPosition += count;
    return static_cast<int>(count);
  }

  int Write(const char* data, int length) override {
    if (!fIsOpen || !fIsWritten || length <= 0) return 0;
    const auto count = static_cast<std::size_t>(length);
    fBytes->resize(std::max(fBytes->size(), fPosition + count));
    std::copy_n(data, count, fBytes->begin() + static_cast<std::ptrdiff_t>(fPosition));
    fPosition += count;
    return length;
  }

  bool Seek(long position) override {
    if (!fIsOpen || position < 0) return false;
    fPosition = static_cast<std::size_t>(position);
    return true;
  }

  bool Close() override {
    fIsOpen = false;
    return true;
  }

  const std::string& GetFileName() const override { return fName; }
  void SetFileName(const std::string& name) override { fName = name; }
  int GetSeqId() const override { return fSeqId; }
  void SetSeqId(const int& id) override { fSeqId = id; }

  TempFileStorage* Clone() override {
    auto clone = std::make_unique<MemoryStorage>(*this);
    clone->fIsOpen = false;
    return clone.release();
  }

  TempFileStorage* GetNewObj() override { return std::make_unique<MemoryStorage>().release(); }

 private:
  std::shared_ptr<std::string> fBytes = std::make_shared<std::string>();
  std::string fName;
  std::size_t fPosition = 0;
  bool fIsOpen = false;
  bool fIsWritten = false;  // by the last Open
  int fSeqId = -1;
};

}  // namespace examples

#endif
