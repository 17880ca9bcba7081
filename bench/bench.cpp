// SPDX-FileCopyrightText: The qxutils authors
// SPDX-License-Identifier: Apache-2.0

#include "bench.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <map>

namespace bench {
namespace {

class OwnFolder {
 public:
  OwnFolder() : fPath(std::filesystem::temp_directory_path() / "qxutils-bench-XXXXXX") {
    Check(mkdtemp(fPath.data()) != nullptr, "no temporary folder");
  }
  ~OwnFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(fPath, ignored);
  }
  OwnFolder(const OwnFolder&) = delete;
  OwnFolder& operator=(const OwnFolder&) = delete;

  const std::string& Path() const { return fPath; }

 private:
  std::string fPath;
};

}  // namespace

void Fail(std::string_view what) {
  std::fprintf(stderr, "failed: %.*s\n", static_cast<int>(what.size()), what.data());
  std::exit(1);
}

void Agree(const std::string& row, const std::string& peer, const std::string& result) {
  static std::map<std::string, std::string> results;
  if (result.empty()) return;
  const auto [first, isNew] = results.emplace(row, result);
  if (first->second == result) return;
  const auto differs =
      std::mismatch(result.begin(), result.end(), first->second.begin(), first->second.end());
  const auto at = static_cast<std::size_t>(differs.first - result.begin());
  const std::size_t from = at < 20 ? 0 : at - 20;
  Fail(row + '/' + peer + " has ..." + result.substr(from, 40) + "..., others ..." +
       first->second.substr(from, 40) + "...");
}

const std::string& Folder() {
  static const OwnFolder folder;
  return folder.Path();
}

bool HasDescriptors(long count) {
  constexpr rlim_t kOthers = 50;
  rlimit limit{};
  Check(getrlimit(RLIMIT_NOFILE, &limit) == 0, "no limit of descriptors");
  const int next = open("/dev/null", O_RDONLY | O_CLOEXEC);  // the lowest that is free
  Check(next >= 0 && close(next) == 0, "no descriptor");
  return static_cast<rlim_t>(next + count) + kOthers <= limit.rlim_cur;
}

// glibc joins its free blocks when it is asked for one of more than 1 KiB.
void JoinFreeMemory() {
  void* volatile block = std::malloc(100'000);
  std::free(block);
}

std::string Text(double value, int digits) {
  char text[32];
  std::snprintf(text, sizeof text, "%.*g ", digits, value);
  return text;
}

std::uint64_t Random::Bits() {
  std::uint64_t bits = fState += 0x9E3779B97F4A7C15;
  bits = (bits ^ (bits >> 30)) * 0xBF58476D1CE4E5B9;
  bits = (bits ^ (bits >> 27)) * 0x94D049BB133111EB;
  return bits ^ (bits >> 31);
}

}  // namespace bench
