#include <fcntl.h>

#include <climits>

#include "libc_faults.h"
#include "qxutils/storage/defaulttempfilestorage.h"
#include "qxutils/storage/iobinfile.h"
#include "support.h"

using namespace qxg_800;

namespace {

// What every storage of single files must do, whoever made it.
void WriteAndReadBack(TempFileStorage& storage, const std::string& name, int level) {
  std::string bytes(10000, '\0');
  for (std::size_t i = 0; i < bytes.size(); ++i) bytes[i] = static_cast<char>(i * i % 251);
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

TEST(Storage, HoldsWhatWasWritten) {
  const TempFolder folder;
  const EnvironmentSettings settings(folder.path);
  NimbTempFileStorage own(settings);
  for (const int level : {0, 9, -1}) {
    WriteAndReadBack(own, folder / "own", level);
    EXPECT_EQ(std::filesystem::file_size(folder / "own"), 10000U);
  }
  Engine engine;
  WriteAndReadBack(engine.prototype, "engine's", 0);
}

TEST(Storage, HoldingNothing) {
  char byte = 'x';
  const EnvironmentSettings settings("");
  TempFileStorage plain;
  NimbTempFileStorage empty;
  NimbTempFileStorage closed(settings);
  for (TempFileStorage* storage :
       {&plain, static_cast<TempFileStorage*>(&empty), static_cast<TempFileStorage*>(&closed)}) {
    EXPECT_EQ(storage->Open("", 1, Level(0)), storage == &plain);
    EXPECT_EQ(storage->Seek(0), storage == &plain);
    EXPECT_EQ(storage->Close(), storage != &empty);
    EXPECT_EQ(storage->Read(&byte, 1) + storage->Write(&byte, 1), 0);
    EXPECT_EQ(storage->GetFileName(), storage == &closed ? "" : "abc");
    storage->SetSeqId(5);
    EXPECT_EQ(storage->GetSeqId(), -1);
    EXPECT_TRUE(!storage->Clone() && !storage->GetNewObj() && storage->RestHandle());
  }
}

TEST(BinFile, BadInputAndReuse) {
  const TempFolder folder;
  const EnvironmentSettings settings(folder.path);
  IOBinFile file(settings);
  char data[8] = "abcdefg";
  EXPECT_FALSE(file.Open(folder / "missing", IOBinFile::IOModeRead, Level(0)));
  EXPECT_EQ(file.GetFileName(), folder / "missing");

  ASSERT_TRUE(file.Open(folder / "a", IOBinFile::IOModeWrite, Level(0)));
  EXPECT_EQ(file.Write(data, 7), 7);
  EXPECT_EQ(file.Write(data, -1) + file.Write(nullptr, 4) + file.Read(data, 4), 0);
  EXPECT_NE(fcntl(folder.Descriptors().at(0), F_GETFD) & FD_CLOEXEC, 0);
  file.Remove();
  file.SetFileName("other");
  EXPECT_EQ(file.Write(data, 1), 1) << "the open stream is another matter";
  ASSERT_TRUE(file.Open(folder / "a", IOBinFile::IOModeRead, Level(0))) << "closes first";
  EXPECT_EQ(folder.Descriptors().size(), 1U);
  EXPECT_EQ(file.Read(nullptr, 4) + file.Read(data, INT_MIN), 0);
  EXPECT_FALSE(file.Seek(-1));
  EXPECT_EQ(file.Read(data, 8), 8);
  EXPECT_FALSE(file.Open("", IOBinFile::IOModeRead, Level(0)));
  EXPECT_TRUE(folder.Descriptors().empty()) << "an Open that fails leaves it closed";

  ASSERT_TRUE(file.Open(folder / "a", IOBinFile::IOModeWrite, Level(0)));
  EXPECT_EQ(std::filesystem::file_size(folder / "a"), 0U);
  const LibcFaults faults(1);
  EXPECT_FALSE(file.Open(folder / "b", IOBinFile::IOModeWrite, Level(0)));
  EXPECT_EQ(faults.failed, "close");
  EXPECT_EQ(folder.Entries(), std::set<std::string>{"a"}) << "nothing is opened then";
}

TEST(StorageManager, RegistersClonesOrGivesNull) {
  Engine engine;
  TempFileStorageMgr& manager = TempFileStorageMgr::instance();
  for (int id = 0; id < 3; ++id) {
    const std::unique_ptr<TempFileStorage> storage(manager.getObject(engine.settings));
    EXPECT_EQ(storage->GetSeqId(), id);
    EXPECT_EQ(engine.registry.at(static_cast<unsigned>(id))->GetSeqId(), id);
  }
  const std::unique_ptr<TempFileStorage> again(manager.getObject(engine.settings, 1));
  EXPECT_EQ(again->GetSeqId(), 1);

  for (const int failing : {1, 2}) {
    engine.world.failAt = engine.world.operations + failing;
    EXPECT_EQ(manager.getObject(engine.settings), nullptr);
  }
  EXPECT_EQ(engine.registry.size(), 3U);
  EXPECT_EQ(engine.world.live, 5) << "prototype, registry, and the one asked for again";
  engine.registry.push_back(nullptr);
  for (const int id : {3, 4, -1, INT_MIN, INT_MAX}) {
    EXPECT_EQ(manager.getObject(engine.settings, id), nullptr) << id;
  }
  engine.settings.storageRegistry = nullptr;
  EXPECT_EQ(manager.getObject(engine.settings), nullptr);
  EXPECT_EQ(manager.getObject(engine.settings, 0), nullptr);
}

}  // namespace
