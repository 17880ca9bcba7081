#include "qxtree/workfolder.h"

#include <fmt/format.h>
#include <sys/stat.h>

#include <cerrno>
#include <filesystem>
#include <stdexcept>
#include <system_error>

#include "qxutils/platform/platformspecs_unix.h"

namespace qxtree {
namespace {

namespace fs = std::filesystem;

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

WorkFolder::WorkFolder(const std::string& temp) : fSettings(MakeFolder(temp)) {}

WorkFolder::~WorkFolder() {
  std::error_code ignored;
  if (!fRemoved) fs::remove_all(fSettings.GetTempDirectory(), ignored);
}

const Arbex_800::EnvironmentSettings& WorkFolder::Settings() const { return fSettings; }

long WorkFolder::CountOpenFiles() const {
  const std::string start = fSettings.GetTempDirectory() + '/';
  long count = 0;
  for (const fs::directory_entry& descriptor : fs::directory_iterator("/proc/self/fd")) {
    if (fs::read_symlink(descriptor).string().compare(0, start.size(), start) == 0) ++count;
  }
  return count;
}

void WorkFolder::Remove() {
  fs::remove_all(fSettings.GetTempDirectory());
  fRemoved = true;
}

}  // namespace qxtree
