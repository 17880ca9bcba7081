// SPDX-FileCopyrightText: The qxutils authors
// SPDX-License-Identifier: Apache-2.0

// Streams a CSV file into one view a column.
#ifndef QXTREE_IMPORTER_H
#define QXTREE_IMPORTER_H

#include <cstddef>
#include <deque>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "qxtree/column.h"
#include "qxtree/csvreader.h"
#include "qxtree/options.h"
#include "qxtree/peers.h"
#include "qxtree/process.h"

namespace qxtree {

// Kinds of columns, as far as they are settled.
using Kinds = std::vector<std::optional<Kind>>;

class Importer : public CsvSink {
 public:
  static constexpr std::size_t kNone = static_cast<std::size_t>(-1);

  // `kinds`: none, or one for each column.
  Importer(const Options& options, TempFolder& folder, Kinds kinds);

  // Reads all parts. Throws as ReadTable does.
  void Read(const CsvInput& input);

  std::size_t CountRows() const { return fRows; }
  std::size_t CountColumns() const { return fColumns.size(); }
  std::size_t TextBytes() const { return fDictionaries.limit; }  // at most, of a column
  std::size_t Target() const { return fTarget; }
  std::size_t Weight() const { return fWeight; }  // kNone: there is none
  // In UTF-8, with bytes like \xE9 when they can't be converted.
  const std::vector<std::string>& Names() const { return fNames; }
  // Null for a column that is ignored.
  Column* Get(std::size_t column) { return fColumns[column].get(); }
  // After Read; the caller's.
  Stream TakeStream(std::size_t column);

 private:
  friend CsvPosition;

  void BeginPart(const CsvPart& part) override;
  void TakeHeader(const std::vector<std::string>& names) override;
  void TakeCell(std::size_t column, std::string_view cell, long line) {
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
  const Kinds fKinds;
  const MissingTexts fMissing;
  MemoryShare fDictionaries;
  std::size_t fMostSegmentBytes = 0;
  std::string fFile;  // for messages
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

// What is told of the rows of all processes.
struct ImportFacts {
  std::vector<std::string> names;
  bool areNamesEqual = true;
  std::size_t rows = 0;
  std::vector<ColumnFacts> columns;  // with nothing for those that are ignored

  void Add(const ImportFacts& next);  // of the rows that follow
  template <class Self, class Visitor>
  static void Visit(Self& self, Visitor& visit) {
    visit(self.names), visit(self.areNamesEqual), visit(self.rows), visit(self.columns);
  }
};

// The rows of this process, with the kinds that the rows of all processes lead to.
struct Import {
  std::unique_ptr<Importer> importer;
  ImportFacts facts;
  std::size_t rowsBefore = 0;  // those of lower ranks
};

// Throws as ReadTable does. A process whose own rows mislead it about a kind reads them again.
Import ImportRows(const Options& options, TempFolder& folder, Peers& peers);

}  // namespace qxtree

#endif
