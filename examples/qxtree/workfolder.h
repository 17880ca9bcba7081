#ifndef QXTREE_WORKFOLDER_H
#define QXTREE_WORKFOLDER_H

#include <string>

#include "qxutils/host/environmentsettings.h"

namespace qxtree {

// A folder of the program's own for all its temporary files, removed whole with this object. So
// nothing stays behind whatever fails, not even the shared file of a view set that was given up.
//
// Outlives all that has files in it or uses its settings.
class WorkFolder {
 public:
  // Makes the folder under `temp`, for its owner alone. Throws std::runtime_error that names
  // `temp` when that can't be.
  explicit WorkFolder(const std::string& temp);

  // Removes the folder, if Remove did not; failing to goes unreported.
  ~WorkFolder();

  WorkFolder(const WorkFolder&) = delete;
  WorkFolder& operator=(const WorkFolder&) = delete;

  // Settings with this folder as the temporary one.
  const Arbex_800::EnvironmentSettings& Settings() const;

  // Descriptors of this process that are open on something in the folder, as the kernel has them.
  long CountOpenFiles() const;

  // Throws std::filesystem::filesystem_error.
  void Remove();

 private:
  const Arbex_800::EnvironmentSettings fSettings;  // the folder: an absolute path without links
  bool fRemoved = false;                           // its name is free for others then
};

}  // namespace qxtree

#endif
