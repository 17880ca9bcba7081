// What the tests share: failures on demand, a folder that vanishes, an engine's storage.
#ifndef QXUTILS_TESTS_SUPPORT_H
#define QXUTILS_TESTS_SUPPORT_H

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <climits>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <functional>
#include <random>
#include <thread>

#include "examples/viewset.h"
#include "qxutils/platform/platformspecs_unix.h"
#include "qxutils/viewset/qxviewbuffer.h"

namespace fs = std::filesystem;
using namespace qxg_800;
using Arbex_800::EnvironmentSettings;
using Level = EnvironmentSettings::CompressionLevel;

// What fails: operation number `left` (0: none) of an engine's storages and of the C library.
inline struct Faults {
  bool Hit(const char* text) {
    if (left == 0 || --left != 0) return false;
    failed = throws ? "the engine's own" : "Error " + std::string(text);
    errno = EIO;
    if (throws) throw std::runtime_error(failed);
    return true;
  }
  long left = 0;
  bool throws = false;                   // by an exception
  bool blind = false;                    // lstat sees nothing
  std::string failed = "";               // the text of an operation that has failed
  std::function<void()> afterOpen = {};  // called behind every fopen
} faults;

inline thread_local long allocationsLeft = 0;  // up to the one that fails; 0: none will, or it has

// The text of the exception that `action` throws; an empty one when it throws none.
template <class Action>
std::string TextOf(Action action) {
  try {
    action();
  } catch (const std::exception& failure) {
    return failure.what();
  }
  return "";
}

// Fails each allocation of `action` in turn, with `check` behind each. Gives how many there were.
template <class Action, class Check>
long FailEachAllocation(Action action, Check check) {
  for (long k = 1;; ++k) {
    allocationsLeft = k;
    const std::string text = TextOf(action);
    if (std::exchange(allocationsLeft, 0) > 0) return k - 1;
    EXPECT_EQ(text, "std::bad_alloc") << "allocation " << k;
    check();
  }
}

struct TempFolder {
  ~TempFolder() { fs::remove_all(path); }
  std::string operator/(const std::string& name) const { return path + '/' + name; }
  using Iterator = fs::directory_iterator;
  std::set<fs::path> Entries() const { return {Iterator(path), Iterator()}; }
  // How many files of this folder are open; one that a child of the process inherits counts 100.
  int Open() const {
    int count = 0;
    for (int fd = 0; fd < 64; ++fd) {
      std::error_code closed;
      const auto file = fs::read_symlink("/proc/self/fd/" + std::to_string(fd), closed);
      if (file.parent_path() == path) count += fcntl(fd, F_GETFD) & FD_CLOEXEC ? 1 : 100;
    }
    return count;
  }
  std::string path = fs::canonical(fs::temp_directory_path()) / "qxutils-test-XXXXXX";
  EnvironmentSettings settings{mkdtemp(path.data()) ? path : "no folder"};
};

// A storage of an engine that keeps its files in memory; clones share one.
struct EngineFile : TempFileStorage {
  bool Open(const std::string& newName, int mode, Level level) override {
    EXPECT_EQ(level, Level(5)) << "that of the settings";
    name = newName;
    position = 0;
    if (mode != 0) std::ofstream(name) << bytes->erase(0);
    return !faults.Hit("opening file");
  }
  int Read(char* data, int length) override {
    if (length > 0 && faults.Hit("reading from file")) return length - 1;
    const auto count = bytes->copy(data, static_cast<unsigned>(length), position);
    position += count;
    return static_cast<int>(count);
  }
  int Write(const char* data, int length) override {
    if (length > 0 && faults.Hit("writing to file")) return length - 1;
    bytes->append(data, static_cast<unsigned>(length));
    return length;
  }
  bool Seek(long to) override { return (position = to, !faults.Hit("seeking in file")); }
  bool Close() override { return !faults.Hit("writing to file"); }
  const std::string& GetFileName() const override { return name; }
  int GetSeqId() const override { return id; }
  void SetSeqId(const int& newId) override { id = newId; }
  TempFileStorage* Clone() override { return Made() ? new EngineFile(*this) : nullptr; }
  TempFileStorage* GetNewObj() override { return Made() ? new EngineFile : nullptr; }

  static bool Made() { return !faults.Hit("opening file"); }
  static long Living() { return all.use_count() - 1; }
  static inline const auto all = std::make_shared<int>();
  std::shared_ptr<int> one = all;
  std::shared_ptr<std::string> bytes = std::make_shared<std::string>();
  std::string name;
  std::size_t position = 0;
  int id = -1;
};

struct Engine {
  explicit Engine(const std::string& folder = "nowhere") : settings(folder, Level(5)) {
    settings.storagePrototype = &prototype;
    settings.storageRegistry = &registry;
  }
  ~Engine() {
    for (const TempFileStorage* clone : registry) delete clone;
  }
  EngineFile prototype;
  std::vector<TempFileStorage*> registry;
  EnvironmentSettings settings;
};

// A view set that takes and returns strings.
struct ViewSet : examples::ViewSet {
  using examples::ViewSet::ViewSet;
  int Write(int view, const std::string& items) {
    return examples::ViewSet::Write(view, items.data(), static_cast<int>(items.size()));
  }
  // Takes the view's file, reads it and removes it.
  std::string Take(int view) {
    const examples::ViewFile file = TakeFile(view);
    if (!file || !file->Open(file->GetFileName(), 0, Level(5))) return "no file";
    std::string bytes(1 << 16, '\0');
    bytes.resize(file->Read(bytes.data(), 1 << 16));
    return bytes;
  }
};

#endif
