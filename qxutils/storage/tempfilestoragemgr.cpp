// SPDX-FileCopyrightText: The qxutils authors
// SPDX-License-Identifier: Apache-2.0

#include "qxutils/storage/tempfilestoragemgr.h"

#include <cstddef>
#include <memory>
#include <vector>

#include "qxutils/storage/defaulttempfilestorage.h"

namespace {

using Arbex_800::EnvironmentSettings;

TempFileStorage* NewFromPrototype(TempFileStorage& prototype,
                                  std::vector<TempFileStorage*>& registry) {
  std::unique_ptr<TempFileStorage> storage(prototype.GetNewObj());
  if (!storage) return nullptr;
  storage->SetSeqId(static_cast<int>(registry.size()));
  std::unique_ptr<TempFileStorage> clone(storage->Clone());
  if (!clone) return nullptr;
  registry.push_back(clone.get());
  (void)clone.release();  // the registry's from here on
  return storage.release();
}

}  // namespace

TempFileStorageMgr TempFileStorageMgr::singleton_;

TempFileStorageMgr& TempFileStorageMgr::instance() { return singleton_; }

TempFileStorage* TempFileStorageMgr::getObject(const EnvironmentSettings& settings) {
  if (!settings.storagePrototype) return new qxg_800::NimbTempFileStorage(settings);
  if (!settings.storageRegistry) return nullptr;
  return NewFromPrototype(*settings.storagePrototype, *settings.storageRegistry);
}

TempFileStorage* TempFileStorageMgr::getObject(const EnvironmentSettings& settings, int id) {
  const std::vector<TempFileStorage*>* registry = settings.storageRegistry;
  if (!registry || id < 0 || static_cast<std::size_t>(id) >= registry->size()) return nullptr;
  TempFileStorage* entry = (*registry)[static_cast<std::size_t>(id)];
  return entry ? entry->Clone() : nullptr;
}

TempFileStorage* TempFileStorageMgr::getObject(int view, qxg_800::QxViewSetManager& manager,
                                               qxg_800::QxViewBuffer* buffer) {
  return new qxg_800::NimbTempFileStorage(view, manager, buffer);
}
