// SPDX-FileCopyrightText: The qxutils authors
// SPDX-License-Identifier: Apache-2.0

// A folder for the temporary files of a run, and a sweep that removes those of killed runs.
//
// A killed run can't remove its files. So it works in a folder of its own and holds a lock on the
// file `lock` in it. The system releases the lock with the process, whatever ends that. The rule:
//
// - Whoever makes a folder creates `lock` in it, exclusively, and locks it (flock). Where the
//   folder or its `lock` is gone then, or locked, a sweep was faster: make another folder.
// - Only the holder of the lock removes what is in the folder, `lock` last, then the folder.
// - A sweep removes an empty folder. It may be a new one; its maker then makes another. Of every
//   other folder it tries the lock without waiting. If it gets the lock, nobody lives there, and it
//   removes the folder. A folder without `lock`, or with one that is held, is left alone.
//
// Neither times nor process ids are compared. So it does not matter that a run takes days, that a
// clock is wrong, or that a process id is used again. Everybody who makes folders of these names in
// the same parent has to follow the rule. There nobody else may rename or remove them: the parent
// is the user's own or has the sticky bit, as /tmp has.
//
// A child made by fork shares the lock: the folder lives until both have ended. Let the child end
// with _exit, since exit may destroy its copy of the object and so remove the folder. A child that
// starts another program has no part in the lock; that program must not outlive the owner here.
//
// NFS: flock there is a lock on the server. A mount with `nolock` or `local_lock` keeps it on one
// machine, and a server that restarts may lose it. A sweep then removes live folders. So use a
// local disk.
#ifndef QXUTILS_EXAMPLES_WORKFOLDER_H
#define QXUTILS_EXAMPLES_WORKFOLDER_H

#include <string>

namespace examples {

// Makes a folder and removes it, with all that is in it, when destroyed.
class WorkFolder {
 public:
  // Makes it in `parent`, for the user alone. Throws std::system_error that names `parent`.
  explicit WorkFolder(const std::string& parent);
  ~WorkFolder();
  WorkFolder(const WorkFolder&) = delete;
  WorkFolder& operator=(const WorkFolder&) = delete;

  // Removes it now. Throws std::system_error, where the destructor reports nothing; what stays is
  // left to a sweep.
  void Remove();

  // An absolute path without links.
  const std::string& Path() const { return fPath; }

 private:
  std::string fPath;
  int fLock = -1;  // the descriptor that holds the lock; -1 when removed
};

// Removes the folders in `parent` that killed runs of this user have left, and returns how many.
// What can't be removed is left to the next sweep. Call it when a run starts; any number of
// processes and threads may do so at once.
int SweepDeadFolders(const std::string& parent);

}  // namespace examples

#endif
