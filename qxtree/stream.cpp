// SPDX-FileCopyrightText: The qxutils authors
// SPDX-License-Identifier: Apache-2.0

#include "qxtree/stream.h"

#include <algorithm>
#include <cstring>
#include <stdexcept>

#include "qxutils/platform/platformspecs_unix.h"
#include "qxutils/platform/qxutilsexception.h"
#include "qxutils/storage/iobinfile.h"
#include "qxutils/text/infinityport.h"

namespace qxtree {
namespace {

constexpr std::size_t kMostPerCall = 1 << 30;  // the storage counts in an int

void Require(bool success, const char* otherwise) {
  if (!success) throw qxg_800::QxUtilsException(otherwise);
}

template <class T>
void Append(std::string& to, const T* data, std::size_t count) {
  to.append(reinterpret_cast<const char*>(data), count * sizeof(T));
}

}  // namespace

Stream::Stream(const Arbex_800::EnvironmentSettings& settings) : fpSettings(&settings) {
  fFiles.emplace_back(TempFileStorageMgr::instance().getObject(settings));
  Require(fFiles[0] != nullptr, QxUtils_800::FileOpenError);
  fFiles[0]->SetFileName(
      qxg_800::GenerateTempName(settings.GetTempDirectory().c_str(), "qxt", "tmp"));
  Open(0, qxg_800::IOBinFile::IOModeWrite);
}

Stream::Stream(std::vector<examples::ViewFile> files,
               const Arbex_800::EnvironmentSettings& settings)
    : fFiles(std::move(files)), fpSettings(&settings) {}

void Stream::Open(std::size_t file, int mode) {
  fCurrent = file;
  const std::string name = fFiles[file]->GetFileName();
  Require(fFiles[file]->Open(name, mode, fpSettings->GetCompressionLevel()),
          QxUtils_800::FileOpenError);
}

void Stream::Write(const void* data, std::size_t bytes) {
  const char* from = static_cast<const char*>(data);
  while (bytes > 0) {
    const int count = static_cast<int>(std::min(bytes, kMostPerCall));
    Require(fFiles[fCurrent]->Write(from, count) == count, QxUtils_800::FileWriteError);
    from += count;
    bytes -= static_cast<std::size_t>(count);
  }
}

void Stream::Rewind() {
  Close();
  Open(0, qxg_800::IOBinFile::IOModeRead);
}

void Stream::Read(void* data, std::size_t bytes) {
  char* to = static_cast<char*>(data);
  while (bytes > 0) {
    const int most = static_cast<int>(std::min(bytes, kMostPerCall));
    const int count = fFiles[fCurrent]->Read(to, most);
    Require(count == most || fCurrent + 1 < fFiles.size(), QxUtils_800::FileReadError);
    to += count;
    bytes -= static_cast<std::size_t>(count);
    if (count == most) continue;
    Close();
    Open(fCurrent + 1, qxg_800::IOBinFile::IOModeRead);
  }
}

void Stream::Close() { Require(fFiles[fCurrent]->Close(), QxUtils_800::FileWriteError); }

std::size_t Block::Bytes() const {
  return fresh.size() * sizeof(double) + values.size() * sizeof(double) + codes.size() * 2 +
         texts.size();
}

std::string Block::Packed() const {
  const std::uint32_t header[] = {static_cast<std::uint32_t>(form), rows,
                                  static_cast<std::uint32_t>(fresh.size()),
                                  static_cast<std::uint32_t>(texts.size())};
  std::string bytes;
  bytes.reserve(sizeof header + Bytes());
  Append(bytes, header, std::size(header));
  Append(bytes, fresh.data(), fresh.size());
  if (form == Form::Bytes) bytes.append(codes.begin(), codes.begin() + rows);
  if (form == Form::Words) Append(bytes, codes.data(), rows);
  Append(bytes, values.data(), values.size());
  bytes += texts;
  return bytes;
}

ColumnReader::ColumnReader(Stream& stream, Kind kind, const Dictionary* dictionary)
    : fStream(stream), fKind(kind), fpDictionary(dictionary), fTable(2, qxg_800::GetInfinity()) {
  fStream.Rewind();
  if (kind != Kind::Text) return;
  // Missing texts stand there too, without a code of their own.
  dictionary->ForEach([this](std::string_view, int code) {
    if (code >= Block::FirstValue) fTable.push_back(code - Block::FirstValue);
  });
}

ColumnReader::Cells ColumnReader::Next(std::size_t most) {
  while (fNext == fBlock.rows) ReadBlock();
  const std::size_t start = fNext, count = std::min(most, fBlock.rows - start);
  fNext += count;
  if (fBlock.values.empty()) return {count, fBlock.codes.data() + start, nullptr};
  return {count, nullptr, fBlock.values.data() + start};
}

void ColumnReader::ReadBlock() {
  std::uint32_t header[4];
  fStream.Read(header, sizeof header);
  fBlock.form = static_cast<Block::Form>(header[0]);
  fBlock.rows = header[1];
  const std::size_t rows = header[1], known = fTable.size();
  fTable.resize(known + header[2]);
  fStream.Read(fTable.data() + known, header[2] * sizeof(double));
  const bool hasCodes = fBlock.form == Block::Form::Bytes || fBlock.form == Block::Form::Words;
  fBlock.codes.resize(hasCodes ? rows : 0);
  fBlock.values.resize(hasCodes ? 0 : rows);
  fBlock.texts.resize(header[3]);
  fNext = 0;
  if (fBlock.form == Block::Form::Bytes) fStream.ReadAs<unsigned char>(fBlock.codes.data(), rows);
  if (fBlock.form == Block::Form::Words) fStream.Read(fBlock.codes.data(), rows * 2);
  if (fBlock.form == Block::Form::Values) fStream.Read(fBlock.values.data(), rows * sizeof(double));
  fStream.Read(fBlock.texts.data(), fBlock.texts.size());
  if (fBlock.form == Block::Form::Texts) ReadTexts();
}

void ColumnReader::ReadTexts() {
  std::string_view texts = fBlock.texts;
  for (double& value : fBlock.values) {
    std::uint32_t bytes = 0;
    std::memcpy(&bytes, texts.data(), sizeof bytes);
    texts.remove_prefix(sizeof bytes);
    value = qxg_800::GetInfinity();
    if (bytes == Block::kMissing) continue;
    value = ValueOf(texts.substr(0, bytes));
    texts.remove_prefix(bytes);
  }
}

double ColumnReader::ValueOf(std::string_view text) {
  if (fKind != Kind::Text) return ParseCell(fKind, text).value_or(qxg_800::GetInfinity());
  const int code = fpDictionary->Find(text);
  return code < Block::FirstValue ? qxg_800::GetInfinity() : code - Block::FirstValue;
}

}  // namespace qxtree
