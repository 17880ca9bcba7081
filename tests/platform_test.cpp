// SPDX-FileCopyrightText: The qxutils authors
// SPDX-License-Identifier: Apache-2.0

#include <locale.h>
#include <sys/resource.h>
#include <sys/time.h>

#include <atomic>
#include <csignal>

#include "qxutils/config/qxconfigfile.h"
#include "qxutils/platform/descriptors.h"
#include "qxutils/platform/platformspecs_internal.h"
#include "qxutils/platform/tempfile.h"
#include "qxutils/storage/iobinfile.h"
#include "qxutils/text/localeutil.h"
#include "qxutils/text/mbtoutf8_unix.h"
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
  std::string counted;
  const auto takenMeanwhile = [&](const char* name) {
    if (!counted.empty()) return true;
    std::ofstream(name).flush();
    counted = GenerateTempName(folder.path.c_str(), "m", nullptr);
    errno = EEXIST;
    return false;
  };
  EXPECT_EQ(MakeUnderNewName(folder.path.c_str(), "m", nullptr, "", takenMeanwhile), counted);
}

TEST(Platform, FoldersAreTestedMadeAndRemovedAndFilesOpened) {
  const TempFolder folder;
  const std::string before = GetCurrentFolder(), path = folder / "text";
  EXPECT_EQ(OpenFile(path, "rb"), -1);
  const int files[] = {OpenFile(path, "wb"), OpenFile(path, "wb"), OpenFile(path, "anything")};
  for (const int file : files) EXPECT_EQ(write(file, "text", 4), file == files[2] ? -1 : 4);
  char text[9] = "";
  EXPECT_EQ(read(files[2], text, sizeof text), 8);
  EXPECT_EQ(fs::status(path).permissions(), fs::perms(0600));
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

TEST(Platform, NewFilesArePrivateAndToldFromOthersInAFolderThatStaysTheSame) {
  const TempFolder folder;
  const char* const path = folder.path.c_str();
  FileId id, otherId;
  const mode_t mask = umask(0777);
  const std::string name = CreateTempFile(path, "f", nullptr, "", id);
  umask(mask);
  EXPECT_EQ(fs::status(name).permissions(), fs::perms(0600)) << "whatever the umask";
  const std::string other = CreateTempFile(path, "f", nullptr, name, otherId);
  EXPECT_TRUE(IsFile(name, id));
  EXPECT_FALSE(IsFile(name, {id.device + 1, id.inode}));
  fs::rename(other, name);
  EXPECT_TRUE(!IsFile(name, id) && IsFile(name, otherId));
  fs::create_symlink(name, other);
  EXPECT_FALSE(IsFile(other, otherId) || IsFile(folder / "missing", id));
  const auto fixed = [](std::string given) { return FixFolder(given) ? given : "not fixed"; };
  fs::current_path(path);
  EXPECT_EQ(fixed("") + ' ' + fixed("x") + ' ' + fixed("/x"), folder / " " + folder / "x /x");
  fs::create_directory("gone");
  fs::current_path("gone");
  EXPECT_EQ(RemoveFolder(folder / "gone"), 0);
  EXPECT_EQ(fixed("x") + fixed(""), "x") << "nothing else leads there";
  fs::current_path("/");
  EXPECT_STREQ(QxUtilsException(nullptr).what(), "");
  using namespace QxUtils_800;  // whose texts hosts compare with
  EXPECT_EQ(std::string(FileWriteError) + ", " + FileOpenError,
            "Error writing to file, Error opening file");
  EXPECT_EQ(std::string(FileSeekError) + ", " + FileReadError,
            "Error seeking in file, Error reading from file");
}

TEST(Platform, NothingIsOpenedWhereAStandardDescriptorCannotBeHeld) {
  TrapSystemCalls();
  const TempFolder folder;
  const std::string path = folder / "file";
  std::ofstream(path) << "a=1\n";
  const std::pair<const char*, std::function<bool()>> openers[] = {
      {"OpenFile", [&] { return close(OpenFile(path, "rb")) == 0; }},
      {"QxConfigFile", [&] { return tree_800::QxConfigFile(path).Read("a") == "1"; }},
      {"IOBinFile",
       [&] { return IOBinFile(folder.settings).Open(path, IOBinFile::IOModeRead, Level(0)); }}};
  for (const auto& [name, opens] : openers) {
    for (const int state : {0, 1, 2, 3, 4, 5}) {
      const int standard = state / 2, other = dup(standard);
      const bool fails = state % 2 == 1;
      close(standard);
      if (fails) faults = {Faults::kCalls, 1};
      const bool isOpen = opens();
      faults = {};
      const bool isFree = fcntl(standard, F_GETFD) == -1;
      dup2(other, standard);
      close(other);
      EXPECT_TRUE(isFree && isOpen != fails) << name << standard << (fails ? " fails" : "");
    }
  }
}

// Between the library's look at descriptors 0 to 2 and its open, a host closes one of them or puts
// its own there.
TEST(Platform, NothingIsOpenedOnAStandardDescriptorThatTheHostTouchesMeanwhile) {
  TrapSystemCalls();
  const TempFolder folder;
  const std::string path = folder / "file";
  std::ofstream(path).flush();
  const int output = dup(STDOUT_FILENO), next = dup(output);
  close(next);
  const auto close1 = [] { close(STDOUT_FILENO); };
  const auto put1 = [&] { dup2(output, STDOUT_FILENO); };
  const auto isOpen1 = [] { return fcntl(STDOUT_FILENO, F_GETFD) != -1; };
  IOBinFile file(folder.settings);
  int descriptor = -1;
  const std::pair<std::function<void()>, int> openers[] = {
      {[&] { descriptor = OpenFile(path, "rb"); }, 100},
      {[&] { descriptor = OpenAboveStandard(path.c_str(), O_CLOEXEC, 0); }, 1},
      {[&] { file.Open(path, IOBinFile::IOModeRead, Level(10)); }, 1}};
  // Where it is closed before, the first open is to hold it and the second one is that of the file.
  const struct {
    bool isOpenBefore;
    int number;
    bool puts;
  } cases[] = {{true, 1, false}, {false, 1, true}, {false, 2, true}, {false, 2, false}};
  for (const auto& [opens, count] : openers) {
    for (const auto& [isOpenBefore, number, puts] : cases) {
      if (!isOpenBefore) close1();
      meanwhile = [&, left = number, isPut = puts](long call) mutable {
        if (call == SYS_openat && --left == 0) isPut ? put1() : close1();
      };
      opens();
      meanwhile = nullptr;
      const bool isOpenAfter = isOpen1();
      put1();
      EXPECT_EQ(folder.Open(), count) << isOpenBefore << number << puts;
      EXPECT_EQ(isOpenAfter, puts) << isOpenBefore << number;
      close(std::exchange(descriptor, -1));
      EXPECT_TRUE(file.Close());
    }
  }
  meanwhile = [&](long call) { call == SYS_openat ? close1() : void(); };
  const int error = file.Open(path, IOBinFile::IOModeRead, Level(0)) ? 0 : errno;
  meanwhile = nullptr;
  rlimit limit;
  getrlimit(RLIMIT_NOFILE, &limit);
  const rlimit few{STDERR_FILENO + 1, limit.rlim_max};  // none above 2 is free
  meanwhile = [&](long call) {
    if (call == SYS_openat) close1(), setrlimit(RLIMIT_NOFILE, &few);
  };
  const bool isOpen = OpenAboveStandard(path.c_str(), 0, 0) != -1;
  setrlimit(RLIMIT_NOFILE, &limit);
  put1();
  const bool isNewOpen = OpenAboveStandard((path + "2").c_str(), O_CREAT | O_EXCL, 0) != -1;
  meanwhile = nullptr;
  setrlimit(RLIMIT_NOFILE, &limit);
  put1();
  EXPECT_FALSE(isOpen || isNewOpen || fs::exists(path + "2"));
  EXPECT_TRUE(fs::exists(path)) << "was there before";
  close1();
  auto first = std::make_unique<StandardDescriptors>();
  auto second = std::make_unique<StandardDescriptors>();
  first.reset();
  const bool isHeld = isOpen1();
  second.reset();
  const bool isFree = !isOpen1();
  put1();
  EXPECT_TRUE(error == EBADF && folder.Open() == 0) << "a host that closes it each time";
  EXPECT_TRUE(isHeld && isFree) << "until the last one is gone";
  EXPECT_EQ(dup(output), next) << "nothing stays open";
  close(next);
  close(output);
}

TEST(Platform, AFolderThatFailsIsGivenUpAfterAThousandNames) {
  TrapSystemCalls();
  faults = {Faults::kCalls, 1, EIO, -1};
  Numbers();
  EXPECT_EQ(std::exchange(faults, {}).count, 1001) << "looks for a file";
}

// The host puts another folder in place of the one that has just been looked at.
TEST(Platform, AFolderThatTheHostReplacesMeanwhileIsNotFixed) {
  TrapSystemCalls();
  const TempFolder folder;
  const std::string x = folder / "x";
  for (const std::string given : {"x", ""}) {
    fs::create_directories(x);
    fs::current_path(given.empty() ? x : folder.path);
    meanwhile = [&, looks = 0](long call) mutable {
      if (call != SYS_newfstatat || ++looks != 2) return;
      fs::rename(x, folder / ("y" + given));
      fs::create_directory(x);
    };
    std::string fixed = given;
    EXPECT_TRUE(FixFolder(fixed) && fixed == given) << fixed;
    meanwhile = nullptr;
  }
  fs::current_path("/");
}

// What no call may change.
static std::string State() {
  std::ifstream status("/proc/thread-self/status");
  std::string state = setlocale(LC_ALL, nullptr) + fs::current_path().string();
  state += testing::PrintToString(uselocale(nullptr));
  for (std::string line; std::getline(status, line);)
    for (const char* kept : {"Umask", "SigB", "SigI", "SigC"})
      if (line.rfind(kept, 0) == 0) state += '\n' + line;
  return state;
}

TEST(ProcessThreads, EveryCallLeavesTheProcessAlone) {
  ASSERT_STREQ(setlocale(LC_ALL, "de_DE.ISO-8859-1"), "de_DE.ISO-8859-1");
  const locale_t own = duplocale(LC_GLOBAL_LOCALE);  // of every other thread
  ASSERT_STREQ(setlocale(LC_ALL, "de_DE.UTF-8"), "de_DE.UTF-8");
  std::atomic<bool> isOver{false};
  std::atomic<int> wrong{0};
  const auto format = [&](int thread) {
    const locale_t mine = thread % 2 == 0 ? own : LC_GLOBAL_LOCALE;
    uselocale(mine);
    for (int whole = thread; whole < 8000 || !isOver; whole += 8) {
      const std::string text = std::to_string(whole);
      wrong += Format(whole + 0.5, false, nullptr) != text + ".5";
      wrong += Format(whole + 0.5, false, "%.2f") != text + ".50";
      wrong += Format(whole + 0.5, true, "%.15g") != text + ",5";
    }
    wrong += xmlu_800::MbToUTF8("\xe9") != (mine == own ? "\u00e9" : "");
    wrong += uselocale(LC_GLOBAL_LOCALE) != mine;
  };
  std::vector<std::thread> threads;
  for (int thread = 0; thread < 8; ++thread) threads.emplace_back(format, thread);
  struct sigaction action {};  // without SA_RESTART
  action.sa_handler = [](int) {};
  sigaction(SIGALRM, &action, nullptr);
  const itimerval often{{0, 250}, {0, 250}}, never{};
  setitimer(ITIMER_REAL, &often, nullptr);
  const TempFolder folder;
  const std::string path = folder / "file", before = State();
  char bytes[8] = "1234567";
  const auto same = [&](const char* call, auto result) {
    EXPECT_EQ(State(), before) << call;
    return result;
  };
#define CALL(...) same(#__VA_ARGS__, __VA_ARGS__)
  for (int round = 0; round < 20; ++round) {
    EXPECT_EQ(CALL(GenerateTempName("x", "y", "z")).rfind("x/y", 0), 0U);
    EXPECT_EQ(CALL(RemoveFolder(CALL(CreateTempSubDirectory(folder.path)))), 0);
    EXPECT_TRUE(CALL(IsValidDirectory(folder.path)) && CALL(GetMaxOpenFiles()) != 0);
    EXPECT_TRUE(CALL(GetCurrentFolder()) != "" && close(CALL(OpenFile(path, "wb"))) == 0);
    IOBinFile file(folder.settings);
    EXPECT_TRUE(CALL(file.Open(path, IOBinFile::IOModeWrite, Level(0))));
    EXPECT_TRUE(CALL(file.Write(bytes, 8)) == 8 && CALL(file.Close()));
    EXPECT_TRUE(CALL(file.Open(path, IOBinFile::IOModeRead, Level(0))) && CALL(file.Seek(0)));
    EXPECT_TRUE(CALL(file.Read(bytes, 8)) == 8 && CALL(file.Close()));
    const auto set =
        CALL(std::make_unique<ViewSet>(0, std::vector<ViewInfo>{{8, 0}}, folder.settings));
    for (int item = 0; item < 11; ++item) EXPECT_EQ(CALL(set->Write(0, "12345678")), 8);
    EXPECT_TRUE(CALL(set->Close(0)) && CALL(set->Take(0)).size() == 88);
    EXPECT_EQ(CALL(FormatRulesDate(0.5, false)) + CALL(GetDecimalCharacter()), "0.5,");
    EXPECT_EQ(CALL(xmlu_800::MbToUTF8("\u00e9")), "\u00e9");
    EXPECT_EQ(folder.Open(), 0);
  }
  setitimer(ITIMER_REAL, &never, nullptr);
  isOver = true;
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(wrong, 0);
  freelocale(own);
}
