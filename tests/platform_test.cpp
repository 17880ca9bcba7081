#include <sys/resource.h>

#include <atomic>

#include "support.h"

// The numbers that names are made with at present: process id and counter.
static std::string Numbers() { return GenerateTempName(nullptr, nullptr, nullptr); }

TEST(Platform, NamesAreMadeOfTheirPartsAndPassOverWhatStands) {
  const std::string before = Numbers(), longFolder = "/nowhere/" + std::string(5000, 'x') + '/';
  const char* const cases[][5] = {{"/nowhere", "qxf", "tmp", "/nowhere/qxf", ".tmp"},
                                  {"nowhere\\", "qxf", "tmp", "nowhere\\qxf", ".tmp"},
                                  {nullptr, "qxf", "tmp", "qxf", ".tmp"},
                                  {"/nowhere", nullptr, "", "/nowhere/", "."},
                                  {longFolder.c_str(), "", nullptr, longFolder.c_str(), ""}};
  for (const auto& [folder, prefix, extension, start, end] : cases)
    EXPECT_EQ(GenerateTempName(folder, prefix, extension), start + before + end);
  const TempFolder folder;
  const auto next = [&] { return GenerateTempName(folder.path.c_str(), "a", "b"); };
  std::ofstream(next()).flush();
  EXPECT_EQ(mkfifo(next().c_str(), 0600), 0);
  EXPECT_EQ(symlink("nothing", next().c_str()), 0);
  EXPECT_EQ(mkdir(next().c_str(), 0700), 0);
  const std::string fifth = next(), id = (testing::Message() << std::hex << getpid()).GetString();
  EXPECT_EQ(fifth, folder / "a" + Numbers() + ".b");
  EXPECT_EQ(before.rfind(id, 0), 0U);
  EXPECT_EQ(std::stoul(before.substr(id.size()), nullptr, 16) + 4,
            std::stoul(Numbers().substr(id.size()), nullptr, 16));
  CreateTempSubDirectory(folder.path);
  CreateTempSubDirectory(folder.path);
  EXPECT_EQ(folder.Entries().size(), 6U);
}

TEST(Platform, FoldersAreTestedMadeAndRemovedAndFilesOpened) {
  const TempFolder folder;
  const std::string before = GetCurrentFolder(), path = folder / "text";
  EXPECT_EQ(OpenFile(path, "rb"), -1);
  const int files[] = {OpenFile(path, "wb"), OpenFile(path, "wb"), OpenFile(path, "anything")};
  for (const int file : files) EXPECT_EQ(write(file, "text", 4), file == files[2] ? -1 : 4);
  char text[9] = "";
  EXPECT_EQ(read(files[2], text, sizeof text), 8);
  for (const int file : files) close(file);
  EXPECT_TRUE(IsValidDirectory(folder.path));
  for (const std::string& bad : {path, folder / "missing", std::string()})
    EXPECT_FALSE(IsValidDirectory(bad)) << bad;
  EXPECT_EQ(before, fs::current_path());
  const mode_t mask = umask(0);
  const std::string made = CreateTempSubDirectory(folder.path);
  umask(mask);
  EXPECT_EQ(made, folder / "qxd" + Numbers());
  EXPECT_EQ(fs::status(made).permissions(), fs::perms(0774));
  EXPECT_TRUE(RemoveFolder(folder.path) == -1 && errno == ENOTEMPTY);
  fs::current_path(made);
  EXPECT_EQ(CreateTempSubDirectory("missing"), "qxd" + Numbers()) << "in the working folder";
  for (const int length : {1023, 1024}) {
    std::string deep = folder / std::string(length - folder.path.size() - 1, 'd');
    for (int i = length - 100; i > static_cast<int>(folder.path.size()) + 1; i -= 100)
      deep[i] = '/';
    fs::create_directories(deep);
    fs::current_path(deep);
    EXPECT_EQ(GetCurrentFolder(), length == 1023 ? deep : "");
  }
  fs::current_path(before);
  EXPECT_EQ(CreateTempSubDirectory("/proc"), "");
  EXPECT_NE(errno, ENOTEMPTY) << "from mkdir";
  rlimit limit;
  EXPECT_EQ(getrlimit(RLIMIT_NOFILE, &limit), 0);
  EXPECT_EQ(GetMaxOpenFiles(), static_cast<long>(limit.rlim_cur));
}

TEST(PlatformThreads, ShareAFolderWhileTheHostFlushesAllStreams) {
  const TempFolder folder;
  std::atomic<bool> isOver{false};
  std::thread host([&] {
    while (!isOver) std::fflush(nullptr);
  });
  std::vector<std::thread> threads;
  for (char mark = 'a'; mark < 'i'; ++mark) {
    threads.emplace_back([&, mark] {
      ViewSet set(0, {{1, 0}, {2, 0}}, folder.settings);
      for (int item = 0; item < 20000; ++item) set.Write(0, {mark});
      EXPECT_TRUE(set.Close(0) && set.Close(1));
      EXPECT_EQ(set.Take(0), std::string(20000, mark));
      for (int i = 0; i < 20; ++i) CreateTempSubDirectory(folder.path);
    });
  }
  for (std::thread& thread : threads) thread.join();
  isOver = true;
  host.join();
  EXPECT_EQ(folder.Entries().size(), 160U) << "every thread its own folders, and no file is left";
}
