// SPDX-FileCopyrightText: The qxutils authors
// SPDX-License-Identifier: Apache-2.0

// What users could write many streams of items with instead of a view set. Each has the functions
// of ViewSet.
#ifndef QXUTILS_BENCH_VIEWPEERS_H
#define QXUTILS_BENCH_VIEWPEERS_H

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "views.h"

namespace bench {

// A file for each view, which ForEach removes.
struct InFiles {
  static std::string Name(int view) { return Folder() + "/view" + std::to_string(view); }
  template <class Use>
  static void ForEach(int view, Use use) {
    ForEachInFile(Name(view), use);
    std::remove(Name(view).c_str());
  }
};

class Streams : public InFiles {
 public:
  explicit Streams(int views) {
    for (int view = 0; view < views; ++view) {
      fStreams.emplace_back(std::fopen(Name(view).c_str(), "wbe"), &std::fclose);
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

 private:
  std::vector<std::unique_ptr<std::FILE, int (*)(std::FILE*)>> fStreams;
};

// Buffers of the same size as ours. The target gets the full ones.
template <class Target>
class Buffered : public InFiles {
 public:
  explicit Buffered(int views, long budget = kBudget)
      : fBytes(static_cast<std::size_t>(std::max<long>(budget / kItemBytes / views, 10)) *
               kItemBytes),
        fSizes(static_cast<std::size_t>(views)),
        fBuffers(new char[fBytes * fSizes.size()]),
        fTarget(views) {}
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

// One file that all views share, copied out at the end: the least that a view set can do.
class OneFile {
 public:
  explicit OneFile(int views)
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
      const Descriptor out(InFiles::Name(static_cast<int>(view)), O_WRONLY | O_CREAT | O_EXCL);
      for (const auto& [start, bytes] : fIndex[view]) {
        Check(pread(*fFile, scratch, bytes, start) == static_cast<ssize_t>(bytes), "a short read");
        out.Write(scratch, bytes);
      }
    }
    fFile.Close();
    std::remove(fName.c_str());
  }

 private:
  std::vector<std::vector<std::pair<off_t, std::size_t>>> fIndex;  // start and bytes, by view
  std::string fName;
  Descriptor fFile;
  off_t fEnd = 0;
};

// Opens the view's file for every buffer and appends it.
struct Reopening {
  explicit Reopening(int /*views*/) {}
  void Append(int view, const char* data, std::size_t bytes) const {
    Descriptor(InFiles::Name(view), O_WRONLY | O_CREAT | O_APPEND).Write(data, bytes);
  }
  void Finish(char* /*scratch*/) {}
};

}  // namespace bench

#endif
