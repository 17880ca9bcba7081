// SPDX-FileCopyrightText: The qxutils authors
// SPDX-License-Identifier: Apache-2.0

#include "qxutils/storage/defaulttempfilestorage.h"
#include "qxutils/storage/iobinfile.h"
#include "support.h"

TEST(Storage, HoldsWhatWasWrittenWhoeverMadeIt) {
  const TempFolder folder;
  NimbTempFileStorage own(folder.settings);
  EngineFile engines;
  const std::string name = folder / "file";
  std::string bytes(10000, '\0');
  for (int i = 0; i < 10000; ++i) bytes[i] = static_cast<char>(i * i % 251);
  for (const int level : {5, 0, 9, -1}) {
    TempFileStorage& storage = level == 5 ? static_cast<TempFileStorage&>(engines) : own;
    ASSERT_TRUE(storage.Open(name, 7, Level(level)));
    EXPECT_EQ(storage.Write(bytes.data(), 10000), 10000);
    EXPECT_EQ(storage.Write(bytes.data(), 0), 0);
    EXPECT_TRUE(storage.Close());
    std::string back(10005, '?');
    ASSERT_TRUE(storage.Open(name, 0, Level(level)));
    EXPECT_EQ(storage.Read(back.data(), 10005), 10000);
    EXPECT_EQ(back, bytes + "?????");
    EXPECT_EQ(storage.Read(back.data(), 5), 0);
    EXPECT_TRUE(storage.Seek(9997));
    EXPECT_EQ(storage.Read(back.data(), 5), 3);
    EXPECT_EQ(back.substr(0, 3), bytes.substr(9997));
    EXPECT_TRUE(storage.Close());
    EXPECT_EQ(storage.GetFileName(), name);
  }
  EXPECT_EQ(fs::file_size(name), 10000U);
}

// What each operation of a storage returns.
static std::string Results(TempFileStorage& storage) {
  storage.SetFileName("other");
  storage.SetSeqId(7);
  storage.Remove();
  std::ostringstream text;
  text << "Open " << storage.Open("x", 1, Level(0)) << ", Seek " << storage.Seek(0) << ", Read "
       << storage.Read(nullptr, 1) << ", Write " << storage.Write("x", 1) << ", Close "
       << storage.Close() << ", name " << storage.GetFileName() << ", id " << storage.GetSeqId()
       << ", new " << storage.Clone() << storage.GetNewObj() << ", handles "
       << storage.GetFileHandle() << storage.GetContextHand() << storage.RestHandle();
  return text.str();
}

TEST(Storage, WithoutAFileHasNoName) {
  TempFileStorage plain;
  NimbTempFileStorage empty;
  const std::string rest = "name abc, id -1, new 00, handles 001";
  EXPECT_EQ(Results(plain), "Open 1, Seek 1, Read 0, Write 0, Close 1, " + rest);
  EXPECT_EQ(Results(empty), "Open 0, Seek 0, Read 0, Write 0, Close 0, " + rest);
  Engine engine;
  const ViewSet set(0, {{1, 0}}, engine.settings);
  EXPECT_EQ(Results(*set.writers[0]), "Open 0, Seek 0, Read 0, Write 1, Close 1, " + rest);
}

TEST(Storage, BadInputAndReuseOfAFile) {
  using Ints = std::vector<int>;
  const TempFolder folder;
  const std::string a = folder / "a", b = folder / "b";
  NimbTempFileStorage file(folder.settings);
  char data[8] = "abcdefg";
  EXPECT_EQ((Ints{file.Seek(0), file.Read(data, 4), file.Write(data, 4)}), Ints(3)) << "closed";
  EXPECT_TRUE(file.Close()) << "closed already";
  EXPECT_FALSE(file.Open(b, IOBinFile::IOModeRead, Level(0)));
  EXPECT_EQ(file.GetFileName(), b);
  ASSERT_TRUE(file.Open(a, IOBinFile::IOModeWrite, Level(0)));
  EXPECT_EQ((Ints{file.Write(data, -1), file.Write(nullptr, 4), file.Read(data, 4)}), Ints(3));
  file.Remove();
  file.SetFileName("other");
  EXPECT_EQ(file.GetFileName(), "other");
  EXPECT_EQ(file.Write(data, 8), 8) << "the open stream is another matter";
  ASSERT_TRUE(file.Open(a, IOBinFile::IOModeRead, Level(0))) << "closes first";
  EXPECT_EQ(folder.Open(), 1);
  EXPECT_EQ((Ints{file.Read(nullptr, 4), file.Read(data, INT_MIN), file.Seek(-1)}), Ints(3));
  EXPECT_EQ(file.Write("x", 1), 0) << "opened to read";
  EXPECT_EQ(file.Read(data, 8), 8);
  EXPECT_STREQ(data, "abcdefg");
  EXPECT_FALSE(file.Open("", IOBinFile::IOModeRead, Level(0)));
  EXPECT_EQ(folder.Open(), 0) << "an Open that fails leaves it closed";
  ASSERT_TRUE(file.Open(a, IOBinFile::IOModeWrite, Level(0)));
  EXPECT_EQ(fs::file_size(a), 0U);
  const std::string longName(999, 'x');
  faults = {Faults::kMemory, 1};
  EXPECT_NE(TextOf([&] { file.Open(longName, IOBinFile::IOModeWrite, Level(0)); }), "");
  EXPECT_EQ(folder.Open(), 1) << "its bytes are not lost by a close that nobody sees";
  TrapSystemCalls();
  faults = {Faults::kCalls, 1};
  EXPECT_FALSE(file.Open(b, IOBinFile::IOModeWrite, Level(0))) << "a close that fails";
  EXPECT_FALSE(fs::exists(b)) << "nothing is opened then";
  faults = {};
  auto set = std::make_unique<ViewSet>(0, std::vector<ViewInfo>{{8, 0}}, folder.settings);
  const std::string view = GenerateTempName(folder.path.c_str(), "qxf", "tmp");
  meanwhile = [&, opens = 0](long call) mutable {
    if (call != SYS_openat || ++opens != 3) return;
    fs::create_hard_link(view, b);
    faults = {Faults::kCalls, 1, EMFILE};
  };
  EXPECT_EQ(TextOf([&] { set->Close(0); }), QxUtils_800::FileOpenError) << "of the view file";
  meanwhile = nullptr;
  faults = {};
  fs::rename(b, view);
  set.reset();
  EXPECT_TRUE(fs::exists(view)) << "once it is removed, what has its name is the host's";
}

TEST(StorageManager, RegistersClonesOrGivesNull) {
  Engine engine;
  TempFileStorageMgr& manager = TempFileStorageMgr::instance();
  using Storage = std::unique_ptr<TempFileStorage>;
  for (const int id : {0, 1, 2}) {
    EXPECT_EQ(Storage(manager.getObject(engine.settings))->GetSeqId(), id);
    EXPECT_EQ(Storage(manager.getObject(engine.settings, id))->GetSeqId(), id);
  }
  for (const int failing : {1, 2}) {
    faults = {Faults::kResults, failing};
    EXPECT_EQ(manager.getObject(engine.settings), nullptr);
  }
  EXPECT_TRUE(engine.registry.size() == 3 && EngineFile::Living() == 4) << "with the prototype";
  engine.registry.push_back(nullptr);
  for (const int id : {3, 4, -1, INT_MIN, INT_MAX})
    EXPECT_EQ(manager.getObject(engine.settings, id), nullptr) << id;
  engine.settings.storageRegistry = nullptr;
  EXPECT_FALSE(manager.getObject(engine.settings) || manager.getObject(engine.settings, 0));
}
