#ifndef QXTREE_CSVREADER_H
#define QXTREE_CSVREADER_H

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace qxtree {

// Takes a CSV file in as it is read. What an operation throws reaches the caller of ReadCsv.
class CsvSink {
 public:
  virtual ~CsvSink() = default;

  // Once, first: the columns' names, none of them empty, no two alike.
  virtual void Header(const std::vector<std::string>& names) = 0;

  // The next cell of a row, column by column from 0; `text` lives within the call only.
  virtual void Cell(std::size_t column, std::string_view text) = 0;

  // The row is complete.
  virtual void EndRow() = 0;
};

// Streams the CSV file at `path` into `sink`, in memory that does not grow with the file's length.
//
// Blanks around a cell without quotation marks, a UTF-8 byte order mark, and lines with nothing in
// them are skipped (so in a file of one column an empty cell is written as "").
//
// Throws std::runtime_error that names the file when it can't be read to its end, and the line too
// when it is malformed: no header, a name that is empty or there twice, a row of more or fewer
// cells than the header (the sink has had its cells by then), a stray quotation mark.
void ReadCsv(const std::string& path, CsvSink& sink);

}  // namespace qxtree

#endif
