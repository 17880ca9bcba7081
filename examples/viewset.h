// SPDX-FileCopyrightText: The qxutils authors
// SPDX-License-Identifier: Apache-2.0

// A view set with a writer for each view, for engines to copy and adapt. The tree engine, the
// tests and the benchmarks use it as it is.
#ifndef QXUTILS_EXAMPLES_VIEWSET_H
#define QXUTILS_EXAMPLES_VIEWSET_H

#include <cstddef>
#include <cstdio>
#include <memory>
#include <vector>

#include "qxutils/storage/tempfilestorage.h"
#include "qxutils/storage/tempfilestoragemgr.h"
#include "qxutils/viewset/qxviewsetmanager.h"

namespace examples {

// Removes the file on disk together with its storage.
struct RemoveFile {
  void operator()(TempFileStorage* file) const {
    std::remove(file->GetFileName().c_str());
    delete file;
  }
};
using ViewFile = std::unique_ptr<TempFileStorage, RemoveFile>;

// Failures of files are the exceptions of the QxViewSetManager.
struct ViewSet {
  // `memory` in bytes is for the buffers of all views. `settings` must outlive the set.
  ViewSet(long memory, const std::vector<qxg_800::ViewInfo>& views,
          const Arbex_800::EnvironmentSettings& settings)
      : manager(memory, views, settings) {
    writers.reserve(views.size());  // so that a new writer has an owner at once
    for (const qxg_800::ViewInfo& info : views) {
      const int view = static_cast<int>(writers.size());
      qxg_800::QxViewBuffer* const buffer = manager.GetViewBuffer(view, info.itemSize);
      writers.emplace_back(TempFileStorageMgr::instance().getObject(view, manager, buffer));
    }
  }

  // Returns `bytes`, or -1 when nothing was stored. REQUIRES: the view exists (not checked).
  int Write(int view, const char* data, int bytes) {
    return writers[static_cast<std::size_t>(view)]->Write(data, bytes);
  }

  // False when the view is closed already. The last close makes the files. REQUIRES: as above.
  bool Close(int view) { return writers[static_cast<std::size_t>(view)]->Close(); }

  // The view's file, closed: Open it with mode 0, or read it by its name with a BinFileIterator.
  // Null before the last close has succeeded, and when the file was taken before.
  ViewFile TakeFile(int view) { return ViewFile(manager.GetFile(view)); }

  qxg_800::QxViewSetManager manager;
  std::vector<std::unique_ptr<TempFileStorage>> writers;  // they use the manager
};

}  // namespace examples

#endif
