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
    EXPECT_EQ(storage.Write(bytes.data(), 10000) + storage.Write(bytes.data(), 0), 10000);
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

TEST(Storage, HoldingNothing) {
  TempFileStorage plain;
  EXPECT_TRUE(plain.Open("x", 1, Level(0)) && plain.Seek(0) && plain.Close() && plain.RestHandle());
  EXPECT_TRUE(!plain.Read(nullptr, 1) && !plain.Write("x", 1) && plain.GetFileName() == "abc");
  EXPECT_TRUE(plain.GetSeqId() == -1 && !plain.Clone() && !plain.GetNewObj());
  NimbTempFileStorage empty;
  EXPECT_FALSE(empty.Open("x", 1, Level(0)) || empty.Seek(0) || empty.Close());
  EXPECT_TRUE(!empty.Read(nullptr, 1) && !empty.Write("x", 1) && empty.GetFileName() == "abc");
}

TEST(BinFile, BadInputAndReuse) {
  const TempFolder folder;
  const std::string a = folder / "a", b = folder / "b";
  IOBinFile file(folder.settings);
  EXPECT_TRUE(file.Close() && !file.Seek(0)) << "closed already";
  char data[8] = "abcdefg";
  EXPECT_TRUE(!file.Open(b, IOBinFile::IOModeRead, Level(0)) && file.GetFileName() == b);
  ASSERT_TRUE(file.Open(a, IOBinFile::IOModeWrite, Level(0)));
  EXPECT_EQ(file.Write(data, -1) + file.Write(nullptr, 4) + file.Read(data, 4), 0);
  file.Remove();
  file.SetFileName("other");
  EXPECT_EQ(file.Write(data, 8), 8) << "the open stream is another matter";
  ASSERT_TRUE(file.Open(a, IOBinFile::IOModeRead, Level(0))) << "closes first";
  EXPECT_EQ(folder.Open(), 1);
  EXPECT_EQ(file.Read(nullptr, 4) + file.Read(data, INT_MIN) + file.Seek(-1), 0);
  EXPECT_EQ(file.Read(data, 8), 8);
  EXPECT_FALSE(file.Open("", IOBinFile::IOModeRead, Level(0)));
  EXPECT_EQ(folder.Open(), 0) << "an Open that fails leaves it closed";
  ASSERT_TRUE(file.Open(a, IOBinFile::IOModeWrite, Level(0)));
  EXPECT_EQ(fs::file_size(a), 0U);
  FailCall(SYS_close);
  EXPECT_FALSE(file.Open(b, IOBinFile::IOModeWrite, Level(0))) << "a close that fails";
  EXPECT_FALSE(fs::exists(b)) << "nothing is opened then";
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
