// SPDX-FileCopyrightText: The qxutils authors
// SPDX-License-Identifier: Apache-2.0

#include "qxutils/viewset/storedfile.h"

#include <cstdio>
#include <utility>

#include "qxutils/platform/platformspecs_unix.h"
#include "qxutils/platform/qxutilsexception.h"
#include "qxutils/storage/iobinfile.h"
#include "qxutils/storage/tempfilestoragemgr.h"

namespace qxg_800 {
namespace {

constexpr const char* kExtension = "tmp";

void Open(TempFileStorage& storage, const std::string& name, IOBinFile::IOModeFile mode,
          const StoredFile::Settings& settings) {
  Require(storage.Open(name, mode, settings.GetCompressionLevel()), QxUtils_800::FileOpenError);
}

}  // namespace

void Require(bool success, const char* message) {
  if (!success) throw QxUtilsException(message);
}

StoredFile::StoredFile() noexcept = default;

StoredFile::StoredFile(const Settings& settings)
    : fpStorage(TempFileStorageMgr::instance().getObject(settings)) {
  Require(fpStorage != nullptr, QxUtils_800::FileOpenError);
}

StoredFile::~StoredFile() { Remove(); }

StoredFile& StoredFile::operator=(StoredFile&& other) noexcept {
  std::swap(fpStorage, other.fpStorage);
  std::swap(fExists, other.fExists);
  std::swap(fId, other.fId);
  return *this;
}

std::string StoredFile::Create(const Settings& settings, const std::string& folder,
                               const char* prefix, const StoredFile& last) {
  if (settings.storagePrototype) {
    std::string name = GenerateTempName(folder.c_str(), prefix, kExtension);
    Open(*fpStorage, name, IOBinFile::IOModeWrite, settings);
    return name;
  }
  // The counter of names still stands at the last file. Trying its name again would make the last
  // close of many views a tenth slower.
  const std::string taken = last.fExists ? last->GetFileName() : std::string();
  std::string name = CreateTempFile(folder.c_str(), prefix, kExtension, taken, fId);
  Require(!name.empty(), QxUtils_800::FileOpenError);
  fExists = true;
  try {
    Open(*fpStorage, name, IOBinFile::IOModeWrite, settings);
  } catch (...) {
    RemoveAs(name);
    throw;
  }
  return name;
}

void StoredFile::Reopen(const Settings& settings, const std::string& name) {
  Require(fpStorage->Close(), QxUtils_800::FileWriteError);
  Open(*fpStorage, name, IOBinFile::IOModeRead, settings);
  Require(!fExists || IsFile(name, fId), QxUtils_800::FileOpenError);
}

void StoredFile::Remove() {
  if (fExists) RemoveAs(fpStorage->GetFileName());
}

std::unique_ptr<TempFileStorage> StoredFile::Release() {
  fExists = false;
  return std::move(fpStorage);
}

void StoredFile::RemoveAs(const std::string& name) {
  if (IsFile(name, fId)) std::remove(name.c_str());
  fExists = false;
}

}  // namespace qxg_800
