// The settings object of the host tree library, as this library uses it.
//
// An engine that has the real host library puts that library's declaration in the place of this
// header (see the README, "With the real host library").
#ifndef QXUTILS_HOST_ENVIRONMENTSETTINGS_H
#define QXUTILS_HOST_ENVIRONMENTSETTINGS_H

#include <string>
#include <utility>
#include <vector>

#include "qxutils/export.h"

class TempFileStorage;

namespace Arbex_800 {

// Says where temporary files go and who stores them.
//
// Passed by constant reference and kept by reference by the objects that need it later: it must
// outlive every storage, view set and iterator made with it. Threads may share one object as long
// as nobody changes it; with a storagePrototype, see TempFileStorageMgr.
class QXUTILS_EXPORT EnvironmentSettings {
 public:
  // Passed on to every TempFileStorage::Open. The library's own storage compresses nothing,
  // whatever the level; any int may be cast to it.
  enum CompressionLevel : int {};

  // `tempDirectory`: the folder for temporary files; an empty text means the working folder.
  explicit EnvironmentSettings(std::string tempDirectory,
                               CompressionLevel level = CompressionLevel(0))
      : fTempDirectory(std::move(tempDirectory)), fCompressionLevel(level) {}

  const std::string& GetTempDirectory() const { return fTempDirectory; }
  CompressionLevel GetCompressionLevel() const { return fCompressionLevel; }

  // The engine's own storage object, from which new storages are made; owned by the engine. Null:
  // the library's default file storage is used.
  TempFileStorage* storagePrototype = nullptr;

  // The registry of clones: entry i is a clone of the storage whose sequence id is i. The vector
  // and its entries are owned by the engine. Needed only with a storagePrototype.
  std::vector<TempFileStorage*>* storageRegistry = nullptr;

 private:
  std::string fTempDirectory;
  CompressionLevel fCompressionLevel;
};

}  // namespace Arbex_800

#endif
