// SPDX-FileCopyrightText: The qxutils authors
// SPDX-License-Identifier: Apache-2.0

// Streams a CSV file into one view a column.
#ifndef QXTREE_IMPORTER_H
#define QXTREE_IMPORTER_H

#include <cstddef>
#include <deque>
#include <memory>
#include <string>
#include <vector>

#include "qxtree/column.h"
#include "qxtree/csvreader.h"
#include "qxtree/options.h"
#include "qxtree/process.h"

namespace qxtree {

class Importer : public CsvSink {
 public:
  static constexpr std::size_t kNone = static_cast<std::size_t>(-1);

  Importer(const Options& options, TempFolder& folder);

  // Reads the whole file. Throws as ReadTable does.
  void Read();

  std::size_t CountRows() const { return fRows; }
  std::size_t CountColumns() const { return fColumns.size(); }
  std::size_t Target() const { return fTarget; }
  std::size_t Weight() const { return fWeight; }  // kNone: there is none
  // In UTF-8, with bytes like \xE9 when it can't be converted.
  const std::string& Name(std::size_t column) const { return fNames[column]; }
  // Null for a column that is ignored.
  Column* Get(std::size_t column) { return fColumns[column].get(); }
  // After Read; the caller's.
  Stream TakeStream(std::size_t column);

 private:
  void TakeHeader(const std::vector<std::string>& names) override;
  void TakeCell(std::size_t column, std::string_view cell, long line) override {
    if (fColumns[column]) fColumns[column]->Take(cell, line);
  }
  void EndRow() override {
    ++fRows;
    if (fContext->segmentBytes > fMostSegmentBytes) TakeFiles();
  }
  void TakeFiles();
  std::size_t Find(const std::string& name, const char* setting) const;
  bool FreeDictionary();

  const Options& fOptions;
  TempFolder& fFolder;
  const MissingTexts fMissing;
  MemoryShare fDictionaries;
  std::size_t fMostSegmentBytes = 0;
  std::vector<std::string> fNames;
  std::size_t fTarget = kNone, fWeight = kNone, fRows = 0;
  std::vector<int> fViewOf;  // each column; -1: it is ignored
  std::vector<qxg_800::ViewInfo> fInfos;
  long fBuffers = 0;  // bytes
  std::unique_ptr<examples::ViewSet> fViews;
  std::vector<std::vector<examples::ViewFile>> fFiles;  // by view
  std::size_t fFileBytes = 0;
  std::unique_ptr<ReadingContext> fContext;
  std::vector<std::unique_ptr<Column>> fColumns;
};

}  // namespace qxtree

#endif
