// SPDX-FileCopyrightText: The qxutils authors
// SPDX-License-Identifier: Apache-2.0

// A view set as the subjects write it, and what else they need of files and items.
#ifndef QXUTILS_BENCH_VIEWS_H
#define QXUTILS_BENCH_VIEWS_H

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "bench.h"
#include "examples/viewset.h"
#include "qxutils/viewset/qxviewbuffer.h"

namespace bench {

constexpr int kItemBytes = 8;
constexpr long kBudget = 16'000'000;  // bytes of all buffers, where nothing else is said

class Descriptor {
 public:
  Descriptor(const std::string& name, int flags)
      : fDescriptor(open(name.c_str(), flags | O_CLOEXEC, 0600)) {
    if (fDescriptor < 0) Fail("can't open " + name);
  }
  Descriptor(Descriptor&& other) noexcept : fDescriptor(std::exchange(other.fDescriptor, -1)) {}
  Descriptor& operator=(Descriptor&&) = delete;
  ~Descriptor() { Close(); }
  void Close() {
    if (fDescriptor >= 0) Check(close(std::exchange(fDescriptor, -1)) == 0, "not closed");
  }
  int operator*() const { return fDescriptor; }
  void Write(const char* data, std::size_t bytes) const {
    Check(write(fDescriptor, data, bytes) == static_cast<ssize_t>(bytes), "a short write");
  }

 private:
  int fDescriptor;
};

// Hands the items of a file to `use`.
template <class Use>
void ForEachInFile(const std::string& name, Use use) {
  const Descriptor file(name, O_RDONLY);
  static std::vector<std::uint64_t> items(1 << 16);
  for (;;) {
    const ssize_t bytes = read(*file, items.data(), items.size() * kItemBytes);
    Check(bytes >= 0 && bytes % kItemBytes == 0, "a file is damaged");
    if (bytes == 0) return;
    std::for_each(items.begin(), items.begin() + bytes / kItemBytes, use);
  }
}

// Ours. It is closed in two steps, of which the second makes the views' files. ForEach removes the
// view's file.
class ViewSet {
 public:
  explicit ViewSet(int views, long budget = kBudget)
      : fSet(budget, Infos(views), fSettings), fLast(views - 1) {}
  void Write(int view, const char* item) {
    Check(fSet.Write(view, item, kItemBytes) == kItemBytes, "an item was refused");
  }
  qxg_800::QxViewBuffer& Buffer(int view) { return *fSet.manager.GetViewBuffer(view, kItemBytes); }
  void CloseAllButLast() {
    for (int view = 0; view < fLast; ++view) Check(fSet.Close(view), "not closed");
  }
  void CloseLast() { Check(fSet.Close(fLast), "not closed"); }
  template <class Use>
  void ForEach(int view, Use use) {
    const examples::ViewFile file = fSet.TakeFile(view);
    Check(file != nullptr, "a view has no file");
    ForEachInFile(file->GetFileName(), use);
  }

 private:
  static std::vector<qxg_800::ViewInfo> Infos(int views) {
    return std::vector<qxg_800::ViewInfo>(static_cast<std::size_t>(views), {kItemBytes, 0});
  }

  const Arbex_800::EnvironmentSettings fSettings{Folder()};
  examples::ViewSet fSet;
  int fLast;
};

// The item number `i` of a view is `i` times the number of views plus the view.
template <class Sink>
void Fill(Sink& sink, int views, long perView) {
  std::uint64_t item = 0;
  for (long i = 0; i < perView; ++i) {
    for (int view = 0; view < views; ++view, ++item) {
      sink.Write(view, reinterpret_cast<const char*>(&item));
    }
  }
}

template <class Sink>
void CheckItems(Sink& sink, int views, long perView) {
  for (int view = 0; view < views; ++view) {
    auto next = static_cast<std::uint64_t>(view);
    sink.ForEach(view, [&](std::uint64_t item) {
      Check(item == next, "another item in a view");
      next += static_cast<std::uint64_t>(views);
    });
    Check(next == static_cast<std::uint64_t>(view + perView * views), "items are missing");
  }
}

}  // namespace bench

#endif
