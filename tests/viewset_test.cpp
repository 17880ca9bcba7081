#include <sys/stat.h>

#include <algorithm>
#include <climits>
#include <fstream>
#include <optional>
#include <random>

#include "libc_faults.h"
#include "qxutils/platform/platformspecs_unix.h"
#include "qxutils/platform/qxutilsexception.h"
#include "support.h"

using namespace qxg_800;

namespace {

// A view set beside plain strings that say what each view must hold.
class Model {
 public:
  Model(unsigned seed, const EnvironmentSettings& settings)
      : fRandom(seed), fSet(Draw(0, 3000), DrawSizes(), settings), fViews(fSet.sizes.size()) {}

  // One random step on one view, which may be closed already.
  void Step() {
    const int view = Draw(0, static_cast<int>(fViews.size()) - 1);
    const int size = fSet.sizes[static_cast<unsigned>(view)];
    const int kind = Draw(0, 19);
    if (kind == 0) return Close(view);
    if (kind == 1) return Flush(view);
    Write(view, kind == 2 ? Draw(-1, 2) * size + Draw(-1, 1) : Draw(1, kind < 5 ? 14 : 1) * size);
  }

  void CloseAll() {
    std::vector<int> order(fViews.size());
    for (std::size_t i = 0; i < order.size(); ++i) order[i] = static_cast<int>(i);
    std::shuffle(order.begin(), order.end(), fRandom);
    for (const int view : order) {
      if (!State(view).closed) Close(view);
    }
    ASSERT_TRUE(AllClosed());
  }

  // Three in four; the rest is the destructor's.
  void TakeMost() {
    for (int view = 0; view < static_cast<int>(fViews.size()); ++view) {
      if (Draw(0, 3) == 0) continue;
      EXPECT_EQ(fSet.Take(view), State(view).bytes) << "view " << view;
      EXPECT_EQ(fSet.manager.GetFile(view), nullptr);
    }
  }

  std::size_t Count() const { return fViews.size(); }
  bool AllClosed() { return fSet.manager.CheckAllClosed(); }

 private:
  struct View {
    std::string bytes;
    long buffered = 0;
    bool closed = false;
  };

  int Draw(int from, int to) { return std::uniform_int_distribution<>(from, to)(fRandom); }
  std::vector<int> DrawSizes() {
    std::vector<int> sizes(static_cast<unsigned>(Draw(1, 12)));
    for (int& size : sizes) size = Draw(1, 40);
    return sizes;
  }
  View& State(int view) { return fViews[static_cast<unsigned>(view)]; }

  void Write(int view, int bytes) {
    std::string items(static_cast<unsigned>(std::max(bytes, 1)), '\0');
    for (char& byte : items) byte = static_cast<char>(Draw(-128, 127));
    View& state = State(view);
    const int size = fSet.sizes[static_cast<unsigned>(view)];
    const long capacity = fSet.manager.GetViewBuffer(view, size)->GetCapacity();
    if (state.buffered == capacity) state.buffered = 0;
    const bool fits = !state.closed && bytes > 0 && bytes % size == 0 &&
                      state.buffered + bytes / size <= capacity;
    ASSERT_EQ(fSet.Writer(view).Write(items.data(), bytes), fits ? bytes : -1);
    if (!fits) return;
    state.buffered += bytes / size;
    state.bytes += items;
  }
  void Flush(int view) {
    fSet.manager.Write(view);
    State(view).buffered = 0;
  }
  void Close(int view) {
    ASSERT_EQ(fSet.Close(view), !State(view).closed);
    State(view).closed = true;
  }

  std::mt19937 fRandom;
  ViewSet fSet;
  std::vector<View> fViews;
};

TEST(ViewSet, HoldsEveryViewLikeAStringOfItsOwn) {
  for (unsigned seed = 1; seed <= 600 && !HasFailure(); ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    const TempFolder folder;
    const EnvironmentSettings settings(folder.path);
    LibcFaults watch;
    std::size_t peak = 0;
    {
      Model model(seed, settings);
      for (unsigned step = 0; step < seed % 7 * 60 && !model.AllClosed(); ++step) model.Step();
      if (!model.AllClosed()) {
        EXPECT_EQ(folder.Descriptors().size(), 1U);
        EXPECT_EQ(folder.Entries().size(), 1U);
      }
      watch.afterOpen = [&] { peak = std::max(peak, folder.Descriptors().size()); };
      model.CloseAll();
      watch.afterOpen = nullptr;
      EXPECT_LE(peak, 2U) << "the shared file and one view file";
      EXPECT_TRUE(folder.Descriptors().empty());
      EXPECT_EQ(folder.Entries().size(), model.Count());
      model.TakeMost();
    }
    EXPECT_TRUE(folder.Entries().empty());
  }
}

struct Outcome {
  bool made = false;
  bool complete = false;
  std::string message;
};

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

Outcome RunSet(const EnvironmentSettings& settings, const std::function<void()>& disarm) {
  Outcome outcome;
  std::optional<ViewSet> set;
  try {
    set.emplace(0, std::vector<int>{8, 1, 3}, settings);
    outcome.made = true;
    Drive(*set);
    outcome.complete = true;
  } catch (const std::exception& failure) {
    outcome.message = failure.what();
  }
  disarm();
  if (outcome.complete) {
    EXPECT_EQ(set->Take(0).size(), 200U);
    EXPECT_EQ(set->Take(1), "abcdefghijklmnopqrstuvwxy");
    EXPECT_EQ(set->Take(2), "");
  } else if (set) {
    ExpectFailed(*set);
  }
  return outcome;
}

// The one failure that loses nothing is counted: the shared file's last close, when all is read.
void ExpectText(const Outcome& outcome, const std::string& failed, int& ignored) {
  static const std::map<std::string, std::string> texts{
      {"make", "Error opening file"},     {"open", "Error opening file"},
      {"write", "Error writing to file"}, {"close", "Error writing to file"},
      {"seek", "Error seeking in file"},  {"read", "Error reading from file"}};
  ignored += outcome.complete;
  EXPECT_TRUE(outcome.complete || outcome.message == texts.at(failed)) << outcome.message;
}

TEST(ViewSetFaults, EveryFailureOfAnEnginesStorageSurfaces) {
  for (const bool throws : {false, true}) {
    int ignored = 0;
    int failAt = 1;
    for (bool failed = true; failed; ++failAt) {
      Engine engine;
      engine.world.failAt = failAt;
      engine.world.throws = throws;
      const Outcome outcome = RunSet(engine.settings, [&] { engine.world.failAt = 0; });
      failed = !engine.world.failed.empty();
      EXPECT_TRUE(failed || outcome.complete);
      if (failed && !throws) ExpectText(outcome, engine.world.failed, ignored);
      EXPECT_EQ(outcome.message == engine.world.failed, throws || !failed);
      EXPECT_EQ(engine.world.live, 1 + static_cast<int>(engine.registry.size()));
    }
    EXPECT_GT(failAt, 40);
    EXPECT_EQ(ignored, throws ? 0 : 1);
  }
}

TEST(ViewSetFaults, EveryFailureOfTheCLibrarySurfaces) {
  int ignored = 0;
  int failAt = 1;
  for (std::string failed = "none yet"; !failed.empty(); ++failAt) {
    const TempFolder folder;
    const EnvironmentSettings settings(folder.path);
    std::optional<LibcFaults> faults(std::in_place, failAt);
    const Outcome outcome = RunSet(settings, [&] {
      failed = faults->failed;
      faults.reset();
    });
    EXPECT_TRUE(!failed.empty() || outcome.complete);
    if (!failed.empty()) ExpectText(outcome, failed, ignored);
    EXPECT_TRUE(folder.Descriptors().empty());
    const std::set<std::string> left = folder.Entries();
    ASSERT_EQ(left.size(), outcome.made && !outcome.complete ? 1U : 0U);
    EXPECT_TRUE(left.empty() || left.begin()->substr(0, 6) == "qxfBIG");
  }
  EXPECT_GT(failAt, 30);
  EXPECT_EQ(ignored, 1);
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

  ViewSet wrong(0, {8}, settings);
  wrong.manager.UpdateIndex(0, 11);
  EXPECT_THROW(wrong.Close(0), QxUtilsException) << "a segment larger than its buffer";
}

TEST(ViewSet, NeverTouchesAFileOfOthers) {
  const TempFolder folder;
  const EnvironmentSettings settings(folder.path);
  const std::string name = GenerateTempName(folder.path.c_str(), "qxfBIG", "tmp");
  std::ofstream(name) << "precious";
  LibcFaults faults;
  faults.blind = true;  // the probe does not see it
  const mode_t mask = umask(0);
  const ViewSet set(0, {8}, settings);
  umask(mask);
  EXPECT_EQ(std::filesystem::file_size(name), 8U);
  std::filesystem::remove(name);
  const std::string own = folder / *folder.Entries().begin();
  EXPECT_EQ(std::filesystem::status(own).permissions(), std::filesystem::perms(0600));
}

}  // namespace
