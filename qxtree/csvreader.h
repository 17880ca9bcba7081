// SPDX-FileCopyrightText: The qxutils authors
// SPDX-License-Identifier: Apache-2.0

// Reads a CSV file cell by cell.
#ifndef QXTREE_CSVREADER_H
#define QXTREE_CSVREADER_H

#include <cstddef>
#include <cstdint>
#include <exception>
#include <string>
#include <string_view>
#include <vector>

namespace qxtree {

// A CSV file, "-" for standard input, or rows in the middle of one.
struct CsvPart {
  std::string path;
  std::uint64_t begin = 0;  // the first byte; 0: a whole file with its header
  std::uint64_t end = static_cast<std::uint64_t>(-1);  // that of the next part; -1: to the end
  long line = 1;                                       // at `begin`
};

// What takes the cells, in the order of the file. A class of it has this function too, which is not
// virtual because that is faster. `cell` is valid during the call. `line` is that of its end,
// from 1.
//   void TakeCell(std::size_t column, std::string_view cell, long line);
class CsvSink {
 public:
  virtual ~CsvSink() = default;

  virtual void BeginPart(const CsvPart& /*part*/) {}
  virtual void TakeHeader(const std::vector<std::string>& names) = 0;  // no two alike; once
  virtual void EndRow() = 0;                                           // each column had its cell
};

// Where a reader stands, for the function that the CSV library calls for each cell. Nothing may be
// thrown through its C code, so an exception waits for the end of the call.
class CsvPosition {
 public:
  using CellFunction = void (*)(void* text, std::size_t bytes, void* position);

  template <class Sink>
  static void OnCell(void* text, std::size_t bytes, void* position) noexcept {
    CsvPosition& self = *static_cast<CsvPosition*>(position);
    const std::string_view cell(static_cast<const char*>(text), bytes);
    self.fLineOfQuote = 0;
    try {
      if (self.fColumn < self.fColumns)
        static_cast<Sink&>(self.fSink).TakeCell(self.fColumn++, cell, self.fLine);
      else if (!self.fException)
        self.TakeOther(cell);
    } catch (...) {
      self.TakeException();
    }
  }

 protected:
  explicit CsvPosition(CsvSink& sink) : fSink(sink) {}
  ~CsvPosition() = default;

  virtual void TakeOther(std::string_view cell) = 0;  // of the header, or one too many
  // The sink takes no further cells.
  void TakeException() {
    fException = std::current_exception();
    fColumn = fColumns;
  }

  CsvSink& fSink;
  std::exception_ptr fException;  // of a callback
  std::size_t fColumns = 0;       // 0 until the header is complete
  std::size_t fColumn = 0;        // of the next cell
  long fLine = 1;                 // that is being read
  long fLineOfQuote = 0;          // on which the cell began that goes on in this one; 0: none
};

struct CsvInput {
  std::vector<CsvPart> parts;
  std::vector<std::string> names;  // of the columns; none: as the first part says
};

// The columns that the first row of a file names.
struct CsvHeader {
  std::vector<std::string> names;
  std::uint64_t bytes = 0;  // up to the next row
  long lineFeeds = 0;       // in them
};
// Throws as ReadCsv.
CsvHeader ReadCsvHeader(const std::string& path, char delimiter);

void ReadCsv(const CsvInput& input, char delimiter, CsvSink& sink,
             CsvPosition::CellFunction onCell);

// Streams CSV files in constant memory whatever the length of their rows. One compressed by gzip or
// zstd is read as it is. A row ends at a line feed, a carriage return or
// both. Skips blanks around cells without quotation marks, a UTF-8 byte order mark and lines with
// nothing in them.
//
// Shows the progress. Throws what the sink throws, what Input throws, and std::runtime_error that
// names the file and the line (by line feeds):
// - A quotation mark is out of place, or never closed: the line on which it stands.
// - A row has too few or too many cells, or a cell of more than 1 MiB.
// - There is no header, it takes more than 8 MiB, or two columns have the same name.
// - A file has another header than those before.
template <class Sink>
void ReadCsv(const CsvInput& input, char delimiter, Sink& sink) {
  ReadCsv(input, delimiter, sink, CsvPosition::OnCell<Sink>);
}

}  // namespace qxtree

#endif
