// SPDX-FileCopyrightText: The qxutils authors
// SPDX-License-Identifier: Apache-2.0

#include "examples/workfolder.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <system_error>
#include <utility>

#include "qxutils/platform/platformspecs_unix.h"

namespace examples {
namespace {

namespace fs = std::filesystem;

constexpr const char* kLock = "lock";
constexpr int kFolder = O_PATH | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;
constexpr int kFile = O_RDWR | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC;

std::error_code Error(int number) { return {number, std::generic_category()}; }

// Closes at the end and leaves errno alone.
class Descriptor {
 public:
  explicit Descriptor(int number) : fNumber(number) {}
  ~Descriptor() {
    const int error = errno;
    if (fNumber >= 0) close(fNumber);
    errno = error;
  }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;

  int Get() const { return fNumber; }

 private:
  const int fNumber;  // -1: none
};

// Whether a folder was opened, and is the user's own; else with errno.
bool IsOwn(const Descriptor& folder) {
  struct stat status;
  if (folder.Get() < 0 || fstat(folder.Get(), &status) != 0) return false;
  errno = ENOENT;
  return status.st_uid == geteuid();
}

// Whether `file` is still what stands under `name` in `folder`; else with errno.
bool IsIn(const Descriptor& folder, const char* name, const Descriptor& file) {
  struct stat held, there;
  if (fstat(file.Get(), &held) != 0) return false;
  if (fstatat(folder.Get(), name, &there, AT_SYMLINK_NOFOLLOW) != 0) return false;
  errno = ENOENT;
  return held.st_dev == there.st_dev && held.st_ino == there.st_ino && S_ISREG(held.st_mode);
}

// Returns a descriptor that holds the lock of a folder, or -1 with errno. `create` is O_CREAT |
// O_EXCL for a new folder, else 0.
//
// The folder was opened before, as its name may lead elsewhere from one call to the next. Whoever
// holds the lock may remove the file between its opening and its locking here.
int TakeLock(const Descriptor& folder, int create) {
  const Descriptor file(openat(folder.Get(), kLock, kFile | create, S_IRUSR | S_IWUSR));
  if (file.Get() < 0) return -1;
  if (flock(file.Get(), LOCK_EX | LOCK_NB) != 0) {
    // Where files can't be locked, no sweep could remove the folder.
    if (create != 0 && errno != EWOULDBLOCK) unlinkat(folder.Get(), kLock, 0);
    return -1;
  }
  if (!IsIn(folder, kLock, file)) return -1;
  // The lock goes with the last descriptor. A daemon may still replace its descriptors 0 to 2.
  return fcntl(file.Get(), F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
}

int LockNewFolder(const std::string& path) {
  const Descriptor folder(open(path.c_str(), kFolder));
  // By way of ".", since fchmod does not take a descriptor of O_PATH.
  const bool isOurs = IsOwn(folder) && fchmodat(folder.Get(), ".", S_IRWXU, 0) == 0;
  return isOurs ? TakeLock(folder, O_CREAT | O_EXCL) : -1;
}

// Whether this error means that a sweep has taken a new folder away.
bool WasSwept(int error) {
  return error == ENOENT || error == ENOTDIR || error == EEXIST || error == EWOULDBLOCK;
}

// REQUIRES: the lock is held. So nobody else removes the folder, and its name leads nowhere else.
void RemoveLocked(const fs::path& path, std::error_code& error) {
  for (fs::directory_iterator at(path, error), end; !error && at != end;) {
    if (at->path().filename() != kLock) fs::remove_all(at->path(), error);  // follows no link
    if (!error) at.increment(error);
  }
  if (!error) fs::remove(path / kLock, error);
  // From here on a sweep may be faster, and a new folder may get the name.
  if (!error && rmdir(path.c_str()) != 0 && errno != ENOENT && errno != ENOTEMPTY)
    error = Error(errno);
}

// "qxd" and hexadecimal digits, as CreateTempSubDirectory names it.
bool IsNameOfFolder(const std::string& name) {
  return name.size() > 3 && name.compare(0, 3, "qxd") == 0 &&
         name.find_first_not_of("0123456789abcdef", 3) == std::string::npos;
}

bool Sweep(const fs::path& path) {
  const Descriptor folder(open(path.c_str(), kFolder));
  if (!IsOwn(folder)) return false;
  if (rmdir(path.c_str()) == 0) return true;
  const Descriptor lock(TakeLock(folder, 0));
  if (lock.Get() < 0) return false;
  std::error_code error;
  RemoveLocked(path, error);
  return !error;
}

void Require(bool success, const std::error_code& error, const std::string& what) {
  if (!success) throw std::system_error(error, what);
}

}  // namespace

WorkFolder::WorkFolder(const std::string& parent) {
  const std::string text = "cannot use '" + parent + "' for temporary files";
  std::error_code error;
  const std::string absolute = fs::canonical(fs::path(parent) / ".", error);  // a folder
  Require(!error, error, text);
  while (fLock < 0) {
    // CreateTempSubDirectory takes the working folder in place of one that can't be entered.
    Require(qxg_800::IsValidDirectory(absolute), Error(ENOENT), text);
    fPath = qxg_800::CreateTempSubDirectory(absolute);
    Require(!fPath.empty(), Error(errno), text);
    errno = ENOENT;
    if (fPath.front() == '/') fLock = LockNewFolder(fPath);
    error = Error(errno);
    if (fLock < 0) qxg_800::RemoveFolder(fPath);
    Require(fLock >= 0 || WasSwept(error.value()), error, text);
  }
}

WorkFolder::~WorkFolder() {
  std::error_code ignored;
  if (fLock >= 0) RemoveLocked(fPath, ignored);
  const Descriptor lock(fLock);
}

void WorkFolder::Remove() {
  const Descriptor lock(std::exchange(fLock, -1));
  std::error_code error;
  if (lock.Get() >= 0) RemoveLocked(fPath, error);
  Require(!error, error, "cannot remove '" + fPath + "'");
}

int SweepDeadFolders(const std::string& parent) {
  int count = 0;
  std::error_code error;
  for (fs::directory_iterator at(parent, error), end; !error && at != end; at.increment(error))
    count += IsNameOfFolder(at->path().filename()) && Sweep(at->path());
  return count;
}

}  // namespace examples
