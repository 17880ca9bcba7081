#include <climits>
#include <fstream>

#include "qxutils/iterators/binfileiterator.h"
#include "support.h"

using namespace qxg_800;

namespace {

TEST(BinFileIterator, DeliversWholeRecordsOnly) {
  const TempFolder folder;
  const EnvironmentSettings settings(folder.path);
  const double doubles[] = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11};
  const struct {
    int bytes, length, records;
  } cases[] = {{96, 4, 3}, {0, 4, 0},        {80, 4, 2},      {31, 1, 3},
               {32, 0, 0}, {32, INT_MIN, 0}, {32, INT_MAX, 0}};
  for (const auto& c : cases) {
    std::ofstream(folder / "file").write(reinterpret_cast<const char*>(doubles), c.bytes);
    BinFileIterator iterator((folder / "file").c_str(), c.length, settings, -1);
    double expected = 0;
    for (int record = 0; record < c.records; ++record) {
      ASSERT_EQ(iterator.HasMore(), 0) << c.length;
      const auto* values = iterator.Next();
      ASSERT_EQ(values->size, c.length);
      for (int i = 0; i < values->size; ++i) EXPECT_EQ(values->data[i], expected++);
      EXPECT_EQ(iterator.Next(), values) << "the same record again";
    }
    EXPECT_EQ(iterator.HasMore(), 1) << c.length;
    EXPECT_EQ(iterator.Next(), nullptr);
    iterator.CancelIteration();
    EXPECT_EQ(iterator.HasMore(), 2);
  }
  EXPECT_TRUE(folder.Descriptors().empty());
}

TEST(BinFileIterator, TellsWhyThereIsNothingToRead) {
  const EnvironmentSettings settings("");
  for (const char* name : {"missing", static_cast<const char*>(nullptr)}) {
    EXPECT_EQ(BinFileIterator(name, 1, settings, -1).HasMore(), 1);
  }
  BinFileIterator nothing(nullptr, 1);
  nothing.Init();
  EXPECT_EQ(nothing.HasMore(), 3);
  EXPECT_EQ(nothing.Next(), nullptr);
  nothing.CancelIteration();
  EXPECT_EQ(nothing.GetFailReason(), 2);
  EXPECT_EQ(BinFileIterator("x", 1, settings, 0).HasMore(), 3) << "no such sequence id";
}

TEST(BinFileIterator, OwnsOnlyTheStorageThatItMade) {
  Engine engine;
  EngineStorage given(engine.world);
  const double values[] = {1, 2, 3, 4};
  given.Bytes().assign(reinterpret_cast<const char*>(values), sizeof values);
  {
    BinFileIterator iterator(&given, 1);
    EXPECT_EQ(iterator.HasMore() + iterator.HasMore(), 0) << "the first record is passed over";
    EXPECT_EQ(iterator.Next()->data[0], 2);
    iterator.Init();
    EXPECT_EQ(iterator.Next()->data[0], 0);
  }
  EXPECT_EQ(engine.world.operations, 2) << "two reads";
  engine.registry.push_back(new EngineStorage(given));
  engine.world.failAt = 4;  // clone, open
  EXPECT_EQ(BinFileIterator("", 4, engine.settings, 0).HasMore(), 1) << "though it could be read";
  engine.world.failAt = 9;  // close, clone, open, read, close
  EXPECT_EQ(BinFileIterator("", 4, engine.settings, 0).HasMore(), 0);
  EXPECT_EQ(engine.world.failed, "close");
  EXPECT_EQ(engine.world.live, 3);
}

}  // namespace
