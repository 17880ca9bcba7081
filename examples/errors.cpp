// SPDX-FileCopyrightText: The qxutils authors
// SPDX-License-Identifier: Apache-2.0

// What an engine does when temporary files fail: errors [PARENT]
#include <cstdio>
#include <exception>
#include <new>
#include <stdexcept>
#include <string>

#include "examples/viewset.h"
#include "examples/workfolder.h"
#include "qxutils/iterators/binfileiterator.h"
#include "qxutils/platform/qxutilsexception.h"

namespace {

using Arbex_800::EnvironmentSettings;

constexpr int kItemBytes = sizeof(double);
constexpr int kItems = 100000;

void Require(bool success, const char* otherwise) {
  if (!success) throw std::runtime_error(otherwise);
}

// Whatever throws here, no view file stays, and no more than the shared file in the folder.
void WriteAndRead(const EnvironmentSettings& settings) {
  examples::ViewSet set(1 << 16, {{kItemBytes, 0}}, settings);
  for (int i = 0; i < kItems; ++i) {
    const double item = i;
    const int taken = set.Write(0, reinterpret_cast<const char*>(&item), kItemBytes);
    Require(taken == kItemBytes, "an item was refused");
  }
  Require(set.Close(0), "the view was closed before");
  const examples::ViewFile file = set.TakeFile(0);  // removed from disk at the end
  qxg_800::BinFileIterator records(file->GetFileName().c_str(), 1, settings, -1);
  int count = 0;
  while (records.HasMore() == 0) ++count;
  Require(count == kItems, "records are missing");  // an iteration also ends when reading fails
}

}  // namespace

int main(int argc, char** argv) try {
  examples::WorkFolder folder(argc > 1 ? argv[1] : "/tmp");  // removed with all that is in it
  const EnvironmentSettings settings(folder.Path());
  try {
    WriteAndRead(settings);
    std::puts("all records came back");
  } catch (const qxg_800::QxUtilsException& error) {
    // A file failed: the disk may be full. This set is lost, and a new one may succeed later.
    std::printf("temporary files: %s\n", error.what());
  } catch (const std::bad_alloc&) {
    std::puts("out of memory: try again with a smaller budget");
  }
  folder.Remove();
} catch (const std::exception& error) {
  std::fprintf(stderr, "%s\n", error.what());
  return 1;
}
