// SPDX-FileCopyrightText: The qxutils authors
// SPDX-License-Identifier: Apache-2.0

// A view set from start to end: two views written in turns, one file each at the end.
#include <cstdio>
#include <memory>
#include <stdexcept>
#include <vector>

#include "qxutils/iterators/binfileiterator.h"
#include "qxutils/storage/tempfilestorage.h"
#include "qxutils/storage/tempfilestoragemgr.h"
#include "qxutils/viewset/qxviewsetmanager.h"

void Require(bool success, const char* otherwise) {
  if (!success) throw std::runtime_error(otherwise);
}

int main() {
  constexpr int kItemBytes = sizeof(double);
  const Arbex_800::EnvironmentSettings settings("/tmp");
  const std::vector<qxg_800::ViewInfo> infos(2, qxg_800::ViewInfo{kItemBytes, 0});
  qxg_800::QxViewSetManager manager(1 << 20, infos, settings);  // 1 MiB for all buffers
  std::unique_ptr<TempFileStorage> views[2];
  for (int view = 0; view < 2; ++view) {
    qxg_800::QxViewBuffer* buffer = manager.GetViewBuffer(view, kItemBytes);
    views[view].reset(TempFileStorageMgr::instance().getObject(view, manager, buffer));
  }
  for (int i = 1; i <= 1000; ++i) {
    const double items[] = {1.0 * i, 1.0 * i * i};
    for (int view = 0; view < 2; ++view) {
      const char* item = reinterpret_cast<const char*>(&items[view]);
      Require(views[view]->Write(item, kItemBytes) == kItemBytes, "an item was refused");
    }
  }
  for (auto& view : views) Require(view->Close(), "a view could not be closed");
  for (int view = 0; view < 2; ++view) {
    const std::unique_ptr<TempFileStorage> file(manager.GetFile(view));  // owned by us now
    qxg_800::BinFileIterator records(file->GetFileName().c_str(), 1, settings, -1);
    int count = 0;
    double sum = 0;
    for (; records.HasMore() == 0; ++count) sum += records.Next()->data[0];
    std::remove(file->GetFileName().c_str());
    Require(count == 1000, "records are missing");  // an iteration also ends when reading fails
    std::printf("view %d: %d records, sum %.0f\n", view, count, sum);
  }
}
