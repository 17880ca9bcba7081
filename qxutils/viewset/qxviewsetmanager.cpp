#include "qxutils/viewset/qxviewsetmanager.h"

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <limits>

#include "qxutils/platform/platformspecs_unix.h"
#include "qxutils/platform/qxutilsexception.h"
#include "qxutils/platform/tempfile.h"
#include "qxutils/storage/iobinfile.h"
#include "qxutils/storage/tempfilestorage.h"
#include "qxutils/storage/tempfilestoragemgr.h"
#include "qxutils/viewset/qxviewbuffer.h"

namespace qxg_800 {
namespace {

using Arbex_800::EnvironmentSettings;

constexpr long kLeastCapacity = 10;  // items
constexpr const char* kSharedPrefix = "qxfBIG";
constexpr const char* kViewPrefix = "qxf";
constexpr const char* kExtension = "tmp";

void Require(bool success, const char* message) {
  if (!success) throw QxUtilsException(message);
}

// Items per view. The last bound lets the size of every buffer in bytes fit an int.
int Capacity(long memory, const std::vector<ViewInfo>& views) {
  long sum = 0;
  int greatest = 0;
  for (const ViewInfo& view : views) {
    if (view.itemSize < 1) continue;
    sum += view.itemSize;
    greatest = std::max(greatest, view.itemSize);
  }
  if (sum < 1) return 0;
  const long capacity = std::max(memory / sum, kLeastCapacity);
  return static_cast<int>(std::min<long>(capacity, std::numeric_limits<int>::max() / greatest));
}

std::vector<std::unique_ptr<QxViewBuffer>> MakeBuffers(long memory,
                                                       const std::vector<ViewInfo>& views) {
  std::vector<std::unique_ptr<QxViewBuffer>> buffers(views.size());
  const int capacity = Capacity(memory, views);
  for (std::size_t view = 0; view < views.size(); ++view) {
    const int itemSize = views[view].itemSize;
    if (itemSize > 0) buffers[view] = std::make_unique<QxViewBuffer>(capacity, itemSize);
  }
  return buffers;
}

bool UsesOwnStorage(const EnvironmentSettings& settings) {
  return settings.storagePrototype == nullptr;
}

// The host process may move its working folder while the set lives; names that are used again later
// must not follow it to somebody else's files.
std::string FolderOf(const EnvironmentSettings& settings) {
  std::string folder = settings.GetTempDirectory();
  if (!UsesOwnStorage(settings) || (!folder.empty() && folder.front() == '/')) return folder;
  std::string absolute = GetCurrentFolder();
  if (absolute.empty()) return folder;
  absolute += '/';
  return absolute += folder;
}

std::unique_ptr<TempFileStorage> NewStorage(const EnvironmentSettings& settings) {
  std::unique_ptr<TempFileStorage> storage(TempFileStorageMgr::instance().getObject(settings));
  Require(storage != nullptr, QxUtils_800::FileOpenError);
  return storage;
}

void Open(TempFileStorage& storage, const std::string& name, IOBinFile::IOModeFile mode,
          const EnvironmentSettings& settings) {
  Require(storage.Open(name, mode, settings.GetCompressionLevel()), QxUtils_800::FileOpenError);
}

// A file that was just created for a storage: removed again unless the storage takes it over. The
// storage then forgets the name too, which is free for others from that moment on.
class NewFile {
 public:
  NewFile(TempFileStorage& storage, std::string name) : fStorage(storage), fName(std::move(name)) {}
  ~NewFile() {
    if (fName.empty()) return;
    fStorage.SetFileName(std::string());
    std::remove(fName.c_str());
  }
  NewFile(const NewFile&) = delete;
  NewFile& operator=(const NewFile&) = delete;

  const std::string& Name() const { return fName; }
  std::string Keep() { return std::exchange(fName, std::string()); }

 private:
  TempFileStorage& fStorage;
  std::string fName;  // empty: there is nothing to remove
};

// Opens a new temporary file for writing and gives its name, which is not `taken`. How an engine's
// storage makes its file is that storage's business.
std::string OpenNewFile(TempFileStorage& storage, const std::string& folder, const char* prefix,
                        const std::string& taken, const EnvironmentSettings& settings) {
  if (!UsesOwnStorage(settings)) {
    std::string name = GenerateTempName(folder.c_str(), prefix, kExtension);
    Open(storage, name, IOBinFile::IOModeWrite, settings);
    return name;
  }
  NewFile file(storage, CreateTempFile(folder.c_str(), prefix, kExtension, taken));
  Require(!file.Name().empty(), QxUtils_800::FileOpenError);
  Open(storage, file.Name(), IOBinFile::IOModeWrite, settings);
  return file.Keep();
}

// Grows a vector ahead of an append that must not fail; reserve() would grow it one by one.
template <class T>
void MakeRoom(std::vector<T>& vector) {
  vector.emplace_back();
  vector.pop_back();
}

}  // namespace

QxViewSetManager::QxViewSetManager(long bufferMemory, const std::vector<ViewInfo>& views,
                                   const EnvironmentSettings& settings)
    : fBufferMemory(bufferMemory),
      fViews(views),
      fSettings(settings),
      fpStorage(NewStorage(settings)),
      fBuffers(MakeBuffers(bufferMemory, views)),
      fFiles(views.size()),
      fIndex(views.size()),
      fClosed(views.size(), false),
      fNumOpen(views.size()),
      fFolder(FolderOf(settings)) {
  fFileName = OpenNewFile(*fpStorage, fFolder, kSharedPrefix, std::string(), settings);
}

QxViewSetManager::~QxViewSetManager() {
  fBuffers.clear();
  fpStorage.reset();
  for (std::unique_ptr<TempFileStorage>& file : fFiles) {
    if (file && UsesOwnStorage(fSettings)) std::remove(file->GetFileName().c_str());
    file.reset();
  }
}

QxViewBuffer* QxViewSetManager::GetViewBuffer(int view, int itemSize) {
  if (!IsKnown(view)) return nullptr;
  QxViewBuffer* buffer = fBuffers[static_cast<std::size_t>(view)].get();
  return buffer && buffer->GetItemSize() == itemSize ? buffer : nullptr;
}

void QxViewSetManager::Write(int view) {
  if (IsKnown(view)) WriteBufferToFile(fBuffers[static_cast<std::size_t>(view)].get(), view);
}

int QxViewSetManager::Close(int view) {
  const auto slot = static_cast<std::size_t>(view);
  if (!IsKnown(view) || fClosed[slot]) return -1;
  Require(!fWriteFailed, QxUtils_800::FileWriteError);
  Write(view);
  if (fBuffers[slot]) fBuffers[slot]->Seal();
  fClosed[slot] = true;
  --fNumOpen;
  if (CheckAllClosed()) Split();
  return 0;
}

TempFileStorage* QxViewSetManager::GetFile(int view) {
  if (!IsKnown(view) || !fComplete) return nullptr;
  return fFiles[static_cast<std::size_t>(view)].release();
}

bool QxViewSetManager::CheckAllClosed() { return fNumOpen == 0; }

void QxViewSetManager::UpdateIndex(int view, long items) {
  if (!IsKnown(view) || items < 0) return;
  const auto slot = static_cast<std::size_t>(view);
  const long itemSize = fViews[slot].itemSize;
  if (itemSize < 1 || items > (std::numeric_limits<long>::max() - fPosition) / itemSize) return;
  fIndex[slot].emplace_back(fPosition, items);
  fPosition += items * itemSize;
}

void QxViewSetManager::WriteBufferToFile(QxViewBuffer* buffer, int view) {
  if (!buffer || !IsKnown(view)) return;
  const auto slot = static_cast<std::size_t>(view);
  if (!fBuffers[slot] || fClosed[slot]) return;
  Require(!fWriteFailed && buffer->GetItemSize() == fViews[slot].itemSize,
          QxUtils_800::FileWriteError);
  MakeRoom(fIndex[slot]);
  const long items = buffer->GetSize();
  const int bytes = static_cast<int>(items * buffer->GetItemSize());
  fWriteFailed = true;  // until proven otherwise: an engine's storage may throw
  Require(fpStorage->Write(buffer->GetBuffer(), bytes) == bytes, QxUtils_800::FileWriteError);
  fWriteFailed = false;
  UpdateIndex(view, items);
  buffer->Reset();
}

bool QxViewSetManager::IsKnown(int view) const {
  return view >= 0 && static_cast<std::size_t>(view) < fViews.size();
}

// Makes all view files of a set whose last view has been closed.
void QxViewSetManager::Split() {
  Require(fpStorage->Close(), QxUtils_800::FileWriteError);
  Open(*fpStorage, fFileName, IOBinFile::IOModeRead, fSettings);
  for (std::size_t view = 0; view < fViews.size(); ++view) MakeViewFile(view);
  fpStorage->Close();  // only read since it was opened: nothing can be lost
  if (UsesOwnStorage(fSettings)) std::remove(fFileName.c_str());
  fComplete = true;
}

void QxViewSetManager::MakeViewFile(std::size_t view) {
  fFiles[view] = NewStorage(fSettings);
  // The counter of names still stands at the file before: trying that name first would make the
  // last close of many views a tenth slower.
  const bool isKnown = view > 0 && UsesOwnStorage(fSettings);
  const std::string taken = isKnown ? fFiles[view - 1]->GetFileName() : std::string();
  OpenNewFile(*fFiles[view], fFolder, kViewPrefix, taken, fSettings);
  for (const Segment& segment : fIndex[view]) CopySegment(view, segment);
  Require(fFiles[view]->Close(), QxUtils_800::FileWriteError);
}

void QxViewSetManager::CopySegment(std::size_t view, const Segment& segment) {
  const auto [start, items] = segment;
  QxViewBuffer& buffer = *fBuffers[view];
  Require(fpStorage->Seek(start), QxUtils_800::FileSeekError);
  Require(items <= buffer.GetCapacity(), QxUtils_800::FileReadError);
  const int bytes = static_cast<int>(items * buffer.GetItemSize());
  Require(fpStorage->Read(buffer.GetBuffer(), bytes) == bytes, QxUtils_800::FileReadError);
  Require(fFiles[view]->Write(buffer.GetBuffer(), bytes) == bytes, QxUtils_800::FileWriteError);
}

}  // namespace qxg_800
