// A view set, and what users could write many streams of items with instead. Each is made for a
// number of views, takes their items one by one, and is closed in two steps, the second of which
// stands for the close of the last view; ForEach then gives a view's items back.
#ifndef QXUTILS_BENCH_VIEWPEERS_H
#define QXUTILS_BENCH_VIEWPEERS_H

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "bench.h"
#include "qxutils/storage/tempfilestorage.h"
#include "qxutils/storage/tempfilestoragemgr.h"
#include "qxutils/viewset/qxviewbuffer.h"
#include "qxutils/viewset/qxviewsetmanager.h"

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

inline std::string FileOf(int view) { return Folder() + "/view" + std::to_string(view); }

// Gives the items of a file, which it removes, to `use`.
template <class Use>
void ForEachInFile(const std::string& name, Use use) {
  const Descriptor file(name, O_RDONLY);
  static std::vector<std::uint64_t> items(1 << 16);
  for (;;) {
    const ssize_t bytes = read(*file, items.data(), items.size() * kItemBytes);
    Check(bytes >= 0 && bytes % kItemBytes == 0, "a file is damaged");
    if (bytes == 0) break;
    std::for_each(items.begin(), items.begin() + bytes / kItemBytes, use);
  }
  std::remove(name.c_str());
}

// A view set of ours with a writer for each view, as an engine would use it.
class ViewSet {
 public:
  explicit ViewSet(int views, long budget = kBudget)
      : fManager(budget, Infos(views), fSettings), fWriters(static_cast<std::size_t>(views)) {
    for (int view = 0; view < views; ++view) {
      Writer(view).reset(TempFileStorageMgr::instance().getObject(view, fManager, &Buffer(view)));
    }
  }

  void Write(int view, const char* item) {
    Check(Writer(view)->Write(item, kItemBytes) == kItemBytes, "an item was refused");
  }
  qxg_800::QxViewBuffer& Buffer(int view) { return *fManager.GetViewBuffer(view, kItemBytes); }
  void CloseAllButLast() {
    for (int view = 0; view < LastView(); ++view) Check(Writer(view)->Close(), "not closed");
  }
  void CloseLast() { Check(Writer(LastView())->Close(), "not closed"); }
  template <class Use>
  void ForEach(int view, Use use) {
    const std::unique_ptr<TempFileStorage> file(fManager.GetFile(view));
    ForEachInFile(file->GetFileName(), use);
  }

 private:
  static std::vector<qxg_800::ViewInfo> Infos(int views) {
    return std::vector<qxg_800::ViewInfo>(static_cast<std::size_t>(views), {kItemBytes, 0});
  }
  int LastView() const { return static_cast<int>(fWriters.size()) - 1; }
  std::unique_ptr<TempFileStorage>& Writer(int view) {
    return fWriters[static_cast<std::size_t>(view)];
  }

  const Arbex_800::EnvironmentSettings fSettings{Folder()};
  qxg_800::QxViewSetManager fManager;
  std::vector<std::unique_ptr<TempFileStorage>> fWriters;
};

class Streams {
 public:
  explicit Streams(int views) {
    for (int view = 0; view < views; ++view) {
      fStreams.emplace_back(std::fopen(FileOf(view).c_str(), "wbe"), &std::fclose);
      Check(fStreams.back() != nullptr, "no stream");
    }
  }
  void Write(int view, const char* item) {
    std::FILE* const stream = fStreams[static_cast<std::size_t>(view)].get();
    Check(std::fwrite(item, 1, kItemBytes, stream) == kItemBytes, "a short write");
  }
  void CloseAllButLast() {}
  void CloseLast() {
    for (auto& stream : fStreams) Check(std::fclose(stream.release()) == 0, "not closed");
  }
  template <class Use>
  void ForEach(int view, Use use) const {
    ForEachInFile(FileOf(view), use);
  }

 private:
  std::vector<std::unique_ptr<std::FILE, int (*)(std::FILE*)>> fStreams;
};

// Buffers of the same size as ours; what becomes of a full one is the target's business.
template <class Target>
class Buffered {
 public:
  explicit Buffered(int views, long budget = kBudget)
      : fBytes(static_cast<std::size_t>(std::max<long>(budget / kItemBytes / views, 10)) *
               kItemBytes),
        fSizes(static_cast<std::size_t>(views)),
        fBuffers(new char[fBytes * fSizes.size()]),
        fTarget(views, fBytes) {}
  void Write(int view, const char* item) {
    const auto slot = static_cast<std::size_t>(view);
    if (fSizes[slot] == fBytes) Flush(slot);
    std::memcpy(&fBuffers[slot * fBytes + fSizes[slot]], item, kItemBytes);
    fSizes[slot] += kItemBytes;
  }
  void CloseAllButLast() {
    for (std::size_t slot = 0; slot + 1 < fSizes.size(); ++slot) Flush(slot);
  }
  void CloseLast() {
    Flush(fSizes.size() - 1);
    fTarget.Finish(fBuffers.get());
  }
  template <class Use>
  void ForEach(int view, Use use) {
    fTarget.ForEach(view, use);
  }

 private:
  void Flush(std::size_t slot) {
    fTarget.Append(static_cast<int>(slot), &fBuffers[slot * fBytes], fSizes[slot]);
    fSizes[slot] = 0;
  }

  std::size_t fBytes;               // of a buffer
  std::vector<std::size_t> fSizes;  // bytes in use, a view
  std::unique_ptr<char[]> fBuffers;
  Target fTarget;
};

struct InFiles {
  void Finish(char* /*scratch*/) {}
  template <class Use>
  void ForEach(int view, Use use) const {
    ForEachInFile(FileOf(view), use);
  }
};

// One file that all views share, copied out at the end: the least that a view set can do. When
// kOpensTwice, each view's file is made first and then opened by its name, as a view set has to.
template <bool kOpensTwice = false>
class OneFile : public InFiles {
 public:
  OneFile(int views, std::size_t /*bytes*/)
      : fIndex(static_cast<std::size_t>(views)),
        fName(Folder() + "/shared"),
        fFile(fName, O_RDWR | O_CREAT | O_EXCL) {}
  void Append(int view, const char* data, std::size_t bytes) {
    fFile.Write(data, bytes);
    fIndex[static_cast<std::size_t>(view)].emplace_back(fEnd, bytes);
    fEnd += static_cast<off_t>(bytes);
  }
  void Finish(char* scratch) {
    for (std::size_t view = 0; view < fIndex.size(); ++view) {
      const std::string name = FileOf(static_cast<int>(view));
      if (kOpensTwice) Descriptor(name, O_WRONLY | O_CREAT | O_EXCL).Close();
      const Descriptor out(name, O_WRONLY | O_CREAT | (kOpensTwice ? O_TRUNC : O_EXCL));
      for (const auto& [start, bytes] : fIndex[view]) {
        Check(pread(*fFile, scratch, bytes, start) == static_cast<ssize_t>(bytes), "a short read");
        out.Write(scratch, bytes);
      }
    }
    fFile.Close();
    std::remove(fName.c_str());
  }

 private:
  std::vector<std::vector<std::pair<off_t, std::size_t>>> fIndex;
  std::string fName;
  Descriptor fFile;
  off_t fEnd = 0;
};

// Opens the view's file for every buffer, to append it.
struct Reopening : InFiles {
  Reopening(int /*views*/, std::size_t /*bytes*/) {}
  void Append(int view, const char* data, std::size_t bytes) const {
    Descriptor(FileOf(view), O_WRONLY | O_CREAT | O_APPEND).Write(data, bytes);
  }
};

class OwnDescriptors : public InFiles {
 public:
  OwnDescriptors(int views, std::size_t /*bytes*/) {
    for (int view = 0; view < views; ++view) {
      fFiles.emplace_back(FileOf(view), O_WRONLY | O_CREAT | O_EXCL);
    }
  }
  void Append(int view, const char* data, std::size_t bytes) const {
    fFiles[static_cast<std::size_t>(view)].Write(data, bytes);
  }
  void Finish(char* /*scratch*/) { fFiles.clear(); }

 private:
  std::vector<Descriptor> fFiles;
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
