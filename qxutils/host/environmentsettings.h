// SPDX-FileCopyrightText: The qxutils authors
// SPDX-License-Identifier: Apache-2.0

/// @file
/// The settings object of the host tree library, as this library uses it.
///
/// An engine that has the real host library uses that library's declaration in place of this
/// header. See the README, "With the real host library".
#ifndef QXUTILS_HOST_ENVIRONMENTSETTINGS_H
#define QXUTILS_HOST_ENVIRONMENTSETTINGS_H

#include <string>
#include <utility>
#include <vector>

#include "qxutils/export.h"

class TempFileStorage;

/// What belongs to the engine's host tree library.
namespace Arbex_800 {

/// Says where temporary files go and who stores them.
///
/// Storages, view sets and iterators keep a reference to it, so it must outlive them. Threads may
/// share one object as long as nobody changes it. With a storagePrototype more is asked of them:
/// see TempFileStorageMgr.
class QXUTILS_EXPORT EnvironmentSettings {
 public:
  /// Passed on to every TempFileStorage::Open. The library's own storage compresses nothing,
  /// whatever the level. Any int may be cast to it.
  enum CompressionLevel : int {};

  /// Makes settings without a storagePrototype. `tempDirectory` is the folder for temporary files.
  /// An empty text means the working folder. Throws std::bad_alloc.
  explicit EnvironmentSettings(std::string tempDirectory,
                               CompressionLevel level = CompressionLevel(0))
      : fTempDirectory(std::move(tempDirectory)), fCompressionLevel(level) {}

  /// Returns the folder as it was given, empty for the working folder. The reference is valid as
  /// long as this object lives.
  const std::string& GetTempDirectory() const { return fTempDirectory; }

  /// Returns the level as it was given.
  CompressionLevel GetCompressionLevel() const { return fCompressionLevel; }

  /// The engine's own storage object, from which new storages are made. The engine owns it. With
  /// null the library's own file storage is used.
  TempFileStorage* storagePrototype = nullptr;

  /// The registry of clones: entry i is a clone of the storage whose sequence id is i. The engine
  /// owns the vector and its entries. Needed only with a storagePrototype.
  std::vector<TempFileStorage*>* storageRegistry = nullptr;

 private:
  std::string fTempDirectory;
  CompressionLevel fCompressionLevel;
};

}  // namespace Arbex_800

#endif
