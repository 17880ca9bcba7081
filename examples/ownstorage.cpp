// SPDX-FileCopyrightText: The qxutils authors
// SPDX-License-Identifier: Apache-2.0

// A view set in a storage of the engine's own. No file is created on disk.
#include <cstdio>
#include <exception>
#include <memory>
#include <stdexcept>
#include <vector>

#include "examples/memorystorage.h"
#include "examples/viewset.h"
#include "qxutils/iterators/binfileiterator.h"

namespace {

// The settings with the prototype and the registry, whose entries the engine deletes.
struct Storages {
  Storages() {
    settings.storagePrototype = &prototype;
    settings.storageRegistry = &registry;
  }
  ~Storages() {
    for (const TempFileStorage* clone : registry) delete clone;
  }
  Storages(const Storages&) = delete;
  Storages& operator=(const Storages&) = delete;

  // Gives the data free. The entry stays as null, so that other sequence ids stay right.
  void Drop(int id) {
    TempFileStorage*& entry = registry.at(static_cast<std::size_t>(id));
    delete entry;
    entry = nullptr;
  }

  examples::MemoryStorage prototype;
  std::vector<TempFileStorage*> registry;
  Arbex_800::EnvironmentSettings settings{"memory"};
};

void Require(bool success, const char* otherwise) {
  if (!success) throw std::runtime_error(otherwise);
}

// Writes the squares of 0 to 999 and returns the sequence id under which they are found again.
int WriteSquares(const Arbex_800::EnvironmentSettings& settings) {
  constexpr int kItemBytes = sizeof(double);
  examples::ViewSet set(1 << 10, {{kItemBytes, 0}}, settings);
  for (int i = 0; i < 1000; ++i) {
    const double item = 1.0 * i * i;
    const int taken = set.Write(0, reinterpret_cast<const char*>(&item), kItemBytes);
    Require(taken == kItemBytes, "an item was refused");
  }
  Require(set.Close(0), "the view was closed before");
  const std::unique_ptr<TempFileStorage> file(set.manager.GetFile(0));
  return file->GetSeqId();  // the registry's clone still reaches the data
}

}  // namespace

int main() try {
  Storages storages;
  const int id = WriteSquares(storages.settings);
  double sum = 0;
  {
    qxg_800::BinFileIterator records("any name", 1, storages.settings, id);
    while (records.HasMore() == 0) sum += records.Next()->data[0];
  }
  storages.Drop(id);
  std::printf("storage %d of %zu, sum %.0f\n", id, storages.registry.size(), sum);
} catch (const std::exception& error) {
  std::fprintf(stderr, "%s\n", error.what());
  return 1;
}
