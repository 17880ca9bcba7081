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

// One run of the CSV library, which calls back for each cell and each end of a row.
class Parser final : private CsvPosition {
 public:
  // `name` is that of the file for messages. `names` are the columns', filled in by the header if
  // there are none.
  Parser(const std::string& name, char delimiter, std::vector<std::string>& names, CsvSink& sink,
         CellFunction onCell)
      : CsvPosition(sink),
        fName(name),
        fNames(names),
        fOnCell(onCell),
        fpParser(&fParser, csv_free) {
    // Fails for a null pointer only.
    csv_init(&fParser, CSV_STRICT | CSV_STRICT_FINI | CSV_REPALL_NL);
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
    if (csv_fini(&fParser, fOnCell, OnEndOfRow, Position()) != 0) Fail("the file ends");
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

  // The library does not tell where it stands. In a block without quotation marks it tells each
  // line feed. Others go line by line, and so does what a cell gets too long in.
  void FeedLines(std::string_view block) {
    fIsPlain = fParser.quoted == 0 && block.find('"') == block.npos &&
               csv_get_buffer_size(&fParser) + block.size() <= kMostCellBytes;
    while (!block.empty()) {
      const void* const end = fIsPlain ? nullptr : std::memchr(block.data(), '\n', block.size());
      const std::size_t bytes =
          end ? static_cast<std::size_t>(static_cast<const char*>(end) - block.data()) + 1
              : block.size();
      const bool isFit =
          csv_parse(&fParser, block.data(), bytes, fOnCell, OnEndOfRow, Position()) == bytes;
      if (fException) std::rethrow_exception(fException);
      if (!isFit && csv_error(&fParser) != CSV_EPARSE) throw std::bad_alloc();
      if (!isFit) Fail("a quotation mark is out of place");
      if (csv_get_buffer_size(&fParser) > kMostCellBytes) Fail("a cell of more than 1 MiB");
      if (fParser.quoted != 0 && fLineOfQuote == 0) fLineOfQuote = fLine;
      if (end) ++fLine;
      block.remove_prefix(bytes);
    }
  }

  // Of a line too that has nothing in it.
  static void OnEndOfRow(int terminator, void* position) noexcept {
    auto& self = static_cast<Parser&>(*static_cast<CsvPosition*>(position));
    const bool isBlank = self.fColumn == 0 && self.fHeader.empty();
    try {
      if (!self.fException && !isBlank) self.EndRow();
    } catch (...) {
      self.TakeException();
    }
    if (terminator == '\n' && self.fIsPlain) ++self.fLine;
  }

  // What the callbacks get.
  void* Position() { return static_cast<CsvPosition*>(this); }

  void TakeOther(std::string_view cell) override {
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
  const CellFunction fOnCell;
  csv_parser fParser{};
  const std::unique_ptr<csv_parser, void (*)(csv_parser*)> fpParser;  // frees what it holds
  std::vector<std::string> fHeader;
  std::size_t fHeaderBytes = 0;
  std::size_t fMark = 0;  // bytes of a byte order mark so far
  bool fIsPlain = true;   // the ends of rows are those of lines
};

}  // namespace

CsvHeader ReadCsvHeader(const std::string& path, char delimiter) {
  struct : CsvSink {
    void TakeHeader(const std::vector<std::string>&) override {}
    void EndRow() override {}
    void TakeCell(std::size_t, std::string_view, long) {}
  } sink;
  CsvHeader header;
  Input input(path);
  Parser parser(input.Name(), delimiter, header.names, sink, CsvPosition::OnCell<decltype(sink)>);
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

void ReadCsv(const CsvInput& input, char delimiter, CsvSink& sink,
             CsvPosition::CellFunction onCell) {
  std::vector<std::string> names = input.names;
  if (!names.empty()) sink.TakeHeader(names);
  for (const CsvPart& part : input.parts) {
    sink.BeginPart(part);
    Input bytes(part.path, part.begin, part.end);
    Parser parser(bytes.Name(), delimiter, names, sink, onCell);
    if (part.begin > 0) parser.BeginAt(part.line);
    for (std::string_view block = bytes.Next(); !block.empty(); block = bytes.Next()) {
      ShowProgress("reading", bytes.Share());
      parser.Feed(block);
    }
    parser.Finish();
  }
}

}  // namespace qxtree
