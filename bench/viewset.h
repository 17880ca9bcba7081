// A view set of ours with a writer for each view, as an engine would use it.
#ifndef QXUTILS_BENCH_VIEWSET_H
#define QXUTILS_BENCH_VIEWSET_H

#include <memory>
#include <string>
#include <vector>

#include "bench.h"
#include "qxutils/storage/tempfilestorage.h"
#include "qxutils/storage/tempfilestoragemgr.h"
#include "qxutils/viewset/qxviewbuffer.h"
#include "qxutils/viewset/qxviewsetmanager.h"

namespace bench {

constexpr int kItemBytes = 8;
constexpr long kBudget = 16'000'000;  // bytes of buffers, whatever the number of views

class ViewSet {
 public:
  explicit ViewSet(int views, long budget = kBudget)
      : fManager(budget, Infos(views), fSettings), fWriters(static_cast<std::size_t>(views)) {
    for (int view = 0; view < views; ++view) {
      auto* buffer = fManager.GetViewBuffer(view, kItemBytes);
      Writer(view).reset(TempFileStorageMgr::instance().getObject(view, fManager, buffer));
    }
  }

  int Views() const { return static_cast<int>(fWriters.size()); }
  bool Write(int view, const char* item) {
    return Writer(view)->Write(item, kItemBytes) == kItemBytes;
  }
  bool Close(int view) { return Writer(view)->Close(); }
  qxg_800::QxViewBuffer& Buffer(int view) { return *fManager.GetViewBuffer(view, kItemBytes); }
  std::string File(int view) {
    return std::unique_ptr<TempFileStorage>(fManager.GetFile(view))->GetFileName();
  }

 private:
  static std::vector<qxg_800::ViewInfo> Infos(int views) {
    return std::vector<qxg_800::ViewInfo>(static_cast<std::size_t>(views), {kItemBytes, 0});
  }
  std::unique_ptr<TempFileStorage>& Writer(int view) {
    return fWriters[static_cast<std::size_t>(view)];
  }

  const Arbex_800::EnvironmentSettings fSettings{Folder()};
  qxg_800::QxViewSetManager fManager;
  std::vector<std::unique_ptr<TempFileStorage>> fWriters;
};

}  // namespace bench

#endif
