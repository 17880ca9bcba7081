#include "qxutils/platform/platformspecs_unix.h"

#include <fcntl.h>
#include <pthread.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>

#include "qxutils/platform/tempfile.h"

namespace qxg_800 {
namespace {

// One POSIX mutex. Initialised as a constant, so that a static initialiser of another library may
// already make names; destroyed at unload or exit.
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

class Locked {
 public:
  explicit Locked(CMutex& mutex) : fMutex(mutex) { fMutex.Lock(); }
  ~Locked() { fMutex.Unlock(); }
  Locked(const Locked&) = delete;
  Locked& operator=(const Locked&) = delete;

 private:
  CMutex& fMutex;
};

constexpr std::size_t kFolderBytes = 1024;
constexpr mode_t kTempFolderMode = 0774;
constexpr mode_t kPrivateFileMode = 0600;

CMutex gate;
int fnCounter = 0;  // guarded by gate; makes names unique in the process

// A process that runs for years may come round: the hexadecimal text goes on as that of an
// unsigned.
void CountOn() { fnCounter = static_cast<int>(static_cast<unsigned>(fnCounter) + 1U); }

// lstat and not an open: opening hangs on a FIFO, takes a dangling link for nothing, and fails for
// want of a descriptor where a file stands.
bool IsTaken(const std::string& name) {
  struct stat status;
  return lstat(name.c_str(), &status) == 0;
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

// Makes something under a new name with `make(name)`, which says whether it succeeded and sets
// errno. Making is its own probe: it fails with EEXIST where a name is taken, be it since a moment
// ago. `taken` needs no probe.
template <class Make>
std::string MakeUnderNewName(const char* folder, const char* prefix, const char* extension,
                             const std::string& taken, Make make) {
  for (;;) {
    std::string name;
    int counter = 0;
    {
      const Locked lock(gate);
      counter = fnCounter;
      name = NameNow(folder, prefix, extension);
    }
    if (name != taken) {
      if (make(name.c_str())) return name;
      if (errno != EEXIST) return std::string();
    }
    const Locked lock(gate);
    if (fnCounter == counter) CountOn();  // else another thread has done so
  }
}

}  // namespace

std::string GenerateTempName(const char* folder, const char* prefix, const char* extension) {
  const Locked lock(gate);
  for (;;) {
    std::string name = NameNow(folder, prefix, extension);
    if (!IsTaken(name)) return name;
    CountOn();
  }
}

std::string CreateTempFile(const char* folder, const char* prefix, const char* extension,
                           const std::string& taken) {
  return MakeUnderNewName(folder, prefix, extension, taken, [](const char* name) {
    constexpr int kNewFile = O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC;
    const int descriptor = open(name, O_WRONLY | kNewFile, kPrivateFileMode);
    if (descriptor < 0) return false;
    close(descriptor);
    return true;
  });
}

std::string CreateTempSubDirectory(const std::string& parent) {
  const char* folder = IsValidDirectory(parent) ? parent.c_str() : nullptr;
  return MakeUnderNewName(folder, "qxd", nullptr, std::string(),
                          [](const char* name) { return mkdir(name, kTempFolderMode) == 0; });
}

bool IsValidDirectory(const std::string& path) {
  const Locked lock(gate);
  struct stat status;
  return stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode) &&
         faccessat(AT_FDCWD, path.c_str(), X_OK, AT_EACCESS) == 0;
}

std::string GetCurrentFolder() {
  char folder[kFolderBytes];
  return getcwd(folder, sizeof folder) ? folder : std::string();
}

int RemoveFolder(const std::string& path) { return rmdir(path.c_str()); }

long GetMaxOpenFiles() { return sysconf(_SC_OPEN_MAX); }

int OpenFile(const std::string& path, const std::string& mode) {
  if (mode == "wb") return open(path.c_str(), O_RDWR | O_CREAT | O_APPEND, kPrivateFileMode);
  return open(path.c_str(), O_RDONLY);
}

}  // namespace qxg_800
