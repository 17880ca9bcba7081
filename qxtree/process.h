// SPDX-FileCopyrightText: The qxutils authors
// SPDX-License-Identifier: Apache-2.0

// What the program has to do with the process around it: signals, progress, the temporary folder.
#ifndef QXTREE_PROCESS_H
#define QXTREE_PROCESS_H

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <functional>
#include <iosfwd>
#include <string>
#include <string_view>

#include "examples/workfolder.h"
#include "qxutils/host/environmentsettings.h"

namespace qxtree {

// A signal asks the program to end. Not a std::exception: only main handles it.
struct Interrupted {};

// From here on every signal that can be caught and would end the process only leaves a mark, unless
// it is ignored.
void CatchSignals();

// Takes a SIGCONT of the parent for a SIGTERM, too. The daemon of Open MPI 4 sends it a second
// before that, and SIGKILL at once after.
void CatchEndOfJob();

// Ends the process by the signal that left the mark; returns when there is none.
void EndBySignal();

// Throws Interrupted when there is a mark, and what the watcher throws. Cheap.
void Poll();

// Writes all of the text to standard output or standard error. Throws std::system_error, and
// Interrupted when a signal is the reason.
void WriteTo(std::FILE* stream, std::string_view text);

// Replaces a file, or makes it. Until all is written, it is another one beside it, and what was
// there stays. Throws std::system_error.
void WriteFile(const std::string& path, const std::function<void(std::ostream&)>& write);

// How far a task has come, small enough to be sent.
struct Progress {
  int number = 0;     // of the task, from 1
  double share = -1;  // from 0 to 1, or negative when it is not known
  char task[24] = {};

  bool operator<(const Progress& other) const {
    return number != other.number ? number < other.number : share < other.share;
  }
};

// Looks after other processes of the same run.
class Watcher {
 public:
  // Called by Poll; may throw what ends this process, too.
  virtual void Watch() = 0;
  // Replaces this process's progress by that of the slowest one. False: another one shows it.
  virtual bool Slowest(Progress& progress) = 0;

 protected:
  ~Watcher() = default;
};

// Null: there are none. It must outlive its use.
void SetWatcher(Watcher* watcher);

// Shows on standard error how far a task has come, in place of the last progress. `share` as above.
// Does nothing where that is no terminal, or soon after the last time.
void ShowProgress(const char* task, double share);

// Shows the task that is done here, while this process waits for others.
void ShowWaiting();

// Takes the last progress away.
void ClearProgress();

// Whether progress is shown, by this process or the first one.
bool IsProgressShown();
void SetProgressShown(bool isShown);

// Writes "qxtree: " and the text in one line to standard error, after the last progress is gone.
void Complain(const std::string& text);

// The most memory, in KiB, that was resident.
long PeakMemory();

// `text` with blanks in the place of line ends and other control characters.
std::string OneLine(std::string text);

// The folder for all temporary files. It outlives their users, so nothing stays behind whatever
// fails, not even the shared file of a set given up early.
class TempFolder {
 public:
  // Makes it under `parent`, after a sweep. Throws std::system_error that names `parent`.
  explicit TempFolder(const std::string& parent);

  // Removes it now. Throws std::system_error, where the destructor reports nothing.
  void Remove() { fFolder.Remove(); }

  // Settings with this folder, an absolute path without links, as the temporary one.
  const Arbex_800::EnvironmentSettings& Settings() const { return fSettings; }

  // Looks up the sizes of all files that are there now, and returns their sum.
  std::size_t Measure();
  // Files of so many bytes were there at once. The greatest sum is kept.
  void Note(std::size_t bytes) { fMostBytes = std::max(fMostBytes, bytes); }
  std::size_t MostBytes() const { return fMostBytes; }

 private:
  examples::WorkFolder fFolder;
  const Arbex_800::EnvironmentSettings fSettings{fFolder.Path()};
  std::size_t fMostBytes = 0;
};

}  // namespace qxtree

#endif
