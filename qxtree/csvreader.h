// SPDX-FileCopyrightText: The qxutils authors
// SPDX-License-Identifier: Apache-2.0

// Reads a CSV file cell by cell.
#ifndef QXTREE_CSVREADER_H
#define QXTREE_CSVREADER_H

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace qxtree {

// What takes the cells, in the order of the file.
class CsvSink {
 public:
  virtual ~CsvSink() = default;

  virtual void TakeHeader(const std::vector<std::string>& names) = 0;  // no two alike
  // `cell` is valid during the call. `line` is that of its end, from 1.
  virtual void TakeCell(std::size_t column, std::string_view cell, long line) = 0;
  virtual void EndRow() = 0;  // each column had its cell
};

// Streams a CSV file, "-" for standard input, in constant memory whatever the length of its rows. A
// file compressed by gzip or zstd is read as it is. A row ends at a line feed, a carriage return or
// both. Skips blanks around cells without quotation marks, a UTF-8 byte order mark and lines with
// nothing in them.
//
// Shows the progress. Throws what the sink throws, what Input throws, and std::runtime_error that
// names the file and the line (by line feeds):
// - A quotation mark is out of place, or never closed: the line on which it stands.
// - A row has too few or too many cells, or a cell of more than 1 MiB.
// - There is no header, it takes more than 8 MiB, or two columns have the same name.
void ReadCsv(const std::string& path, char delimiter, CsvSink& sink);

}  // namespace qxtree

#endif
