// SPDX-FileCopyrightText: The qxutils authors
// SPDX-License-Identifier: Apache-2.0

#include "qxutils/viewset/qxviewsetmanager.h"

#include <algorithm>
#include <cstddef>
#include <limits>

#include "qxutils/platform/qxutilsexception.h"
#include "qxutils/platform/tempfile.h"
#include "qxutils/storage/tempfilestorage.h"
#include "qxutils/viewset/qxviewbuffer.h"
#include "qxutils/viewset/storedfile.h"

namespace qxg_800 {
namespace {

using Arbex_800::EnvironmentSettings;

constexpr long kLeastCapacity = 10;  // items
constexpr const char* kSharedPrefix = "qxfBIG";
constexpr const char* kViewPrefix = "qxf";

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

// The host may change its working folder while the set lives. An engine's storage gets the folder
// as it is, since only that storage knows what the name means.
std::string FolderOf(const EnvironmentSettings& settings) {
  std::string folder = settings.GetTempDirectory();
  Require(settings.storagePrototype || FixFolder(folder), QxUtils_800::FileOpenError);
  return folder;
}

// Grows a vector before an append that must not fail. With reserve() it would grow by one each
// time.
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
      fpStorage(std::make_unique<StoredFile>(settings)),
      fBuffers(MakeBuffers(bufferMemory, views)),
      fFiles(views.size()),
      fIndex(views.size()),
      fClosed(views.size(), false),
      fNumOpen(views.size()),
      fFolder(FolderOf(settings)) {
  fFileName = fpStorage->Create(settings, fFolder, kSharedPrefix, StoredFile());
}

// The shared file stays: only the last Close removes it.
QxViewSetManager::~QxViewSetManager() {
  fBuffers.clear();
  fpStorage->Release();
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
  return fFiles[static_cast<std::size_t>(view)].Release().release();
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
  fWriteFailed = true;  // until Write returns: an engine's storage may throw
  Require((*fpStorage)->Write(buffer->GetBuffer(), bytes) == bytes, QxUtils_800::FileWriteError);
  fWriteFailed = false;
  UpdateIndex(view, items);
  buffer->Reset();
}

bool QxViewSetManager::IsKnown(int view) const {
  return view >= 0 && static_cast<std::size_t>(view) < fViews.size();
}

// Makes all view files of a set whose last view has been closed.
void QxViewSetManager::Split() {
  fpStorage->Reopen(fSettings, fFileName);
  for (std::size_t view = 0; view < fViews.size(); ++view) MakeViewFile(view);
  (*fpStorage)->Close();  // only read since it was opened: nothing can be lost
  fpStorage->Remove();
  fComplete = true;
}

void QxViewSetManager::MakeViewFile(std::size_t view) {
  StoredFile& file = fFiles[view];
  file = StoredFile(fSettings);
  const StoredFile none;
  file.Create(fSettings, fFolder, kViewPrefix, view > 0 ? fFiles[view - 1] : none);
  for (const Segment& segment : fIndex[view]) CopySegment(view, segment);
  Require(file->Close(), QxUtils_800::FileWriteError);
}

void QxViewSetManager::CopySegment(std::size_t view, const Segment& segment) {
  const auto [start, items] = segment;
  QxViewBuffer& buffer = *fBuffers[view];
  Require((*fpStorage)->Seek(start), QxUtils_800::FileSeekError);
  Require(items <= buffer.GetCapacity(), QxUtils_800::FileReadError);
  const int bytes = static_cast<int>(items * buffer.GetItemSize());
  Require((*fpStorage)->Read(buffer.GetBuffer(), bytes) == bytes, QxUtils_800::FileReadError);
  Require(fFiles[view]->Write(buffer.GetBuffer(), bytes) == bytes, QxUtils_800::FileWriteError);
}

}  // namespace qxg_800
