// SPDX-FileCopyrightText: The qxutils authors
// SPDX-License-Identifier: Apache-2.0

#include "qxutils/platform/tempfile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <memory>
#include <new>

#include "qxutils/platform/descriptors.h"
#include "qxutils/platform/platformspecs_internal.h"

namespace qxg_800 {
namespace {

constexpr mode_t kPrivateFileMode = 0600;

FileId IdOf(const struct stat& status) { return {status.st_dev, status.st_ino}; }

bool AreSame(const FileId& a, const FileId& b) {
  return a.device == b.device && a.inode == b.inode;
}

bool LeadsTo(const std::string& path, const struct stat& status) {
  struct stat other;
  return stat(path.c_str(), &other) == 0 && AreSame(IdOf(other), IdOf(status));
}

// Notes which file was created, and closes it. Returns false, with errno set, when that failed.
bool Settle(int descriptor, FileId& id) {
  struct stat status;
  const bool success = fstat(descriptor, &status) == 0;
  if (success) id = IdOf(status);
  // The umask may have taken rights from the owner, too. Where they can't be given back, opening
  // the file for writing fails.
  if (success && (status.st_mode & kPrivateFileMode) != kPrivateFileMode)
    (void)fchmod(descriptor, kPrivateFileMode);
  const int error = errno;
  close(descriptor);  // nothing was written
  errno = error;
  return success;
}

}  // namespace

std::string CreateTempFile(const char* folder, const char* prefix, const char* extension,
                           const std::string& taken, FileId& id) {
  return MakeUnderNewName(folder, prefix, extension, taken, [&id](const char* name) {
    constexpr int kNewFile = O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC;
    const int descriptor = OpenAboveStandard(name, kNewFile, kPrivateFileMode);
    if (descriptor < 0) return false;
    if (Settle(descriptor, id)) return true;
    const int error = errno;
    unlink(name);
    errno = error;
    return false;
  });
}

bool IsFile(const std::string& name, const FileId& id) {
  struct stat status;
  return lstat(name.c_str(), &status) == 0 && AreSame(IdOf(status), id);
}

bool FixFolder(std::string& folder) {
  if (!folder.empty() && folder.front() == '/') return true;
  const std::unique_ptr<char, decltype(&std::free)> working(getcwd(nullptr, 0), &std::free);
  if (!working) {
    if (errno == ENOMEM) throw std::bad_alloc();
    return errno != ENAMETOOLONG;
  }
  std::string absolute = working.get();
  absolute.append("/").append(folder);
  struct stat status;
  errno = 0;
  const bool exists = stat(folder.empty() ? "." : folder.c_str(), &status) == 0;
  if (!exists || LeadsTo(absolute, status)) {
    folder = std::move(absolute);
    return true;
  }
  return errno != ENAMETOOLONG;
}

}  // namespace qxg_800
