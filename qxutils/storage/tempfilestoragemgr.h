// SPDX-FileCopyrightText: The qxutils authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QXUTILS_STORAGE_TEMPFILESTORAGEMGR_H
#define QXUTILS_STORAGE_TEMPFILESTORAGEMGR_H

#include "qxutils/export.h"
#include "qxutils/host/environmentsettings.h"
#include "qxutils/storage/tempfilestorage.h"

namespace qxg_800 {
class QxViewBuffer;
class QxViewSetManager;
}  // namespace qxg_800

/// The one place where storages come from: the library's own, or those of the engine's prototype.
///
/// Without a storagePrototype in the settings, a new storage is a NimbTempFileStorage over a file.
/// With one it comes from the prototype, and a clone of it is kept in the settings'
/// storageRegistry. Through the clone the stored data can be reached again by sequence id.
///
/// The caller owns every storage that getObject returns. Nothing is thrown but std::bad_alloc and
/// what the engine's own classes throw.
///
/// Any thread may call the manager, which has no state. Threads that share settings with a
/// prototype call getObject one at a time, since it appends to their registry.
class QXUTILS_EXPORT TempFileStorageMgr {
 public:
  TempFileStorageMgr(const TempFileStorageMgr&) = delete;
  TempFileStorageMgr& operator=(const TempFileStorageMgr&) = delete;

  /// Returns the only manager, which lives as long as the program.
  static TempFileStorageMgr& instance();

  /// Returns a new, closed storage for a new temporary file.
  ///
  /// With a prototype it is the result of GetNewObj(), with the registry's number of entries as
  /// sequence id. Its Clone() is appended to the registry and belongs to the engine. Returns null,
  /// with the registry unchanged, when there is no registry or when GetNewObj() or Clone() returns
  /// null.
  TempFileStorage* getObject(const Arbex_800::EnvironmentSettings& settings);

  /// Returns a new storage over the data of the storage with the sequence id `id`. It is the
  /// Clone() of entry `id` in the registry. Null when there is no registry or no such entry, when
  /// the entry is null, or when Clone() returns null.
  TempFileStorage* getObject(const Arbex_800::EnvironmentSettings& settings, int id);

  /// Returns a new storage that writes one view. Manager and buffer must outlive it. With a null
  /// buffer every Write returns -1.
  ///
  /// REQUIRES: `buffer` is null or what the manager's GetViewBuffer returned for `view` (not
  /// checked).
  TempFileStorage* getObject(int view, qxg_800::QxViewSetManager& manager,
                             qxg_800::QxViewBuffer* buffer);

 private:
  constexpr TempFileStorageMgr() = default;

  QXUTILS_LOCAL static TempFileStorageMgr singleton_;
};

#endif
