// SPDX-FileCopyrightText: The qxutils authors
// SPDX-License-Identifier: Apache-2.0

#include "qxutils/platform/qxutilsexception.h"
#include "support.h"

TEST(ViewSet, BuffersShareTheBudget) {
  Engine engine;
  const auto itemsOf = [&](long memory, const std::vector<ViewInfo>& views) {
    QxViewSetManager manager(memory, views, engine.settings);
    const int last = static_cast<int>(views.size()) - 1;
    const QxViewBuffer* const buffer = manager.GetViewBuffer(last, views[last].itemSize);
    return buffer ? buffer->GetCapacity() : -1;
  };
  EXPECT_EQ(itemsOf(240, {{8, 0}, {16, 0}}), 10);
  EXPECT_EQ(itemsOf(1000, {{8, 0}, {16, 0}}), 41);
  EXPECT_EQ(itemsOf(1000, {{-8, 0}, {0, 0}, {10, 0}}), 100);
  EXPECT_EQ(itemsOf(LONG_MIN, {{8, 0}}), 10);
  EXPECT_EQ(itemsOf(LONG_MAX, {{1 << 27, 0}, {1, 0}}), 15);
  for (const int none : {0, -8, INT_MIN})
    EXPECT_EQ(itemsOf(100, {{none, 0}}) + itemsOf(100, {{8, 0}, {none, 0}}), -2) << "no buffer";
  EXPECT_THROW(QxViewBuffer(1 << 16, 1 << 16), std::bad_array_new_length);
  for (const auto& [capacity, size] : {std::pair(-1, 8), {8, 0}, {8, INT_MIN}})
    EXPECT_EQ(QxViewBuffer(capacity, size).Store("12345678", 8), -1);
}

TEST(ViewSet, BadCallsChangeNothing) {
  Engine engine;
  ViewSet set(0, {{4, 0}, {0, 0}}, engine.settings);
  TempFileStorage& writer = *set.writers[0];
  EXPECT_FALSE(writer.Open("x", 1, Level(0)) || writer.Seek(0) || writer.Read(nullptr, 4));
  for (const int view : {INT_MIN, INT_MAX}) {
    set.manager.UpdateIndex(view, 1);
    EXPECT_EQ(set.manager.Close(view), -1);
  }
  set.manager.UpdateIndex(0, LONG_MAX);
  set.manager.UpdateIndex(1, 5);
  EXPECT_EQ(set.Write(0, "1234"), 4);
  EXPECT_TRUE(set.Close(0) && set.Close(1));
  EXPECT_EQ(set.manager.GetViewBuffer(0, 4)->Store("5678", 4), -1) << "the view is closed";
  EXPECT_EQ(set.Take(0), "1234");
  ViewSet wrong(0, {{1, 0}, {1, 0}}, engine.settings);
  wrong.manager.UpdateIndex(0, 11);
  for (int item = 0; item < 20; ++item) wrong.Write(1, "x");
  EXPECT_TRUE(wrong.Close(1));
  EXPECT_THROW(wrong.Close(0), QxUtilsException) << "a segment larger than its buffer";
}

TEST(ViewSet, NeverTouchesFilesOfOthers) {
  const TempFolder folder;
  const EnvironmentSettings settings("");
  const std::string precious = GenerateTempName(folder.path.c_str(), "qxfBIG", "tmp");
  std::ofstream(precious) << "precious";
  const std::string before = GetCurrentFolder();
  const mode_t mask = umask(0);
  fs::current_path(folder.path);
  ViewSet set(0, {{8, 0}}, settings);
  const std::string deep = folder / std::string(100, 'd');
  fs::create_directory(deep);
  fs::current_path(deep);
  std::string dots;
  while (dots.size() < 4060) dots += "./";  // room for a file's name, not for the folder before it
  EXPECT_EQ(TextOf([&] { ViewSet(0, {}, EnvironmentSettings(dots)); }), QxUtils_800::FileOpenError);
  fs::current_path(before);
  EXPECT_TRUE(fs::remove(deep)) << "it is empty";
  EXPECT_TRUE(set.Close(0)) << "a relative folder is that of the beginning";
  umask(mask);
  EXPECT_EQ(fs::file_size(precious), 8U);
  fs::remove(precious);
  ASSERT_EQ(folder.Entries().size(), 1U);
  const std::string own = *folder.Entries().begin();
  EXPECT_EQ(fs::status(own).permissions(), fs::perms(0600));
  EXPECT_EQ(set.Take(0), "");
  EXPECT_EQ(GenerateTempName(folder.path.c_str(), "qxf", "tmp"), own) << "the name is free again";
  Engine engine(folder.path);
  ViewSet(0, {{8, 0}}, engine.settings).Close(0);
  EXPECT_EQ(folder.Entries().size(), 2U) << "an engine's files are the engine's";
  const std::string shared = GenerateTempName(folder.path.c_str(), "qxfBIG", "tmp");
  ViewSet last(0, {{8, 0}}, folder.settings);
  EXPECT_TRUE(fs::remove(shared));
  std::ofstream(shared) << "precious";
  EXPECT_EQ(TextOf([&] { last.Close(0); }), QxUtils_800::FileOpenError);
  EXPECT_EQ(fs::file_size(shared), 8U) << "another file of that name";
}
