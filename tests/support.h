// SPDX-FileCopyrightText: The qxutils authors
// SPDX-License-Identifier: Apache-2.0

// What the tests share: failures on demand, a folder that vanishes, an engine's storage.
#ifndef QXUTILS_TESTS_SUPPORT_H
#define QXUTILS_TESTS_SUPPORT_H

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <bitset>
#include <climits>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <functional>
#include <random>
#include <thread>

#include "examples/memorystorage.h"
#include "examples/viewset.h"
#include "qxutils/platform/platformspecs_unix.h"
#include "qxutils/platform/qxutilsexception.h"
#include "qxutils/viewset/qxviewbuffer.h"

namespace fs = std::filesystem;
using namespace qxg_800;
using Arbex_800::EnvironmentSettings;
using Level = EnvironmentSettings::CompressionLevel;

// What is made to fail on a thread: event number `number` of one kind, and another one after it.
struct Faults {
  enum Kind { kNone, kCalls, kMemory, kResults, kExceptions };  // the last two: of an engine
  // Counts one event of a kind; whether it fails.
  static constexpr long kEver = 10000;  // an endless row of EINTR would never be over
  bool Hit(Kind happens, long call = 0) {
    if (happens != kind) return false;
    const long after = ++count - number;
    const bool isLater = after == again || (again < 0 && after < kEver);
    if (number == 0 || after < 0 || (after > 0 && !isLater)) return false;
    if (after == 0 && firstCall) *firstCall = call;
    return failed.set(static_cast<unsigned>(call)), true;
  }
  Kind kind = kNone;
  long number = 0;                  // from 1; 0: events are only counted
  int error = EIO;                  // of system calls; 0: they come up short
  long again = 0;                   // so many events later one more fails; -1: all later ones fail
  long count = 0;                   // events so far
  long* firstCall = nullptr;        // where the number of the first one is left
  std::bitset<512> failed = {};     // all that failed
  const char* text = "no failure";  // what an engine's operation that failed is known as
};
inline thread_local Faults faults;
inline thread_local long blocks = 0;         // of memory, allocated and not yet freed
inline thread_local long heapBytes = 0;      // that they take
inline thread_local long mostHeapBytes = 0;  // that they have taken

// What the host does right before a system call of this thread, given the call's number.
inline thread_local std::function<void(long call)> meanwhile;

// From here on system calls of this thread can be made to fail, those within the C library too.
void TrapSystemCalls();
const char* NameOf(long call);

// The text of the exception that `action` throws; an empty one when it throws none.
template <class Action>
std::string TextOf(Action action) {
  std::string text;
  try {
    action();
  } catch (const std::exception& failure) {
    const Faults::Kind kind = std::exchange(faults.kind, Faults::kNone);
    text = failure.what();
    faults.kind = kind;
  }
  return text;
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

// An engine's storage, of which operations can be made to fail. One that fails to close has lost
// its data.
struct EngineFile : examples::MemoryStorage {
  bool Open(const std::string& name, int mode, Level level) override {
    EXPECT_EQ(level, Level(5)) << "that of the settings";
    if (mode != 0) std::ofstream(name).flush();
    return MemoryStorage::Open(name, mode, level) && !Fails(QxUtils_800::FileOpenError);
  }
  int Read(char* data, int length) override {
    if (length > 0 && Fails(QxUtils_800::FileReadError)) return length - 1;
    return MemoryStorage::Read(data, length);
  }
  int Write(const char* data, int length) override {
    if (length > 0 && Fails(QxUtils_800::FileWriteError)) return length - 1;
    return MemoryStorage::Write(data, length);
  }
  bool Seek(long to) override {
    return MemoryStorage::Seek(to) && !Fails(QxUtils_800::FileSeekError);
  }
  bool Close() override {
    if (!Fails(QxUtils_800::FileWriteError)) return MemoryStorage::Close();
    return MemoryStorage::Open(GetFileName(), 1, Level(5)) && !MemoryStorage::Close();
  }
  TempFileStorage* Clone() override { return Made() ? new EngineFile(*this) : nullptr; }
  TempFileStorage* GetNewObj() override { return Made() ? new EngineFile : nullptr; }

  static bool Fails(const char* text) {
    const bool byException = faults.Hit(Faults::kExceptions);
    if (!byException && !faults.Hit(Faults::kResults)) return false;
    if (faults.count == faults.number) faults.text = byException ? "the engine's own" : text;
    return byException ? throw std::runtime_error(faults.text) : true;
  }
  static bool Made() { return !Fails(QxUtils_800::FileOpenError); }
  static long Living() { return all.use_count() - 1; }
  static inline const auto all = std::make_shared<int>();
  std::shared_ptr<int> one = all;
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
