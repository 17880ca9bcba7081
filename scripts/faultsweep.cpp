// SPDX-FileCopyrightText: The qxutils authors
// SPDX-License-Identifier: Apache-2.0

// Makes each system call and each allocation of an operation fail: alone, with all later ones, and
// with each single later one.
#include <sys/mman.h>
#include <sys/wait.h>

#include <optional>

#include "qxutils/config/qxconfigfile.h"
#include "qxutils/iterators/binencodercache.h"
#include "qxutils/iterators/binfileiterator.h"
#include "qxutils/numeric/chararray.h"
#include "qxutils/numeric/qxstatistics.h"
#include "qxutils/storage/iobinfile.h"
#include "qxutils/text/localeutil.h"
#include "qxutils/text/mbtoutf8_unix.h"
#include "support.h"

extern "C" void __gcov_dump() __attribute__((weak));  // only where coverage is measured

// For what is no part of an operation.
struct Pause {
  ~Pause() { faults = kept; }
  const Faults kept = std::exchange(faults, {});
};

// Where an operation takes place: a working folder with one file.
struct Scene {
  Scene() {
    fs::current_path(path);
    std::ofstream(file) << text;
  }
  ~Scene() { fs::current_path("/"); }
  const TempFolder folder;
  std::string NewName() const { return GenerateTempName(path.c_str(), "f", nullptr); }
  const std::string &path = folder.path, file = NewName();
  const std::string text = "a=1\nb=" + std::string(9000, 'x') + "\nc=3\n";
  const EnvironmentSettings &own = folder.settings, relative = EnvironmentSettings("");
  Engine engine;
  const std::vector<ViewInfo> views = {{8, 0}, {1, 0}, {3, 0}, {0, 0}};  // two stay empty
  std::optional<ViewSet> set;
};

static std::string MakeSet(Scene& scene, const EnvironmentSettings& settings, bool hostFlushes) {
  scene.set.emplace(0, scene.views, settings);
  if (faults.failed.none()) fs::current_path("/");  // else the folder may still be relative
  for (int step = 0; step < 50; ++step) {
    const std::string item(step % 2 == 0 ? 8 : 1, static_cast<char>('a' + step / 2));
    const auto write = [&] { EXPECT_GT(scene.set->Write(step % 2, item), 0); };
    try {
      write();
    } catch (const std::bad_alloc&) {  // may be made again, but for an engine's own failure
      if (settings.storagePrototype) throw;
      const Pause again;
      write();
    }
    if (hostFlushes) std::fflush(nullptr);
  }
  for (const int view : {1, 3, 2, 0}) EXPECT_TRUE(scene.set->Close(view));
  const Pause pause;
  return scene.set->Take(0) + scene.set->Take(1) + scene.set->Take(2);
}

static std::string WriteFile(Scene& scene, bool hostFlushes) {
  IOBinFile file(scene.own);
  bool isWhole = file.Open(scene.file, IOBinFile::IOModeWrite, Level(0));
  for (const int count : {5, 4096, 3}) {
    file.Write(scene.text.data(), count);
    if (hostFlushes) std::fflush(nullptr);
  }
  isWhole = file.Seek(4) && file.Write("?", 1) == 1 && isWhole;
  isWhole = file.Close() && isWhole;
  const Pause pause;
  std::string bytes(10000, '\0');
  if (!file.Open(scene.file, IOBinFile::IOModeRead, Level(0))) return "wrong";  // usable again
  bytes.resize(file.Read(bytes.data(), 10000));
  return isWhole ? bytes : "";
}

static std::string ReadFile(Scene& scene) {
  IOBinFile file(scene.own);
  std::string bytes = scene.text;
  const bool isOpen = file.Open(scene.file, IOBinFile::IOModeRead, Level(0));
  int count = isOpen ? file.Read(bytes.data(), 10) : 0;
  if (count == 10 && file.Seek(4000)) count += file.Read(&bytes[10], 2000);
  return bytes.substr(0, count);
}

static std::string ReadRecords(Scene& scene) {
  BinFileIterator iterator(scene.file.c_str(), 100, scene.own, -1);
  std::string bytes;
  while (iterator.HasMore() == 0) bytes.append(reinterpret_cast<char*>(iterator.Next()->data), 800);
  return bytes;
}

static std::string ReadPairs(Scene& scene) {
  tree_800::QxConfigFile file(scene.file);
  return file.Read("a") + file.Read("b") + file.Read("c");
}

static std::string OpenWithoutOutput(Scene& scene) {
  std::optional<Pause> pause(std::in_place);
  const int output = dup(STDOUT_FILENO);
  close(STDOUT_FILENO);
  pause.reset();
  const int file = OpenFile(scene.file, "rb");
  pause.emplace();
  const bool isFree = fcntl(STDOUT_FILENO, F_GETFD) == -1;
  dup2(output, STDOUT_FILENO);
  for (const int descriptor : {output, file > STDERR_FILENO ? file : -1}) close(descriptor);
  return file == -1 ? "" : isFree && file > STDERR_FILENO ? "right" : "wrong";
}

static std::string Convert(Scene&) {
  std::string text;
  xmlu_800::UTF8ToMb("\u00e9", text);
  return text == "\xe9" ? "right " + xmlu_800::MbToUTF8(text) : text.empty() ? "" : "wrong";
}

// Each object stays as it was where it can't be changed.
static std::string ChangeObjects(Scene&) {
  std::optional<Pause> setUp(std::in_place);
  ValueWeights many;
  for (int value = 0; value < 300; ++value) many[value] = 1;
  ValueWeights copy(many);  // without room in its second leaf
  for (int value = 0; value < 400; ++value) many[value] = 2;
  setUp.reset();
  double rec[] = {1, 2};
  BinEncoderCache cache, other;
  QxStatistics statistics(2);
  CharArray array(3);
  TextOf([&] {
    other.update(rec);
    cache = other;
    statistics = QxStatistics(15);
    array = CharArray(4);
    copy = many;
  });
  const Pause pause;
  const auto hasRecord = [](BinEncoderCache& each) {
    return std::unique_ptr<Arbex_800::ADoubleRecordIterator>(each.createIterator())->HasMore() == 0;
  };
  const bool isLong = array.GetNumElements() == 4 && array.AsPChar(), isCopied = copy.size() == 400;
  if ((*copy.begin()).weight != (isCopied ? 2 : 1)) return "wrong";
  const int steps = hasRecord(other) + hasRecord(cache) + statistics.HasMean() + isLong + isCopied;
  return std::string(steps, 'x');
}

struct Operation {
  const char* name;
  std::function<std::string(Scene&)> run;  // gives what is right, or its beginning where it fails
  bool isFresh = false;                    // the C library keeps what the first time loads
};

static const Operation kOperations[] = {
    {"view set", [](Scene& s) { return MakeSet(s, s.own, false); }},
    {"view set, construction", [](Scene& s) { return s.set.emplace(0, s.views, s.own), "set"; }},
    {"view set, host flushing", [](Scene& s) { return MakeSet(s, s.own, true); }},
    {"view set, relative folder", [](Scene& s) { return MakeSet(s, s.relative, false); }},
    {"view set, engine's", [](Scene& s) { return MakeSet(s, s.engine.settings, false); }},
    {"IOBinFile, writing", [](Scene& s) { return WriteFile(s, false); }},
    {"IOBinFile, host flushing", [](Scene& s) { return WriteFile(s, true); }},
    {"IOBinFile, reading", ReadFile},
    {"BinFileIterator", ReadRecords},
    {"QxConfigFile", ReadPairs},
    {"GenerateTempName", [](Scene& s) { return s.NewName() == s.file ? "wrong" : "right"; }},
    {"CreateTempSubDirectory",
     [](Scene& s) { return CreateTempSubDirectory(s.path).empty() ? "" : "folder"; }},
    {"IsValidDirectory", [](Scene& s) { return IsValidDirectory(s.path) ? "valid" : ""; }},
    {"GetCurrentFolder", [](Scene& s) { return GetCurrentFolder().substr(0, s.path.size() - 6); }},
    {"OpenFile", OpenWithoutOutput},
    {"Format", [](Scene&) { return Format(0.5, false, "%.200f") + FormatRulesDate(0, true); },
     true},
    {"MbToUTF8, UTF8ToMb", Convert, true},
    {"BinEncoderCache, QxStatistics, CharArray", ChangeObjects}};

// What the process of an operation leaves behind.
struct Outcome {
  Faults faults;
  long call;      // that failed first
  char text[64];  // of the exception
  char result[16384];
};
static Outcome& outcome = *static_cast<Outcome*>(
    mmap(nullptr, sizeof(Outcome), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));
static std::string right;  // what an operation gives without failures
static std::string alone;  // what it throws where only the first one fails
static long runs = 0;

static bool HasFailed(const std::vector<int>& calls) {
  return std::any_of(calls.begin(), calls.end(),
                     [](int call) { return outcome.faults.failed[call]; });
}

// Whether what failed may have this text.
static bool Explains(const std::string& text) {
  if (outcome.faults.kind >= Faults::kResults) return text == outcome.faults.text;
  const bool isMemory = outcome.faults.kind == Faults::kMemory || HasFailed({SYS_brk, SYS_mmap});
  if (text == "std::bad_alloc") return isMemory;
  if (text == QxUtils_800::FileWriteError) return HasFailed({SYS_write, SYS_close});
  if (text != QxUtils_800::FileOpenError) return HasFailed({SYS_lseek, SYS_read});
  return isMemory || HasFailed({SYS_openat, SYS_newfstatat, SYS_fchmod, SYS_getcwd});
}

// Nothing can be written or taken after a failure.
static void CheckFailed(ViewSet& set) {
  const Pause pause;
  for (const int view : {0, 1, 2, 3}) {
    const bool isClosed = set.manager.CheckAllClosed();
    const auto write = TextOf([&] { set.manager.Write(view); });
    const auto close = TextOf([&] { EXPECT_FALSE(set.Close(view) || set.TakeFile(view)); });
    EXPECT_EQ(close, isClosed || close.empty() ? "" : QxUtils_800::FileWriteError);
    EXPECT_TRUE(write.empty() || write == close) << write;
  }
}

static void Perform(const Operation& operation) {
  Scene scene;
  std::string result;
  faults = outcome.faults;
  const std::string text = TextOf([&] { result = operation.run(scene); });
  const bool isMade = scene.set.has_value(), outOfMemory = text == "std::bad_alloc";
  if (isMade && !text.empty() && !outOfMemory) CheckFailed(*scene.set);
  scene.set.reset();
  outcome.faults = std::exchange(faults, {});
  text.copy(outcome.text, sizeof outcome.text - 1);
  result.copy(outcome.result, sizeof outcome.result - 1);
  EXPECT_TRUE(text.empty() || Explains(text)) << text;
  EXPECT_TRUE(alone.empty() || text == alone || outOfMemory) << text;  // none for the text either
  const bool isWhole = outcome.faults.failed.none() && !right.empty();
  EXPECT_TRUE(isWhole ? result == right : right.empty() || right.rfind(result, 0) == 0)
      << result.substr(0, 99);
  for (const fs::path& name : scene.folder.Entries()) {
    const std::string start = name.filename().string().substr(0, 6);
    if (start.substr(0, 2) != "qx" || HasFailed({SYS_unlink, SYS_newfstatat})) continue;
    EXPECT_TRUE(start == "qxfBIG" ? isMade || outOfMemory : result == "folder") << name << " stays";
  }
  EXPECT_EQ(scene.folder.Open(), 0);
  EXPECT_EQ(EngineFile::Living(), 1 + static_cast<int>(scene.engine.registry.size()));
}

// Performs an operation in a process of its own. Whether all that was to fail did so.
static bool Reaches(const Operation& operation, const Faults& fault) {
  if (testing::Test::HasFailure()) return false;
  ++runs;
  outcome = {fault, 0, "", ""};
  outcome.faults.firstCall = &outcome.call;
  const pid_t child = fork();
  if (child == 0) {
    alarm(60);
    if (operation.isFresh) setlocale(LC_ALL, "de_DE.ISO-8859-1");
    const long before = blocks;
    Perform(operation);
    EXPECT_TRUE(blocks == before || operation.isFresh || testing::Test::HasFailure()) << "a leak";
    std::fflush(stdout);
    if (__gcov_dump) __gcov_dump();
    _exit(testing::Test::HasFailure() ? 1 : 0);
  }
  int status = 0;
  waitpid(child, &status, 0);
  const char* const kinds[] = {"nothing", "system call", "allocation", "result", "exception"};
  EXPECT_EQ(status, 0) << operation.name << ", " << kinds[fault.kind] << " " << fault.number << " ("
                       << NameOf(outcome.call) << ", " << strerror(fault.error) << ") and number "
                       << fault.again << " after it (0: none, -1: all); alone: \"" << alone << '"';
  return outcome.faults.count >= fault.number + std::max(fault.again, 0L);
}

// Makes each event of a kind fail in turn, in all ways. Gives how many there were.
static long Sweep(const Operation& operation, Faults::Kind kind, int error) {
  Faults fault = {kind, 1, error};
  for (; Reaches(operation, fault); ++fault.number) {
    alone = outcome.text;
    fault.again = -1;
    Reaches(operation, fault);
    const bool inPairs = !alone.empty() && (error == EIO || error == 0);
    for (fault.again = 1; inPairs && Reaches(operation, fault);) ++fault.again;
    fault.again = 0;
    alone.clear();
  }
  return fault.number - 1;
}

TEST(Faults, EachCallAndAllocationInTurn) {
  TrapSystemCalls();
  if (access("/dev/shm", W_OK) == 0)
    setenv("TMPDIR", "/dev/shm", 0);  // ten times faster than a disk
  for (const Operation& operation : kOperations) {
    if (!operation.isFresh) operation.run(*std::make_unique<Scene>());
    right.clear();
    Reaches(operation, {});
    right = outcome.result;
    ASSERT_TRUE(right != "" && right != "wrong") << operation.name;
    long calls = 0;
    for (const int error : {EIO, ENOSPC, EMFILE, EINTR, 0})
      calls = std::max(calls, Sweep(operation, Faults::kCalls, error));
    const long allocations = Sweep(operation, Faults::kMemory, 0);
    for (const auto kind : {Faults::kResults, Faults::kExceptions}) Sweep(operation, kind, 0);
    std::cout << operation.name << ": " << calls << " system calls, " << allocations
              << " allocations, " << std::exchange(runs, 0) << " runs" << std::endl;
  }
}
