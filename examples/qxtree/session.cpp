#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <filesystem>

#include "qxtree/qxtree.h"
#include "qxutils/platform/platformspecs_unix.h"

namespace qxtree {
namespace {

namespace fs = std::filesystem;

volatile std::sig_atomic_t caught = 0;  // the signal; 0: none

extern "C" void Mark(int signal) { caught = signal; }

std::string MakeFolder(const std::string& temp) {
  // With a folder that is not valid CreateTempSubDirectory would take the working folder instead.
  if (!qxg_800::IsValidDirectory(temp))
    throw std::runtime_error(fmt::format("cannot use '{}' as the temporary folder", temp));
  const std::string parent = fs::canonical(temp).string();
  // Who may write to the folder could put other files in the place of ours.
  const mode_t mask = umask(S_IRWXG | S_IRWXO);
  std::string path = qxg_800::CreateTempSubDirectory(parent);
  const int error = errno;
  umask(mask);
  if (path.empty()) throw fmt::system_error(error, "cannot make a folder in '{}'", temp);
  return path;
}

}  // namespace

void CatchSignals() {
  std::signal(SIGXFSZ, SIG_IGN);
  struct sigaction action {};
  action.sa_handler = Mark;  // without SA_RESTART: a read that waits ends
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
    struct sigaction previous {};
    sigaction(signal, nullptr, &previous);
    if (previous.sa_handler != SIG_IGN) sigaction(signal, &action, nullptr);
  }
}

void Poll(const std::string& progress) {
  if (caught != 0) throw Interrupted();
  const int error = errno;
  if (isatty(STDERR_FILENO)) std::fprintf(stderr, "\033[K%s\r", progress.c_str());
  errno = error;
}

void EndBySignal() {
  if (caught == 0) return;
  std::signal(caught, SIG_DFL);
  std::raise(caught);
}

WorkFolder::WorkFolder(const std::string& temp) : fSettings(MakeFolder(temp)) {}

WorkFolder::~WorkFolder() {
  std::error_code ignored;
  if (!fRemoved) fs::remove_all(fSettings.GetTempDirectory(), ignored);
}

void WorkFolder::Remove() {
  fs::remove_all(fSettings.GetTempDirectory());
  fRemoved = true;
}

void WorkFolder::CountOpenFiles() {
  const std::string start = fSettings.GetTempDirectory() + '/';
  long count = 0;
  for (const fs::directory_entry& descriptor : fs::directory_iterator("/proc/self/fd"))
    count += fs::read_symlink(descriptor).string().compare(0, start.size(), start) == 0;
  fMostOpenFiles = std::max(fMostOpenFiles, count);
}

}  // namespace qxtree
