#include "qxtree/dataset.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <stdexcept>
#include <string_view>
#include <utility>

#include "qxtree/csvreader.h"
#include "qxutils/iterators/binfileiterator.h"
#include "qxutils/storage/tempfilestoragemgr.h"
#include "qxutils/viewset/qxviewsetmanager.h"

namespace qxtree {
namespace {

constexpr int kItemBytes = sizeof(double);
constexpr long kRowsPerSample = 256;  // between two counts of the open files

void Require(bool success, const char* otherwise) {
  if (!success) throw std::runtime_error(otherwise);
}

// Writes each cell, as it comes, to its column's view of one view set.
class Importer : public CsvSink {
 public:
  Importer(long memory, const WorkFolder& folder) : fMemory(memory), fFolder(folder) {}

  void Header(const std::vector<std::string>& names) override {
    const std::vector<qxg_800::ViewInfo> views(names.size(), {kItemBytes, 0});
    fpManager = std::make_unique<qxg_800::QxViewSetManager>(fMemory, views, fFolder.Settings());
    for (const std::string& name : names) {
      const int view = static_cast<int>(fViews.size());
      qxg_800::QxViewBuffer* buffer = fpManager->GetViewBuffer(view, kItemBytes);
      fViews.push_back(std::unique_ptr<TempFileStorage>(
          TempFileStorageMgr::instance().getObject(view, *fpManager, buffer)));
      fData.columns.emplace_back(name);
    }
  }

  void Cell(std::size_t column, std::string_view text) override {
    const double value = fData.columns[column].Encode(text);
    const char* item = reinterpret_cast<const char*>(&value);
    Require(fViews[column]->Write(item, kItemBytes) == kItemBytes, "a view refused a value");
  }

  void EndRow() override {
    if (++fData.rows % kRowsPerSample == 0) CountOpenFiles();
  }

  // After the last row. The last close makes the files.
  Dataset Finish() {
    CountOpenFiles();
    for (const auto& view : fViews) Require(view->Close(), "a view could not be closed");
    for (int view = 0; fData.files.size() < fViews.size(); ++view) {
      fData.files.push_back(ViewFile(fpManager->GetFile(view)));
      Require(fData.files.back() != nullptr, "a view has no file");
    }
    return std::move(fData);
  }

 private:
  void CountOpenFiles() { fData.openFiles = std::max(fData.openFiles, fFolder.CountOpenFiles()); }

  const long fMemory;  // bytes
  const WorkFolder& fFolder;
  Dataset fData;
  std::unique_ptr<qxg_800::QxViewSetManager> fpManager;  // null until the header is known
  std::vector<std::unique_ptr<TempFileStorage>> fViews;  // per column; they use the manager
};

}  // namespace

void RemoveFile::operator()(TempFileStorage* file) const {
  std::remove(file->GetFileName().c_str());
  delete file;
}

Dataset ReadDataset(const std::string& path, long memory, const WorkFolder& folder) {
  Importer importer(memory, folder);
  ReadCsv(path, importer);
  return importer.Finish();
}

void ReadColumn(const TempFileStorage& file, long rows, const WorkFolder& folder,
                const std::function<void(double)>& use) {
  const std::string& name = file.GetFileName();
  qxg_800::BinFileIterator records(name.c_str(), 1, folder.Settings(), file.GetSeqId());
  long count = 0;
  for (; records.HasMore() == 0; ++count) use(records.Next()->data[0]);
  // An iteration also ends where a file can't be read.
  if (count != rows)
    throw std::runtime_error(fmt::format("{} of {} records read from '{}'", count, rows, name));
}

}  // namespace qxtree
