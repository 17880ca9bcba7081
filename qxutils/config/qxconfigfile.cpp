// SPDX-FileCopyrightText: The qxutils authors
// SPDX-License-Identifier: Apache-2.0

#include "qxutils/config/qxconfigfile.h"

#include <cerrno>
#include <new>
#include <ostream>

#include "qxutils/config/qxconfigfile_internal.h"
#include "qxutils/platform/descriptors.h"

namespace tree_800 {

QxConfigFile::QxConfigFile(const std::string& path) {
  Open(path);
  if (!fStream.is_open()) return;
  // std::getline catches every exception, even std::bad_alloc, unless the mask has badbit. With
  // badbit a failed read throws, too. Only that one is caught here and ends the reading.
  fStream.exceptions(std::ios::badbit);
  try {
    ReadPairs();
  } catch (const std::ios_base::failure&) {
  }
  fStream.exceptions(std::ios::goodbit);
}

QxConfigFile::~QxConfigFile() = default;

std::string QxConfigFile::Read(const std::string& key) {
  const auto pair = fPairs.find(key);
  return pair == fPairs.end() ? std::string() : pair->second;
}

void QxConfigFile::Open(const std::string& path) {
  const qxg_800::StandardDescriptors standard;
  if (!standard.AreHeld()) return;
  errno = 0;
  fStream.open(path);
  if (!fStream.is_open() && errno == ENOMEM) throw std::bad_alloc();
}

void QxConfigFile::ReadPairs() {
  std::string key;
  std::string value;
  while (std::getline(fStream, key, '=') && std::getline(fStream, value)) fPairs[key] = value;
}

void QxConfigFilePrinter::Print(std::ostream& os, const QxConfigFile& file) {
  for (const auto& [key, value] : file.fPairs) os << key << " " << value << std::endl;
}

std::ostream& operator<<(std::ostream& os, QxConfigFile& file) {
  QxConfigFilePrinter::Print(os, file);
  return os;
}

}  // namespace tree_800
