#include <gtest/gtest.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <sstream>
#include <string>

#include "failing_new.h"
#include "qxutils/config/qxconfigfile_internal.h"

// Aborts where the library and a plain model of the format differ.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace {

thread_local int readsLeft = -1;  // reads before the one that fails; -1: none fails

std::string Print(const std::string& path) {
  std::ostringstream printed;
  tree_800::QxConfigFile file(path);
  printed << file;
  return printed.str();
}

void CompareWithModel(const std::string& text) {
  LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(text.data()), text.size());
}

}  // namespace

// In front of the C library's: a disk that fails in the middle of a file.
extern "C" ssize_t read(int descriptor, void* data, std::size_t bytes) {
  if (readsLeft-- != 0) return syscall(SYS_read, descriptor, data, bytes);
  errno = EIO;
  return -1;
}

TEST(ConfigFile, AgreesWithTheModelOnTheFuzzCorpusAndOnRandomText) {
  int files = 0;
  for (const auto& entry : std::filesystem::directory_iterator(QXUTILS_FUZZ_CORPUS)) {
    std::ifstream file(entry.path());
    CompareWithModel(std::string(std::istreambuf_iterator<char>(file), {}));
    ++files;
  }
  EXPECT_GT(files, 0);
  std::mt19937 random(1582);
  for (int round = 0; round < 500; ++round) {
    std::string text(random() % (round % 10 == 0 ? 20000 : 40), '\0');
    for (char& byte : text) byte = "=\n\r ab"[random() % 7];
    CompareWithModel(text);
  }
}

TEST(ConfigFile, WhatCannotBeReadGivesThePairsBeforeIt) {
  EXPECT_EQ(Print("/no/such/file"), "");
  EXPECT_EQ(Print("/"), "");
  const std::string path = testing::TempDir() + "qxconfig" + std::to_string(getpid());
  std::ofstream(path) << "b=1\n#\n\na = 2\r\nb=3=\nkey of many words=" << std::string(20000, 'x')
                      << "\nlost";
  const std::string pairs = "#\n\na   2\r\nb 3=\n";
  EXPECT_EQ(Print(path), pairs + "key of many words " + std::string(20000, 'x') + "\n");
  readsLeft = 1;
  EXPECT_EQ(Print(path), pairs);
  readsLeft = -1;
  EXPECT_GT(FailEachAllocation([&] { tree_800::QxConfigFile file(path); }, [] {}), 5);
  std::filesystem::remove(path);
}
