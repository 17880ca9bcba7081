// SPDX-FileCopyrightText: The qxutils authors
// SPDX-License-Identifier: Apache-2.0

#include "qxutils/platform/platformspecs_unix.h"

#include <fcntl.h>
#include <pthread.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>

#include "qxutils/platform/descriptors.h"
#include "qxutils/platform/platformspecs_internal.h"

namespace qxg_800 {
namespace {

// One POSIX mutex. It is initialised as a constant, so that a static initialiser of another library
// may make names already. It is destroyed at unload or exit.
class CMutex {
 public:
  constexpr CMutex() noexcept = default;
  ~CMutex() { pthread_mutex_destroy(&fMutex); }
  CMutex(const CMutex&) = delete;
  CMutex& operator=(const CMutex&) = delete;

  void Lock() { pthread_mutex_lock(&fMutex); }
  void Unlock() { pthread_mutex_unlock(&fMutex); }

 private:
  pthread_mutex_t fMutex = PTHREAD_MUTEX_INITIALIZER;
};

constexpr std::size_t kFolderBytes = 1024;
constexpr mode_t kTempFolderMode = 0774;
constexpr mode_t kPrivateFileMode = 0600;

CMutex gate;
int fnCounter = 0;  // guarded by gate; makes names unique in the process

// In a process that runs for years the int may wrap around. Printed as an unsigned number the
// counter just goes on.
void CountOn() { fnCounter = static_cast<int>(static_cast<unsigned>(fnCounter) + 1U); }

enum class Probe { kFree, kTaken, kUnknown };

// Uses lstat because opening hangs on a FIFO and does not see a dangling link. Without a free
// descriptor it also fails where a file stands.
Probe ProbeName(const std::string& name) {
  struct stat status;
  if (lstat(name.c_str(), &status) == 0) return Probe::kTaken;
  switch (errno) {
    case ENOENT:
    case ENOTDIR:
    case EACCES:  // of the folder: creating the file fails, too
    case ELOOP:
    case ENAMETOOLONG:
      return Probe::kFree;
    default:  // for instance a failing disk: a file may stand there
      return Probe::kUnknown;
  }
}

// The name that carries the present counter. REQUIRES: gate is held.
std::string NameNow(const char* folder, const char* prefix, const char* extension) {
  std::string name = folder ? folder : "";
  if (!name.empty() && name.back() != '/' && name.back() != '\\') name += '/';
  if (prefix) name += prefix;
  char numbers[2 * 8 + 1];  // two 32-bit numbers in hexadecimal
  std::snprintf(numbers, sizeof numbers, "%x%x", static_cast<unsigned>(getpid()),
                static_cast<unsigned>(fnCounter));
  name += numbers;
  if (extension) name.append(".").append(extension);
  return name;
}

}  // namespace

GateLock::GateLock() { gate.Lock(); }

GateLock::~GateLock() { gate.Unlock(); }

std::string GenerateTempName(const char* folder, const char* prefix, const char* extension) {
  constexpr int kMostUnknown = 1000;  // in a row: the system can't tell anything of this folder
  const GateLock lock;
  for (int unknown = 0;;) {
    std::string name = NameNow(folder, prefix, extension);
    const Probe probe = ProbeName(name);
    unknown = probe == Probe::kUnknown ? unknown + 1 : 0;
    if (probe == Probe::kFree || unknown > kMostUnknown) return name;
    CountOn();
  }
}

// No probe is needed: `make` itself fails with EEXIST where a name is taken.
std::string MakeUnderNewName(const char* folder, const char* prefix, const char* extension,
                             const std::string& taken,
                             const std::function<bool(const char* name)>& make) {
  for (;;) {
    std::string name;
    int counter = 0;
    {
      const GateLock lock;
      counter = fnCounter;
      name = NameNow(folder, prefix, extension);
    }
    if (name != taken) {
      if (make(name.c_str())) return name;
      if (errno != EEXIST) return std::string();
    }
    const GateLock lock;
    if (fnCounter == counter) CountOn();  // else another thread has done so
  }
}

std::string CreateTempSubDirectory(const std::string& parent) {
  const char* folder = IsValidDirectory(parent) ? parent.c_str() : nullptr;
  return MakeUnderNewName(folder, "qxd", nullptr, std::string(),
                          [](const char* name) { return mkdir(name, kTempFolderMode) == 0; });
}

// Looking up "." needs the right to enter the folder. The system checks it for the effective user.
bool IsValidDirectory(const std::string& path) {
  const GateLock lock;
  const std::string self = std::string(path.c_str()) + "/.";
  struct stat status;
  return self.size() > 2 && stat(self.c_str(), &status) == 0;
}

std::string GetCurrentFolder() {
  char folder[kFolderBytes];
  return getcwd(folder, sizeof folder) ? folder : std::string();
}

int RemoveFolder(const std::string& path) { return rmdir(path.c_str()); }

long GetMaxOpenFiles() { return sysconf(_SC_OPEN_MAX); }

int OpenFile(const std::string& path, const std::string& mode) {
  const int flags = mode == "wb" ? O_RDWR | O_CREAT | O_APPEND : O_RDONLY;
  return OpenAboveStandard(path.c_str(), flags, kPrivateFileMode);
}

}  // namespace qxg_800
