#ifndef QXUTILS_STORAGE_TEMPFILESTORAGEMGR_H
#define QXUTILS_STORAGE_TEMPFILESTORAGEMGR_H

#include "qxutils/export.h"
#include "qxutils/host/environmentsettings.h"
#include "qxutils/storage/tempfilestorage.h"

namespace qxg_800 {
class QxViewBuffer;
class QxViewSetManager;
}  // namespace qxg_800

// The one place where storages come from: the library's own, or those of the engine's prototype.
//
// With a storagePrototype in the settings, a new storage is asked of the prototype and a clone of
// it is kept in the settings' storageRegistry, so that the stored data can be reached again by
// sequence id. Without one it is a NimbTempFileStorage over a file.
//
// Every storage that getObject gives is the caller's, who deletes it. Nothing is thrown but
// std::bad_alloc, and what the engine's own classes throw. The manager has no state; threads that
// share settings with a prototype call getObject one at a time, since it appends to their registry.
class QXUTILS_EXPORT TempFileStorageMgr {
 public:
  TempFileStorageMgr(const TempFileStorageMgr&) = delete;
  TempFileStorageMgr& operator=(const TempFileStorageMgr&) = delete;

  static TempFileStorageMgr& instance();

  // A new, closed storage for a new temporary file.
  //
  // With a prototype: its GetNewObj(), with the registry's number of entries as sequence id; its
  // Clone() is appended to the registry, and belongs to the engine. Null, with the registry as it
  // was, when the settings have no registry or when GetNewObj() or Clone() gives null.
  TempFileStorage* getObject(const Arbex_800::EnvironmentSettings& settings);

  // A new storage over the data of the storage with the sequence id `id`: the Clone() of its entry
  // in the registry. Null when there is no registry, no such entry, or the entry is empty.
  TempFileStorage* getObject(const Arbex_800::EnvironmentSettings& settings, int id);

  // A new storage over the view number `view` of `manager`; `buffer` is what the manager's
  // GetViewBuffer gives for it. Both must outlive the storage.
  TempFileStorage* getObject(int view, qxg_800::QxViewSetManager& manager,
                             qxg_800::QxViewBuffer* buffer);

 private:
  constexpr TempFileStorageMgr() = default;

  QXUTILS_LOCAL static TempFileStorageMgr singleton_;
};

#endif
