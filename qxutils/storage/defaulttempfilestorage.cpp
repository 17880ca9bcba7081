// SPDX-FileCopyrightText: The qxutils authors
// SPDX-License-Identifier: Apache-2.0

#include "qxutils/storage/defaulttempfilestorage.h"

#include "qxutils/storage/iobinfile.h"
#include "qxutils/viewset/iobinvirtualfile.h"

namespace qxg_800 {

using Arbex_800::EnvironmentSettings;

NimbTempFileStorage::NimbTempFileStorage() : fIsFile(true) {}

NimbTempFileStorage::NimbTempFileStorage(const EnvironmentSettings& settings)
    : fIsFile(true), fpFile(std::make_unique<IOBinFile>(settings)) {}

NimbTempFileStorage::NimbTempFileStorage(int view, QxViewSetManager& manager, QxViewBuffer* buffer)
    : fIsFile(false), fpVirtualFile(std::make_unique<IOBinVirtualFile>(view, manager, buffer)) {}

NimbTempFileStorage::~NimbTempFileStorage() {
  fpFile.reset();
  fpVirtualFile.reset();
}

bool NimbTempFileStorage::Open(const std::string& name, int mode,
                               EnvironmentSettings::CompressionLevel level) {
  return fpFile && fpFile->Open(name, static_cast<IOBinFile::IOModeFile>(mode), level);
}

int NimbTempFileStorage::Read(char* data, int length) {
  return fpFile ? fpFile->Read(data, length) : 0;
}

int NimbTempFileStorage::Write(const char* data, int length) {
  if (fIsFile) return fpFile ? fpFile->Write(data, length) : 0;
  // No other class is ever held here, so a direct call replaces a second virtual one.
  return static_cast<IOBinVirtualFile*>(fpVirtualFile.get())->Write(data, length);
}

bool NimbTempFileStorage::Seek(long position) { return fpFile && fpFile->Seek(position); }

bool NimbTempFileStorage::Close() {
  if (fIsFile) return fpFile && fpFile->Close();
  return fpVirtualFile->Close();
}

void NimbTempFileStorage::Remove() {
  if (fpFile) fpFile->Remove();
}

const std::string& NimbTempFileStorage::GetFileName() const {
  return fpFile ? fpFile->GetFileName() : TempFileStorage::GetFileName();
}

void NimbTempFileStorage::SetFileName(const std::string& name) {
  if (fpFile) fpFile->SetFileName(name);
}

}  // namespace qxg_800
