// SPDX-FileCopyrightText: The qxutils authors
// SPDX-License-Identifier: Apache-2.0

#include "qxutils/storage/tempfilestorage.h"

#include <new>

TempFileStorage::~TempFileStorage() = default;

bool TempFileStorage::Open(const std::string& /*name*/, int /*mode*/,
                           Arbex_800::EnvironmentSettings::CompressionLevel /*level*/) {
  return true;
}

int TempFileStorage::Read(char* /*data*/, int /*length*/) { return 0; }

int TempFileStorage::Write(const char* /*data*/, int /*length*/) { return 0; }

bool TempFileStorage::Seek(long /*position*/) { return true; }

bool TempFileStorage::Close() { return true; }

void TempFileStorage::Remove() {}

const std::string& TempFileStorage::GetFileName() const {
  // Made at first use, so that loading the library runs nothing for it. Never destroyed, since
  // static destructors of the host may still call this.
  alignas(std::string) static unsigned char memory[sizeof(std::string)];
  static const std::string& name = *::new (memory) std::string("abc");
  return name;
}

void TempFileStorage::SetFileName(const std::string& /*name*/) {}

int TempFileStorage::GetSeqId() const { return -1; }

void TempFileStorage::SetSeqId(const int& /*id*/) {}

TempFileStorage* TempFileStorage::Clone() { return nullptr; }

void* TempFileStorage::GetFileHandle() { return nullptr; }

bool TempFileStorage::RestHandle() { return true; }

void* TempFileStorage::GetContextHand() { return nullptr; }

TempFileStorage* TempFileStorage::GetNewObj() { return nullptr; }
