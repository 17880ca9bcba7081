// What the tests share: a folder that vanishes, a storage as an engine would bring it, a view set.
#ifndef QXUTILS_TESTS_SUPPORT_H
#define QXUTILS_TESTS_SUPPORT_H

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

#include "qxutils/storage/tempfilestorage.h"
#include "qxutils/storage/tempfilestoragemgr.h"
#include "qxutils/viewset/qxviewbuffer.h"
#include "qxutils/viewset/qxviewsetmanager.h"

using Arbex_800::EnvironmentSettings;
using Level = EnvironmentSettings::CompressionLevel;

struct TempFolder {
  TempFolder() : path(std::filesystem::temp_directory_path() / "qxutils-test-XXXXXX") {
    if (!mkdtemp(path.data())) throw std::runtime_error("no temporary folder");
  }
  ~TempFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path, ignored);
  }
  TempFolder(const TempFolder&) = delete;
  TempFolder& operator=(const TempFolder&) = delete;

  std::string operator/(const std::string& name) const { return path + '/' + name; }
  std::set<std::string> Entries() const {
    std::set<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(path)) {
      names.insert(entry.path().filename());
    }
    return names;
  }
  // The process's descriptors of files in this folder.
  std::vector<int> Descriptors() const {
    std::vector<int> open;
    std::error_code gone;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
      const auto target = std::filesystem::read_symlink(entry.path(), gone);
      if (target.parent_path() == path) open.push_back(std::stoi(entry.path().filename()));
    }
    return open;
  }

  std::string path;
};

// An engine that keeps its files in memory. The operation number `failAt` fails.
struct World {
  bool Fails(const char* operation) {
    if (++operations != failAt) return false;
    failed = operation;
    if (throws) throw std::runtime_error(operation);
    return true;
  }

  std::map<std::string, std::string> files;
  int live = 0;  // storage objects
  int operations = 0;
  int failAt = 0;
  bool throws = false;  // fail by an exception of the engine's own
  std::string failed;   // the operation that failed
};

struct EngineStorage : TempFileStorage {
  explicit EngineStorage(World& theWorld) : world(theWorld) { ++world.live; }
  EngineStorage(const EngineStorage& other)
      : TempFileStorage(other), world(other.world), id(other.id) {
    ++world.live;
  }
  ~EngineStorage() override { --world.live; }

  // The library's names do not differ while nothing stands on disk: the sequence id does.
  std::string& Bytes() { return world.files[name + '#' + std::to_string(id)]; }

  bool Open(const std::string& newName, int mode, Level /*level*/) override {
    name = newName;
    position = 0;
    if (mode != 0) std::ofstream(name) << Bytes().erase(0);
    return !world.Fails("open");
  }
  int Read(char* data, int length) override {
    if (length > 0 && world.Fails("read")) return length - 1;
    const auto count = Bytes().copy(data, static_cast<unsigned>(length), position);
    position += count;
    return static_cast<int>(count);
  }
  int Write(const char* data, int length) override {
    if (length > 0 && world.Fails("write")) return length - 1;
    Bytes().append(data, static_cast<unsigned>(length));
    return length;
  }
  bool Seek(long to) override {
    position = static_cast<std::size_t>(to);
    return !world.Fails("seek");
  }
  bool Close() override { return !world.Fails("close"); }
  const std::string& GetFileName() const override { return name; }
  int GetSeqId() const override { return id; }
  void SetSeqId(const int& newId) override { id = newId; }
  TempFileStorage* Clone() override {
    return world.Fails("make") ? nullptr : new EngineStorage(*this);
  }
  TempFileStorage* GetNewObj() override {
    return world.Fails("make") ? nullptr : new EngineStorage(world);
  }

  World& world;
  std::string name;
  std::size_t position = 0;
  int id = -1;
};

struct Engine {
  explicit Engine(const std::string& folder = "nowhere") : settings(folder) {
    settings.storagePrototype = &prototype;
    settings.storageRegistry = &registry;
  }
  ~Engine() {
    for (TempFileStorage* clone : registry) delete clone;
  }
  World world;
  EngineStorage prototype{world};
  std::vector<TempFileStorage*> registry;
  EnvironmentSettings settings;
};

// A view set with a writer for each view.
struct ViewSet {
  ViewSet(long memory, const std::vector<int>& itemSizes, const EnvironmentSettings& settings)
      : sizes(itemSizes), manager(memory, Infos(itemSizes), settings) {
    for (int view = 0; view < static_cast<int>(sizes.size()); ++view) {
      auto* buffer = manager.GetViewBuffer(view, sizes[static_cast<unsigned>(view)]);
      writers.push_back(std::unique_ptr<TempFileStorage>(
          TempFileStorageMgr::instance().getObject(view, manager, buffer)));
    }
  }
  static std::vector<qxg_800::ViewInfo> Infos(const std::vector<int>& itemSizes) {
    std::vector<qxg_800::ViewInfo> infos;
    for (const int size : itemSizes) infos.push_back({size, 0});
    return infos;
  }
  TempFileStorage& Writer(int view) { return *writers[static_cast<unsigned>(view)]; }
  int Write(int view, const std::string& items) {
    return Writer(view).Write(items.data(), static_cast<int>(items.size()));
  }
  bool Close(int view) { return Writer(view).Close(); }

  // Takes the view's file, reads it and removes it.
  std::string Take(int view) {
    const std::unique_ptr<TempFileStorage> file(manager.GetFile(view));
    if (!file) return "no file";
    const std::string name = file->GetFileName();
    std::string bytes(1 << 16, '\0');
    EXPECT_TRUE(file->Open(name, 0, Level(0)));
    bytes.resize(static_cast<unsigned>(file->Read(bytes.data(), 1 << 16)));
    std::filesystem::remove(name);
    return bytes;
  }

  std::vector<int> sizes;
  qxg_800::QxViewSetManager manager;
  std::vector<std::unique_ptr<TempFileStorage>> writers;
};

#endif
