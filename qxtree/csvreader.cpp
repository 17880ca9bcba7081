#include <csv.h>
#include <fmt/format.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <set>
#include <string_view>

#include "qxtree/qxtree.h"

namespace qxtree {
namespace {

constexpr std::size_t kBlockBytes = 1 << 16;
constexpr std::size_t kMostCellBytes = 1 << 20;
constexpr std::size_t kMostRowBytes = 16 << 20;
constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

// One run of the CSV library, which calls back for each cell and each end of a row. Nothing may be
// thrown through its C code: these only take notes.
class Parser {
 public:
  Parser(const std::string& path, const std::function<void(const CsvRow&)>& use)
      : fPath(path), fUse(use), fpParser(&fParser, csv_free) {
    csv_init(&fParser, CSV_STRICT | CSV_STRICT_FINI);  // fails for a null pointer only
  }

  // Line by line, since the library does not tell where it stands: no more than one row ends.
  void Feed(std::string_view block) {
    while (!block.empty()) {
      const std::size_t bytes = std::min(block.find_first_of("\r\n"), block.size() - 1) + 1;
      Take(csv_parse(&fParser, block.data(), bytes, OnCell, OnEndOfRow, this) == bytes);
      if (block[bytes - 1] == '\n') ++fLine;
      block.remove_prefix(bytes);
    }
  }

  void Finish() {
    Take(csv_fini(&fParser, OnCell, OnEndOfRow, this) == 0);
    if (fColumns == 0) Fail("no header");
  }

 private:
  static void OnCell(void* text, std::size_t bytes, void* parser) noexcept try {
    static_cast<Parser*>(parser)->fRow.emplace_back(static_cast<const char*>(text), bytes);
    static_cast<Parser*>(parser)->fRowBytes += sizeof(std::string) + bytes;
  } catch (...) {
    static_cast<Parser*>(parser)->fIsOutOfMemory = true;
  }
  static void OnEndOfRow(int /*terminator*/, void* parser) noexcept {
    static_cast<Parser*>(parser)->fIsWhole = true;
  }

  void Take(bool success) {
    if (!success && csv_error(&fParser) == CSV_EPARSE) Fail("a quotation mark is out of place");
    if (!success || fIsOutOfMemory) throw std::bad_alloc();
    // What follows a quotation mark that is never closed is one cell.
    if (csv_get_buffer_size(&fParser) > kMostCellBytes) Fail("a cell of more than 1 MiB");
    if (fRowBytes > kMostRowBytes) Fail("cells of more than 16 MiB");
    if (fColumns > 0 && fRow.size() > fColumns) Fail(fmt::format("more than {} cells", fColumns));
    if (!fIsWhole) return;
    if (fColumns == 0) {
      fColumns = fRow.size();
      if (std::set<std::string>(fRow.begin(), fRow.end()).size() < fColumns)
        Fail("two columns have the same name");
    }
    if (fRow.size() < fColumns) Fail(fmt::format("{} cells, not {}", fRow.size(), fColumns));
    fUse(fRow);
    fRow.clear();
    fRowBytes = 0;
    fIsWhole = false;
  }

  [[noreturn]] void Fail(const std::string& what) const {
    throw std::runtime_error(fmt::format("'{}', line {}: {}", fPath, fLine, what));
  }

  const std::string& fPath;
  const std::function<void(const CsvRow&)>& fUse;
  csv_parser fParser{};
  const std::unique_ptr<csv_parser, void (*)(csv_parser*)> fpParser;  // frees what it holds
  CsvRow fRow;                                                        // the cells so far
  std::size_t fRowBytes = 0;                                          // that they take
  bool fIsWhole = false;                                              // no cell is to come
  bool fIsOutOfMemory = false;                                        // a cell is lost
  std::size_t fColumns = 0;  // 0 until the header is complete
  long fLine = 1;            // that is being read
};

}  // namespace

void ReadCsv(const std::string& path, const std::function<void(const CsvRow&)>& use) {
  Poll();  // opening a pipe waits
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> stream(std::fopen(path.c_str(), "rbe"),
                                                               std::fclose);
  Poll();  // a signal ends what waits
  if (!stream) throw fmt::system_error(errno, "cannot open '{}'", path);
  Parser parser(path, use);
  std::string buffer(kBlockBytes, '\0');
  std::string_view skip = kByteOrderMark;
  while (const std::size_t bytes = std::fread(buffer.data(), 1, buffer.size(), stream.get())) {
    std::string_view block(buffer.data(), bytes);
    if (block.substr(0, skip.size()) == skip) block.remove_prefix(skip.size());
    skip = {};  // a mark stands at the start of the file only
    parser.Feed(block);
    Poll();
  }
  Poll();
  if (std::ferror(stream.get())) throw fmt::system_error(errno, "cannot read '{}'", path);
  parser.Finish();
}

}  // namespace qxtree
