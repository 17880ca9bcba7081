#include "qxtree/csvreader.h"

#include <csv.h>
#include <fmt/format.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <exception>
#include <memory>
#include <set>
#include <stdexcept>

namespace qxtree {
namespace {

constexpr std::size_t kBlockBytes = 1 << 16;
constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

// One run of the CSV library, which calls back for each cell and each end of a row.
class Parser {
 public:
  Parser(const std::string& path, CsvSink& sink) : fPath(path), fSink(sink) {
    csv_init(&fParser, CSV_STRICT | CSV_STRICT_FINI);  // fails for a null pointer only
  }
  ~Parser() { csv_free(&fParser); }
  Parser(const Parser&) = delete;
  Parser& operator=(const Parser&) = delete;

  // Line by line, since the library does not tell where it stands.
  void Feed(std::string_view block) {
    while (!block.empty()) {
      const std::size_t bytes = std::min(block.find('\n'), block.size() - 1) + 1;
      Check(csv_parse(&fParser, block.data(), bytes, OnCell, OnEndOfRow, this) == bytes);
      if (block[bytes - 1] == '\n') ++fLine;
      block.remove_prefix(bytes);
    }
  }

  void Finish() {
    Check(csv_fini(&fParser, OnCell, OnEndOfRow, this) == 0);
    if (fColumns == 0) Fail("no header");
  }

 private:
  static void OnCell(void* text, std::size_t bytes, void* parser) {
    auto* self = static_cast<Parser*>(parser);
    self->Guarded([=] { self->Cell({static_cast<const char*>(text), bytes}); });
  }
  static void OnEndOfRow(int /*terminator*/, void* parser) {
    auto* self = static_cast<Parser*>(parser);
    self->Guarded([=] { self->EndRow(); });
  }

  // Nothing may be thrown through the library's C code: a failure is kept until it has returned.
  template <class Step>
  void Guarded(Step step) noexcept {
    if (fFailure) return;
    try {
      step();
    } catch (...) {
      fFailure = std::current_exception();
    }
  }

  void Check(bool success) {
    if (fFailure) std::rethrow_exception(fFailure);
    if (success) return;
    const int error = csv_error(&fParser);
    Fail(error == CSV_EPARSE ? "a quotation mark is missing or out of place" : csv_strerror(error));
  }

  void Cell(std::string_view text) {
    if (fColumns == 0) fNames.emplace_back(text);
    if (fCells < fColumns) fSink.Cell(fCells, text);
    ++fCells;
  }

  void EndRow() {
    if (fColumns == 0) {
      TakeHeader();
    } else {
      if (fCells != fColumns)
        Fail(fmt::format("cells: {} in the row, {} in the header", fCells, fColumns));
      fSink.EndRow();
    }
    fCells = 0;
  }

  void TakeHeader() {
    std::set<std::string_view> seen;
    for (const std::string& name : fNames) {
      if (name.empty()) Fail(fmt::format("column {} has no name", seen.size() + 1));
      if (!seen.insert(name).second) Fail(fmt::format("two columns are named '{}'", name));
    }
    fColumns = fNames.size();
    fSink.Header(fNames);
  }

  [[noreturn]] void Fail(const std::string& what) const {
    throw std::runtime_error(fmt::format("'{}', line {}: {}", fPath, fLine, what));
  }

  csv_parser fParser{};
  const std::string& fPath;
  CsvSink& fSink;
  std::exception_ptr fFailure;
  std::vector<std::string> fNames;
  std::size_t fColumns = 0;  // 0 until the header is complete
  std::size_t fCells = 0;    // of the row that is being read
  long fLine = 1;            // that is being read
};

struct CloseStream {
  void operator()(std::FILE* stream) const { std::fclose(stream); }  // was only read
};

}  // namespace

void ReadCsv(const std::string& path, CsvSink& sink) {
  const std::unique_ptr<std::FILE, CloseStream> stream(std::fopen(path.c_str(), "rbe"));
  if (!stream) throw fmt::system_error(errno, "cannot open '{}'", path);
  Parser parser(path, sink);
  std::vector<char> buffer(kBlockBytes);
  std::string_view skip = kByteOrderMark;
  while (const std::size_t bytes = std::fread(buffer.data(), 1, buffer.size(), stream.get())) {
    std::string_view block(buffer.data(), bytes);
    if (block.substr(0, skip.size()) == skip) block.remove_prefix(skip.size());
    skip = {};  // a mark stands at the start of the file only
    parser.Feed(block);
  }
  if (std::ferror(stream.get())) throw fmt::system_error(errno, "cannot read '{}'", path);
  parser.Finish();
}

}  // namespace qxtree
