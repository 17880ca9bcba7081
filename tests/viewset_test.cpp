#include <sys/stat.h>

#include <algorithm>
#include <climits>
#include <fstream>
#include <optional>
#include <random>
#include <tuple>

#include "failing_new.h"
#include "libc_faults.h"
#include "qxutils/platform/platformspecs_unix.h"
#include "qxutils/platform/qxutilsexception.h"
#include "support.h"

using namespace qxg_800;

namespace {

// A view set beside plain strings that say what each view must hold.
struct Model {
  struct View {
    int size;
    std::string bytes;
    long buffered = 0;
    bool closed = false;
  };

  Model(unsigned seed, const EnvironmentSettings& settings)
      : random(seed),
        views(static_cast<unsigned>(Draw(1, 12))),
        set(Draw(0, 3000), Sizes(), settings) {}

  int Draw(int from, int to) { return std::uniform_int_distribution<>(from, to)(random); }
  std::vector<int> Sizes() {
    std::vector<int> sizes;
    for (View& view : views) sizes.push_back(view.size = Draw(1, 40));
    return sizes;
  }

  // One random step on one view, which may be closed already.
  void Step() {
    const int number = Draw(0, static_cast<int>(views.size()) - 1);
    View& view = views[static_cast<unsigned>(number)];
    const int kind = Draw(0, 19);
    if (kind == 0) return Close(number);
    if (kind == 1) {
      set.manager.Write(number);
      view.buffered = 0;
    } else if (kind == 2) {
      Write(number, Draw(-1, 2) * view.size + Draw(-1, 1));
    } else {
      Write(number, Draw(1, kind < 6 ? 14 : 1) * view.size);
    }
  }
  void Write(int number, int bytes) {
    View& view = views[static_cast<unsigned>(number)];
    std::string items(static_cast<unsigned>(std::max(bytes, 1)), '\0');
    for (char& byte : items) byte = static_cast<char>(Draw(-128, 127));
    const long capacity = set.manager.GetViewBuffer(number, view.size)->GetCapacity();
    if (view.buffered == capacity) view.buffered = 0;
    const bool fits = !view.closed && bytes > 0 && bytes % view.size == 0 &&
                      view.buffered + bytes / view.size <= capacity;
    ASSERT_EQ(set.Writer(number).Write(items.data(), bytes), fits ? bytes : -1);
    if (!fits) return;
    view.buffered += bytes / view.size;
    view.bytes += items;
  }
  void Close(int number) {
    bool& closed = views[static_cast<unsigned>(number)].closed;
    ASSERT_EQ(set.Close(number), !closed);
    closed = true;
  }

  std::mt19937 random;
  std::vector<View> views;
  ViewSet set;
};

TEST(ViewSet, HoldsEveryViewLikeAStringOfItsOwn) {
  for (unsigned seed = 1; seed <= 600 && !HasFailure(); ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    const TempFolder folder;
    const EnvironmentSettings settings(folder.path);
    LibcFaults watch;
    std::size_t peak = 1;
    {
      Model model(seed, settings);
      watch.afterOpen = [&] { peak = std::max(peak, folder.Descriptors().size()); };
      for (unsigned step = 0; step < seed % 7 * 60; ++step) model.Step();
      const bool open = !model.set.manager.CheckAllClosed();
      EXPECT_EQ(folder.Descriptors().size(), open ? 1U : 0U);
      EXPECT_EQ(folder.Entries().size(), open ? 1U : model.views.size());
      while (!model.set.manager.CheckAllClosed()) {
        model.Close(model.Draw(0, static_cast<int>(model.views.size()) - 1));
      }
      EXPECT_LE(peak, 2U) << "the shared file and one view file";
      EXPECT_TRUE(folder.Descriptors().empty());
      EXPECT_EQ(folder.Entries().size(), model.views.size());
      for (std::size_t view = seed % 3; view < model.views.size(); ++view) {  // or the destructor's
        EXPECT_EQ(model.set.Take(static_cast<int>(view)), model.views[view].bytes);
        EXPECT_EQ(model.set.manager.GetFile(static_cast<int>(view)), nullptr);
      }
    }
    EXPECT_TRUE(folder.Entries().empty());
  }
}

// Drives three views, one of them empty, through several segments to the end.
void Drive(ViewSet& set) {
  for (char item = 'a'; item < 'z'; ++item) {
    ASSERT_EQ(set.Write(0, std::string(8, item)), 8);
    ASSERT_EQ(set.Write(1, std::string(1, item)), 1);
  }
  for (const int view : {1, 2, 0}) ASSERT_TRUE(set.Close(view));
}

// A set that failed never claims success afterwards.
void ExpectFailed(ViewSet& set) {
  const bool closed = set.manager.CheckAllClosed();
  for (const int view : {0, 1, 2}) {
    EXPECT_EQ(set.manager.GetFile(view), nullptr);
    try {
      set.manager.Write(view);
      EXPECT_FALSE(set.Close(view));
    } catch (const QxUtilsException& again) {
      EXPECT_FALSE(closed);
      EXPECT_STREQ(again.what(), QxUtils_800::FileWriteError);
    }
  }
}

// The text of the failure, or an empty one when there is none. `made`: the constructor succeeded.
std::string RunSet(const EnvironmentSettings& settings, const std::function<void()>& disarm,
                   bool* made = nullptr) {
  std::string message;
  std::optional<ViewSet> set;
  try {
    set.emplace(0, std::vector<int>{8, 1, 3}, settings);
    Drive(*set);
  } catch (const std::exception& failure) {
    message = failure.what();
  }
  disarm();
  if (made) *made = set.has_value();
  if (message.empty()) {
    EXPECT_EQ(set->Take(0).size(), 200U);
    EXPECT_EQ(set->Take(1), "abcdefghijklmnopqrstuvwxy");
    EXPECT_EQ(set->Take(2), "");
  } else if (set) {
    ExpectFailed(*set);
  }
  return message;
}

// Fails each operation in turn until none is left to fail: `run(k)` gives the operation that failed
// and the text that came of it. `untold`: the failures that lose nothing and may go without a text.
template <class RunAt>
void Sweep(int untold, RunAt run) {
  const std::map<std::string, std::string> texts{
      {"make", "Error opening file"},     {"open", "Error opening file"},
      {"write", "Error writing to file"}, {"close", "Error writing to file"},
      {"seek", "Error seeking in file"},  {"read", "Error reading from file"}};
  int operation = 1;
  for (std::string failed = "none yet"; !failed.empty(); ++operation) {
    std::string text;
    std::tie(failed, text) = run(operation);
    untold -= text.empty() && !failed.empty();
    EXPECT_TRUE(text.empty() || text == failed || text == texts.at(failed)) << failed << text;
  }
  EXPECT_GT(operation, 30);
  EXPECT_EQ(untold, 0);
}

TEST(ViewSetFaults, EveryFailureOfAnEnginesStorageSurfaces) {
  for (const bool throws : {false, true}) {
    Sweep(throws ? 0 : 1, [throws](int operation) {
      Engine engine;
      engine.world.failAt = operation;
      engine.world.throws = throws;
      std::string text = RunSet(engine.settings, [&] { engine.world.failAt = 0; });
      EXPECT_EQ(engine.world.live, 1 + static_cast<int>(engine.registry.size()));
      return std::pair(engine.world.failed, text);
    });
  }
}

TEST(ViewSetFaults, EveryFailureOfTheCLibrarySurfaces) {
  Sweep(1, [](int operation) {
    const TempFolder folder;
    const EnvironmentSettings settings(folder.path);
    LibcFaults faults(operation);
    bool made = false;
    std::string text = RunSet(
        settings, [&] { faults.left = 0; }, &made);
    EXPECT_TRUE(folder.Descriptors().empty());
    const std::set<std::string> left = folder.Entries();
    EXPECT_EQ(left.size(), made && !text.empty() ? 1U : 0U);
    EXPECT_TRUE(left.empty() || left.begin()->substr(0, 6) == "qxfBIG");
    return std::pair(faults.failed, text);
  });
}

TEST(ViewSet, BuffersShareTheBudget) {
  const TempFolder folder;
  const EnvironmentSettings settings(folder.path);
  const struct {
    long memory;
    std::vector<int> sizes;
    long capacity;
  } cases[] = {{240, {8, 16}, 10},    {1000, {8, 16}, 41},      {0, {8}, 10},
               {LONG_MIN, {8}, 10},   {1000, {-8, 0, 10}, 100}, {LONG_MAX, {1 << 28, 1}, 7},
               {100, {INT_MIN, 0}, 0}};
  for (const auto& c : cases) {
    QxViewSetManager manager(c.memory, ViewSet::Infos(c.sizes), settings);
    for (std::size_t view = 0; view < c.sizes.size(); ++view) {
      const QxViewBuffer* buffer = manager.GetViewBuffer(static_cast<int>(view), c.sizes[view]);
      ASSERT_EQ(buffer != nullptr, c.sizes[view] > 0);
      EXPECT_EQ(buffer ? buffer->GetCapacity() : c.capacity, c.capacity);
    }
  }
  EXPECT_THROW(QxViewBuffer(1 << 16, 1 << 16), std::bad_array_new_length);
  for (const auto& [capacity, size] : {std::pair(-1, 8), std::pair(8, 0), std::pair(8, INT_MIN)}) {
    QxViewBuffer buffer(capacity, size);
    EXPECT_EQ(buffer.GetBuffer(), nullptr);
    for (const int bytes : {8, 0, INT_MIN}) EXPECT_EQ(buffer.Store("12345678", bytes), -1);
  }
}

TEST(ViewSet, BadCallsChangeNothing) {
  const TempFolder folder;
  const EnvironmentSettings settings(folder.path);
  ViewSet set(0, {4, 0}, settings);
  TempFileStorage& writer = set.Writer(0);
  EXPECT_FALSE(writer.Open("x", 1, Level(0)) || writer.Seek(0) || writer.Read(nullptr, 4));
  EXPECT_EQ(writer.GetFileName(), "abc");
  EXPECT_EQ(set.Write(1, "1"), -1) << "no buffer";
  QxViewBuffer other(10, 8);
  for (const int view : {-1, 2, INT_MIN, INT_MAX}) {
    set.manager.Write(view);
    set.manager.WriteBufferToFile(&other, view);
    set.manager.UpdateIndex(view, 1);
    EXPECT_EQ(set.manager.Close(view), -1);
    EXPECT_FALSE(set.manager.GetFile(view) || set.manager.GetViewBuffer(view, 4));
  }
  for (const long items : {-1L, LONG_MAX}) set.manager.UpdateIndex(0, items);
  set.manager.UpdateIndex(1, 5);
  set.manager.WriteBufferToFile(nullptr, 0);
  EXPECT_THROW(set.manager.WriteBufferToFile(&other, 0), QxUtilsException) << "another item size";
  EXPECT_EQ(set.manager.GetViewBuffer(0, 8), nullptr);
  EXPECT_EQ(set.Write(0, "1234"), 4);
  EXPECT_TRUE(set.Close(0) && set.Close(1));
  EXPECT_EQ(set.manager.GetViewBuffer(0, 4)->Store("5678", 4), -1) << "the view is closed";
  EXPECT_EQ(set.Take(0) + set.Take(1), "1234");

  ViewSet wrong(0, {8, 1}, settings);
  wrong.manager.UpdateIndex(0, 11);
  for (int item = 0; item < 100; ++item) wrong.Write(1, "x");
  wrong.Close(1);
  EXPECT_THROW(wrong.Close(0), QxUtilsException) << "a segment larger than its buffer";
}

TEST(ViewSet, NeverTouchesFilesOfOthers) {
  const TempFolder folder;
  const std::string precious = GenerateTempName(folder.path.c_str(), "qxfBIG", "tmp");
  std::ofstream(precious) << "precious";
  const EnvironmentSettings settings("");
  const std::string before = GetCurrentFolder();
  const mode_t mask = umask(0);
  LibcFaults faults;
  faults.blind = true;  // the probe does not see what stands there
  std::filesystem::current_path(folder.path);
  ViewSet set(0, {8}, settings);
  umask(mask);
  std::filesystem::current_path(before);
  EXPECT_EQ(std::filesystem::file_size(precious), 8U);
  std::filesystem::remove(precious);
  const std::string own = folder / *folder.Entries().begin();
  EXPECT_EQ(std::filesystem::status(own).permissions(), std::filesystem::perms(0600));
  EXPECT_TRUE(set.Close(0)) << "a relative folder is that of the beginning";
  EXPECT_EQ(set.Take(0), "");
  EXPECT_TRUE(folder.Entries().empty());
}

TEST(ViewSet, LeavesAnEnginesFilesToTheEngine) {
  const TempFolder folder;
  Engine engine(folder.path);
  std::make_unique<ViewSet>(0, std::vector<int>{8}, engine.settings)->Close(0);
  EXPECT_EQ(folder.Entries().size(), 2U);
}

TEST(ViewSet, WantOfMemoryLosesNothing) {
  const TempFolder folder;
  const EnvironmentSettings settings(folder.path);
  std::optional<ViewSet> set;
  const auto check = [&] {
    set.reset();
    EXPECT_TRUE(folder.Descriptors().empty());
    for (const std::string& name : folder.Entries()) {
      EXPECT_EQ(name.substr(0, 6), "qxfBIG");
      std::filesystem::remove(folder / name);
    }
  };
  const auto drive = [&] {
    set.emplace(0, std::vector<int>{8, 1, 3}, settings);
    Drive(*set);
  };
  EXPECT_GT(FailEachAllocation(drive, check), 20);
  EXPECT_EQ(set->Take(1), "abcdefghijklmnopqrstuvwxy");
}

}  // namespace
