// SPDX-FileCopyrightText: The qxutils authors
// SPDX-License-Identifier: Apache-2.0

// Reads a CSV file cell by cell.
#ifndef QXTREE_CSVREADER_H
#define QXTREE_CSVREADER_H

#include <cstddef>
#include <cstdint>
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

// What takes the cells, in the order of the file.
class CsvSink {
 public:
  virtual ~CsvSink() = default;

  virtual void BeginPart(const CsvPart& /*part*/) {}
  virtual void TakeHeader(const std::vector<std::string>& names) = 0;  // no two alike; once
  // `cell` is valid during the call. `line` is that of its end, from 1.
  virtual void TakeCell(std::size_t column, std::string_view cell, long line) = 0;
  virtual void EndRow() = 0;  // each column had its cell
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
void ReadCsv(const CsvInput& input, char delimiter, CsvSink& sink);

}  // namespace qxtree

#endif
