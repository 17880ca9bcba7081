#include "qxtree/report.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstddef>
#include <filesystem>

namespace qxtree {
namespace {

constexpr char kLine[] = "{:<16} {:<6} {:>10} {:>12} {:>8}  {:<12} {}\n";
constexpr const char* kKindNames[] = {"empty", "number", "text"};

std::string LineOf(const Column& column, const TempFileStorage& file, long rows,
                   const WorkFolder& folder) {
  long records = 0;
  double first = kMissing;
  double last = kMissing;
  ReadColumn(file, rows, folder, [&](double value) {
    if (records++ == 0) first = value;
    last = value;
  });
  const auto show = [&](double value) {
    return records == 0 ? std::string("-") : OneLine(column.Decode(value));
  };
  return fmt::format(kLine, OneLine(column.Name()), kKindNames[static_cast<int>(column.GetKind())],
                     records, std::filesystem::file_size(file.GetFileName()), column.CountMissing(),
                     show(first), show(last));
}

}  // namespace

std::string Report(const Dataset& data, const WorkFolder& folder) {
  std::string text =
      fmt::format(kLine, "column", "kind", "records", "bytes", "missing", "first", "last");
  for (std::size_t column = 0; column < data.columns.size(); ++column)
    text += LineOf(data.columns[column], *data.files[column], data.rows, folder);
  return text +
         fmt::format("columns: {}, rows: {}, temporary files open at once while writing: {}\n",
                     data.columns.size(), data.rows, data.openFiles);
}

std::string OneLine(std::string text) {
  const auto isControl = [](unsigned char byte) { return byte < ' ' || byte == '\x7f'; };
  std::replace_if(text.begin(), text.end(), isControl, ' ');
  return text;
}

}  // namespace qxtree
