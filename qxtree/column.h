// SPDX-FileCopyrightText: The qxutils authors
// SPDX-License-Identifier: Apache-2.0

// A column while its cells come in: finds out what it holds, and writes it to a view.
#ifndef QXTREE_COLUMN_H
#define QXTREE_COLUMN_H

#include <array>
#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "examples/viewset.h"
#include "qxtree/cells.h"
#include "qxtree/dictionary.h"
#include "qxtree/stream.h"

namespace qxtree {

constexpr std::size_t kMostCategories = 65534;  // of a column, and classes of the target
constexpr const char* kTooManyCategories = "more than 65534 categories";
constexpr const char* kTooMuchText = "its texts need more memory";
constexpr std::size_t kBlockRows = 2048;  // that are written or read at a time

// What the columns of a table share while it is read. All outlive the columns.
struct ReadingContext {
  examples::ViewSet* views;  // another one from time to time
  const MissingTexts& missing;
  MemoryShare& dictionaries;
  // What the view set notes of segments. It is the importer's to look at.
  std::size_t segmentBytes = 0;
  std::size_t blockRows;    // cells that a column collects before it writes them
  const std::string& file;  // after a line number; empty where there is one only
  // Frees the dictionary of some column of numbers or dates; false when there is none.
  std::function<bool()> freeDictionary;
};

// What the first cells hold that are not missing.
struct Clue {
  int seen = 0;               // of them
  int run = 0;                // of those, from the first one on, that are like it and no texts
  Kind first = Kind::Number;  // what the first one is

  void Take(Kind kind);
  void Add(const Clue& next);  // of the rows that follow
  bool IsDecided() const;
  Kind Decide() const;
};

// What is told of a column.
struct ColumnFacts {
  Kind kind = Kind::Number;
  bool isEmpty = true;              // no cell but missing ones
  Clue clue;                        // unless the kind was given
  long missing = 0, malformed = 0;  // cells
  std::string firstMalformed;       // by ShownCell
  std::string placeOfMalformed;     // "line 3"
  std::string whyLeftOut;           // empty: it is not

  void Add(const ColumnFacts& next);  // of the rows that follow
  template <class Self, class Visitor>
  static void Visit(Self& self, Visitor& visit) {
    visit(self.kind), visit(self.isEmpty), visit(self.clue), visit(self.missing);
    visit(self.malformed), visit(self.firstMalformed), visit(self.placeOfMalformed);
    visit(self.whyLeftOut);
  }
};

// The first 1,000 cells that are not missing decide whether it holds numbers, dates or texts. Later
// cells that do not fit are malformed.
//
// Cells are written as codes of distinct texts, so that a text is read once. Where nearly all
// texts differ, or memory is short, values are written instead. The output of the program does not
// depend on it. A column of texts that has too many of them is left out.
class Column {
 public:
  // `view` of the set is the column's, with items of one byte. `kind` is decided if there is one.
  // Functions throw std::runtime_error when a write fails.
  Column(std::optional<Kind> kind, ReadingContext& context, int view);

  void Take(std::string_view cell, long line) {
    const bool isShort = cell.size() <= Dictionary::kMostShort;
    const int code = fIsCoded && isShort ? fDictionary.Find(cell) : Dictionary::kNone;
    if (code == Dictionary::kNone) return TakeSlowly(cell, line);
    PutCode(static_cast<std::uint16_t>(code));
  }

  // Writes what is left and decides what is undecided.
  void Finish();

  // Whether it can go on without its dictionary, and what makes it do so.
  bool IsFreeable() const { return fKind != Kind::Text && fDictionary.Bytes() > 0; }
  void FreeDictionary();

  // After Finish.
  const ColumnFacts& Facts() const { return fFacts; }
  // Whether all cells are codes but the first ones, whose values have codes too.
  bool IsCodedThroughout() const { return fIsCodedThroughout; }
  // The texts of a column of texts; of others only while cells come in.
  Dictionary& Texts() { return fDictionary; }

 private:
  void TakeSlowly(std::string_view cell, long line);
  void TakeUndecided(std::string_view cell, long line);
  void Decide(Kind kind);
  void TakeNewText(std::string_view cell, long line);
  bool AddText(std::string_view cell, int code);
  void LeaveOut(const std::string& why);
  void NoteMalformed(std::string_view cell, long line);
  void PutCode(std::uint16_t code) {
    if (code < Block::FirstValue) ++fCounts[code];
    fBlock.codes[fBlock.rows] = code;
    if (++fBlock.rows == fContext.blockRows) Flush(Block::Form::Words);
  }
  void PutValue(double value);
  void Flush(Block::Form form);
  // Of a block of texts: as many as a block of values and of new values takes.
  std::size_t BlockBytes() const { return 2 * sizeof(double) * fContext.blockRows; }

  std::optional<Kind> fKind;
  ReadingContext& fContext;
  const int fView;
  bool fIsCoded = false;  // cells are looked up
  bool fIsCodedThroughout = true;
  bool fIsShort = false;  // of memory, while undecided
  long fCoded = 0;        // cells in blocks of codes that were written
  int fNextCode = Block::FirstValue;
  Dictionary fDictionary;
  Block fBlock;
  std::array<long, Block::FirstValue> fCounts{};  // cells without a value, by code
  ColumnFacts fFacts;
};

}  // namespace qxtree

#endif
