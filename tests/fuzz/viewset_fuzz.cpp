// SPDX-FileCopyrightText: The qxutils authors
// SPDX-License-Identifier: Apache-2.0

// Calls of a view set in any order, wrong ones too, on storages that may fail, beside a model.
#include <optional>

#include "../support.h"
#include "fuzz.h"

namespace {

// Returns and throws what the set does.
struct Model {
  struct View {
    int size = 0;
    bool closed = true, taken = true;
    std::string pending = "", file = "";
  };
  int Write(View& from, View& to) {
    if (from.size < 1 || to.size < 1 || to.closed) return 0;
    if (failed || from.size != to.size) throw std::runtime_error(QxUtils_800::FileWriteError);
    to.file += std::exchange(from.pending, "");
    return 0;
  }
  int Store(View& view, const char* data, int bytes) {
    if (view.closed || view.size < 1) return -1;
    const long room = capacity * view.size - static_cast<long>(view.pending.size());
    if (room == 0) return (Write(view, view), Store(view, data, bytes));
    if (!data || bytes < 1 || bytes % view.size != 0 || bytes > room) return -1;
    return (view.pending.append(data, bytes), bytes);
  }
  int Close(View& view) {
    if (view.closed) return -1;
    if (failed) throw std::runtime_error(QxUtils_800::FileWriteError);
    Write(view, view);
    --open;
    return (view.closed = true) - 1;
  }
  bool IsComplete() const { return open == 0 && !failed && !views.empty(); }
  std::string Take(View& view) {
    const bool isThere = IsComplete() && !std::exchange(view.taken, true);
    return isThere ? view.file.substr(0, 1 << 16) : "no file";
  }
  std::vector<View> views = {};
  long capacity = 0;  // of each buffer in items
  int open = 0;       // views
  bool failed = false;
};

const FuzzTarget viewSet("viewset", [](FuzzInput in) {
  const Faults::Kind kinds[] = {Faults::kNone, Faults::kResults, Faults::kExceptions};
  const Faults::Kind kind = kinds[in.Byte() % 3];
  const int failing = in.Byte(), count = in.Byte() % 8;
  const long memory = (in.Byte() - 64) * 128;
  std::vector<ViewInfo> infos(count);
  Model model;
  model.open = count;
  long sum = 0;
  for (ViewInfo& info : infos) {
    const int byte = in.Byte();
    info.itemSize = byte < 240 ? byte % 40 - 2 : byte < 248 ? INT_MIN + byte : 1 << 12;
    model.views.push_back({info.itemSize, false, false});
    sum += std::max(info.itemSize, 0);
  }
  model.capacity = std::max(memory / std::max(sum, 1L), 10L);
  const TempFolder folder;
  const Engine engine;
  std::optional<ViewSet> set;
  faults = {kind, failing};
  const auto& settings = kind == Faults::kNone ? folder.settings : engine.settings;
  const std::string text = TextOf([&] { set.emplace(memory, infos, settings); });
  EXPECT_EQ(text, faults.failed.any() ? faults.text : "");
  while (set && in.at < in.bytes.size()) {
    const int operation = in.Byte(), view = in.Byte() % (count + 2) - 1, amount = in.Byte();
    Model::View none, none2, &known = view >= 0 && view < count ? model.views[view] : none,
                             &other = amount % 8 < count ? model.views[amount % 8] : none2;
    const int bytes = amount < 240 ? amount % 16 * std::max(known.size, 1) : amount - 245;
    const std::string data(std::max(bytes, 1), static_cast<char>(in.at));
    QxViewSetManager& manager = set->manager;
    QxViewBuffer* const buffer = manager.GetViewBuffer(view, known.size);
    QxViewBuffer* const from = manager.GetViewBuffer(amount % 8, other.size);
    const std::unique_ptr<TempFileStorage> second(
        TempFileStorageMgr::instance().getObject(view, manager, buffer));
    TempFileStorage& writer = &known != &none && operation % 2 ? *set->writers[view] : *second;
    const std::pair<std::function<int()>, std::function<int()>> calls[] = {
        {[&] { return manager.Close(view); }, [&] { return model.Close(known); }},
        {[&] { return writer.Close() - 1; }, [&] { return model.Close(known); }},
        {[&] { return (manager.Write(view), 0); }, [&] { return model.Write(known, known); }},
        {[&] { return (manager.WriteBufferToFile(from, view), 0); },
         [&] { return model.Write(other, known); }},
        {[&] { return (manager.UpdateIndex(view, amount - 255), 0); }, [] { return 0; }},
        {[&] { return set->Take(view) == model.Take(known); }, [] { return 1; }},
        {[&] { return writer.Write(nullptr, bytes); },
         [&] { return model.Store(known, nullptr, bytes); }},
        {[&] { return writer.Write(data.data(), bytes); },
         [&] { return model.Store(known, data.data(), bytes); }}};
    const auto& call = calls[std::min(operation / 4, 7)];
    if (model.open == 0) faults = {};
    faults.failed.reset();
    int result = 0, expected = 0;
    const std::string failure = TextOf([&] { result = call.first(); });
    if (faults.failed.any() && failure == faults.text) {
      model.failed = true;
      if (manager.CheckAllClosed()) model.open = 0;
      for (Model::View& each : model.views) each = model.open == 0 ? Model::View{each.size} : each;
    } else {
      EXPECT_EQ(failure, TextOf([&] { expected = call.second(); }));
      EXPECT_EQ(result, expected);
    }
    EXPECT_EQ(manager.CheckAllClosed(), model.open == 0);
    EXPECT_EQ(manager.GetViewBuffer(view, known.size + 1), nullptr);
    ASSERT_EQ(buffer != nullptr, known.size > 0);
    if (!buffer) continue;
    EXPECT_EQ(buffer->GetCapacity(), model.capacity);
    EXPECT_EQ(std::string(buffer->GetBuffer(), buffer->GetSize() * known.size), known.pending);
  }
  const bool isOwn = kind == Faults::kNone, isOpen = isOwn && !model.IsComplete();
  const auto isLeft = [](const Model::View& view) { return !view.taken; };
  const long left = std::count_if(model.views.begin(), model.views.end(), isLeft);
  EXPECT_EQ(folder.Entries().size(), isOpen ? 1 : isOwn ? left : 0);
  EXPECT_EQ(folder.Open(), isOpen);
  faults = {};
  set.reset();
  EXPECT_EQ(folder.Entries().size(), isOpen) << "the shared file stays";
  EXPECT_EQ(folder.Open(), 0);
  EXPECT_EQ(EngineFile::Living(), 1 + static_cast<int>(engine.registry.size()));
});

}  // namespace
