// SPDX-FileCopyrightText: The qxutils authors
// SPDX-License-Identifier: Apache-2.0

#include "qxtree/csvreader.h"

#include <csv.h>
#include <fmt/format.h>

#include <algorithm>
#include <cstring>
#include <exception>
#include <memory>
#include <new>
#include <stdexcept>
#include <utility>

#include "qxtree/cells.h"
#include "qxtree/input.h"
#include "qxtree/process.h"

namespace qxtree {
namespace {

constexpr std::size_t kMostCellBytes = 1 << 20;
constexpr std::size_t kMostHeaderBytes = 8 << 20;
constexpr std::size_t kGrowthBytes = 1 << 12;  // of the library's buffer for a cell
constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

int IsBlankBesideTab(unsigned char byte) { return byte == CSV_SPACE; }

// One run of the CSV library, which calls back for each cell and each end of a row. Nothing may be
// thrown through its C code, so an exception waits for the end of the call.
class Parser {
 public:
  // `name` is that of the file for messages. `names` are the columns', filled in by the header if
  // there are none.
  Parser(const std::string& name, char delimiter, std::vector<std::string>& names, CsvSink& sink)
      : fName(name), fNames(names), fSink(sink), fpParser(&fParser, csv_free) {
    csv_init(&fParser, CSV_STRICT | CSV_STRICT_FINI);  // fails for a null pointer only
    csv_set_delim(&fParser, static_cast<unsigned char>(delimiter));
    csv_set_blk_size(&fParser, kGrowthBytes);
    // Else the tabs before a cell would be skipped, and empty cells lost.
    if (delimiter == '\t') csv_set_space_func(&fParser, IsBlankBesideTab);
  }

  // To be called first: the header is known.
  void BeginAt(long line) {
    fLine = line;
    fColumns = fNames.size();
    fMark = kByteOrderMark.size();
  }

  void Feed(std::string_view block) {
    for (; fMark < kByteOrderMark.size() && !block.empty(); block.remove_prefix(1), ++fMark)
      if (block[0] != kByteOrderMark[fMark]) return FeedStart(block);
    FeedLines(block);
  }

  void Finish() {
    if (fMark < kByteOrderMark.size()) FeedStart({});
    if (csv_fini(&fParser, OnCell, OnEndOfRow, this) != 0) Fail("the file ends");
    if (fException) std::rethrow_exception(fException);
    if (fColumns == 0) Fail("no header");
  }

 private:
  // The file begins with a part of a byte order mark only.
  void FeedStart(std::string_view block) {
    const std::size_t bytes = std::exchange(fMark, kByteOrderMark.size());
    FeedLines(kByteOrderMark.substr(0, bytes));
    FeedLines(block);
  }

  // Line by line, since the library does not tell where it stands.
  void FeedLines(std::string_view block) {
    while (!block.empty()) {
      const void* const end = std::memchr(block.data(), '\n', block.size());
      const std::size_t bytes =
          end ? static_cast<std::size_t>(static_cast<const char*>(end) - block.data()) + 1
              : block.size();
      const bool isFit =
          csv_parse(&fParser, block.data(), bytes, OnCell, OnEndOfRow, this) == bytes;
      if (fException) std::rethrow_exception(fException);
      if (!isFit && csv_error(&fParser) != CSV_EPARSE) throw std::bad_alloc();
      if (!isFit) Fail("a quotation mark is out of place");
      if (csv_get_buffer_size(&fParser) > kMostCellBytes) Fail("a cell of more than 1 MiB");
      if (fParser.quoted != 0 && fLineOfQuote == 0) fLineOfQuote = fLine;
      if (end) ++fLine;
      block.remove_prefix(bytes);
    }
  }

  static void OnCell(void* text, std::size_t bytes, void* parser) noexcept {
    Parser& self = *static_cast<Parser*>(parser);
    const std::string_view cell(static_cast<const char*>(text), bytes);
    self.fLineOfQuote = 0;
    try {
      if (self.fColumn < self.fColumns)
        self.fSink.TakeCell(self.fColumn++, cell, self.fLine);
      else if (!self.fException)
        self.TakeOther(cell);
    } catch (...) {
      self.TakeException();
    }
  }

  static void OnEndOfRow(int /*terminator*/, void* parser) noexcept {
    Parser& self = *static_cast<Parser*>(parser);
    try {
      if (!self.fException) self.EndRow();
    } catch (...) {
      self.TakeException();
    }
  }

  // The sink takes no further cells.
  void TakeException() {
    fException = std::current_exception();
    fColumn = fColumns;
  }

  // Of the header, or one too many.
  void TakeOther(std::string_view cell) {
    if (fColumns > 0) Fail(fmt::format("more than {} cells", fColumns));
    fHeaderBytes += sizeof(std::string) + cell.size();
    if (fHeaderBytes > kMostHeaderBytes) Fail("a header of more than 8 MiB");
    fHeader.emplace_back(cell);
  }

  void EndRow() {
    if (fColumns == 0) return EndHeader();
    if (fColumn < fColumns) Fail(fmt::format("{} cells, not {}", fColumn, fColumns));
    fColumn = 0;
    fSink.EndRow();
  }

  void EndHeader() {
    std::vector<std::string_view> sorted(fHeader.begin(), fHeader.end());
    std::sort(sorted.begin(), sorted.end());
    const auto twice = std::adjacent_find(sorted.begin(), sorted.end());
    if (twice != sorted.end())
      Fail(fmt::format("two columns have the same name '{}'", ToLocale(ShownCell(*twice))));
    fColumns = fHeader.size();
    if (fNames.empty()) {
      fNames.swap(fHeader);
      fSink.TakeHeader(fNames);
    } else if (fHeader != fNames) {
      Fail("not the columns of the files before");
    }
    std::vector<std::string>().swap(fHeader);
  }

  // What follows a quotation mark that is never closed is one cell, or ends at the next mark.
  [[noreturn]] void Fail(const std::string& what) const {
    throw std::runtime_error(
        fLineOfQuote == 0
            ? fmt::format("{}, line {}: {}", fName, fLine, what)
            : fmt::format("{}, line {}: a quotation mark is not closed (then, in line {}: {})",
                          fName, fLineOfQuote, fLine, what));
  }

  const std::string& fName;
  std::vector<std::string>& fNames;
  CsvSink& fSink;
  csv_parser fParser{};
  const std::unique_ptr<csv_parser, void (*)(csv_parser*)> fpParser;  // frees what it holds
  std::exception_ptr fException;                                      // of a callback
  std::vector<std::string> fHeader;
  std::size_t fHeaderBytes = 0;
  std::size_t fColumns = 0;  // 0 until the header is complete
  std::size_t fColumn = 0;   // of the next cell
  std::size_t fMark = 0;     // bytes of a byte order mark so far
  long fLine = 1;            // that is being read
  long fLineOfQuote = 0;     // on which the cell began that goes on in this one; 0: none
};

}  // namespace

CsvHeader ReadCsvHeader(const std::string& path, char delimiter) {
  struct : CsvSink {
    void TakeHeader(const std::vector<std::string>&) override {}
    void TakeCell(std::size_t, std::string_view, long) override {}
    void EndRow() override {}
  } sink;
  CsvHeader header;
  Input input(path);
  Parser parser(input.Name(), delimiter, header.names, sink);
  for (std::string_view block = input.Next(); !block.empty(); block = input.Next())
    while (!block.empty()) {
      const std::size_t end = block.find_first_of("\n\r");
      const std::size_t bytes = end == block.npos ? block.size() : end + 1;
      header.bytes += bytes;
      header.lineFeeds += block[bytes - 1] == '\n';
      parser.Feed(block.substr(0, bytes));
      if (!header.names.empty()) return header;
      block.remove_prefix(bytes);
    }
  parser.Finish();
  return header;
}

void ReadCsv(const CsvInput& input, char delimiter, CsvSink& sink) {
  std::vector<std::string> names = input.names;
  if (!names.empty()) sink.TakeHeader(names);
  for (const CsvPart& part : input.parts) {
    sink.BeginPart(part);
    Input bytes(part.path, part.begin, part.end);
    Parser parser(bytes.Name(), delimiter, names, sink);
    if (part.begin > 0) parser.BeginAt(part.line);
    for (std::string_view block = bytes.Next(); !block.empty(); block = bytes.Next()) {
      ShowProgress("reading", bytes.Share());
      parser.Feed(block);
    }
    parser.Finish();
  }
}

}  // namespace qxtree
