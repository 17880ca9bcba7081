#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <fstream>
#include <thread>

#include "libc_faults.h"
#include "qxutils/platform/platformspecs_unix.h"
#include "support.h"

using namespace qxg_800;

namespace {

// The counter in a name of the form start, process id, counter, end.
unsigned Counter(const std::string& name, const std::string& start, const std::string& end) {
  char id[9];
  std::snprintf(id, sizeof id, "%x", static_cast<unsigned>(getpid()));
  const std::string head = start + id;
  EXPECT_EQ(name.substr(0, head.size()), head);
  EXPECT_EQ(name.substr(name.size() - end.size()), end);
  return static_cast<unsigned>(std::stoul(name.substr(head.size()), nullptr, 16));
}

TEST(Platform, NamesAreMadeOfTheirParts) {
  const std::string longFolder = "/nowhere/" + std::string(5000, 'x') + '/';
  const struct {
    const char *folder, *prefix, *extension, *start, *end;
  } cases[] = {
      {"/nowhere", "qxf", "tmp", "/nowhere/qxf", ".tmp"},
      {"nowhere\\", "qxf", "tmp", "nowhere\\qxf", ".tmp"},
      {nullptr, "qxf", "tmp", "qxf", ".tmp"},
      {"", "qxf", "tmp", "qxf", ".tmp"},
      {"/nowhere", nullptr, "", "/nowhere/", "."},
      {longFolder.c_str(), "", nullptr, longFolder.c_str(), ""},
  };
  for (const auto& c : cases) {
    const std::string name = GenerateTempName(c.folder, c.prefix, c.extension);
    Counter(name, c.start, c.end);
    EXPECT_EQ(name, GenerateTempName(c.folder, c.prefix, c.extension)) << "not reserved";
  }
}

TEST(Platform, WhateverStandsAtANameTakesIt) {
  const TempFolder folder;
  const auto next = [&] { return GenerateTempName(folder.path.c_str(), "a", "b"); };
  const unsigned first = Counter(next(), folder / "a", ".b");
  std::ofstream(next()).flush();
  EXPECT_EQ(mkfifo(next().c_str(), 0600), 0);
  EXPECT_EQ(symlink("nothing", next().c_str()), 0);
  EXPECT_EQ(mkdir(next().c_str(), 0700), 0);
  const LibcFaults noDescriptors(1);
  EXPECT_EQ(Counter(next(), folder / "a", ".b"), first + 4);
}

TEST(Platform, FoldersAreTestedMadeAndRemoved) {
  const TempFolder folder;
  const std::string before = GetCurrentFolder();
  EXPECT_EQ(before, std::filesystem::current_path());
  std::ofstream(folder / "file").flush();
  EXPECT_TRUE(IsValidDirectory(folder.path));
  for (const std::string& bad : {folder / "file", folder / "missing", std::string()}) {
    EXPECT_FALSE(IsValidDirectory(bad)) << bad;
  }
  EXPECT_EQ(GetCurrentFolder(), before);

  const mode_t mask = umask(0);
  const std::string made = CreateTempSubDirectory(folder.path);
  umask(mask);
  Counter(made, folder / "qxd", "");
  EXPECT_EQ(std::filesystem::status(made).permissions(), std::filesystem::perms(0774));
  EXPECT_EQ(RemoveFolder(folder.path), -1);
  EXPECT_EQ(errno, ENOTEMPTY);
  std::filesystem::current_path(made);
  EXPECT_EQ(CreateTempSubDirectory("missing").substr(0, 3), "qxd") << "in the working folder";
  std::filesystem::current_path(before);
  errno = 0;
  EXPECT_EQ(CreateTempSubDirectory("/proc"), "");
  EXPECT_NE(errno, 0);
}

TEST(Platform, ANameTakenBehindTheProbeIsPassedOver) {
  const TempFolder folder;
  LibcFaults faults;
  faults.blind = true;
  for (const std::size_t made : {1U, 2U, 3U}) {
    CreateTempSubDirectory(folder.path);
    EXPECT_EQ(folder.Entries().size(), made);
  }
}

TEST(Platform, OpenFileAppendsOrReads) {
  const TempFolder folder;
  EXPECT_EQ(OpenFile(folder / "file", "rb"), -1);
  int descriptor = -1;
  for (const char* mode : {"wb", "wb", "anything"}) {
    close(descriptor);
    descriptor = OpenFile(folder / "file", mode);
    EXPECT_EQ(write(descriptor, "text", 4), *mode == 'w' ? 4 : -1);
  }
  char text[9] = "";
  EXPECT_EQ(read(descriptor, text, sizeof text), 8);
  close(descriptor);
}

TEST(PlatformThreads, ShareAFolder) {
  const TempFolder folder;
  const EnvironmentSettings settings(folder.path);
  std::vector<std::thread> threads;
  for (char mark = 'a'; mark < 'i'; ++mark) {
    threads.emplace_back([&, mark] {
      ViewSet set(0, {1, 2}, settings);
      for (int item = 0; item < 200; ++item) set.Write(0, {mark});
      EXPECT_TRUE(set.Close(0) && set.Close(1));
      EXPECT_EQ(set.Take(0), std::string(200, mark));
      for (int i = 0; i < 20; ++i) CreateTempSubDirectory(folder.path);
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(folder.Entries().size(), 160U) << "every thread its own folders, and no file is left";
}

}  // namespace
