#include "qxtree/column.h"

#include <fmt/format.h>

#include <charconv>
#include <cmath>
#include <cstddef>
#include <system_error>

namespace qxtree {
namespace {

// kMissing unless the whole cell is a finite number.
double ParseNumber(std::string_view cell) {
  double value = kMissing;
  const char* end = cell.data() + cell.size();
  const auto [stop, error] = std::from_chars(cell.data(), end, value);
  return error == std::errc() && stop == end && std::isfinite(value) ? value : kMissing;
}

}  // namespace

double Column::Encode(std::string_view cell) {
  double value = kMissing;
  if (!cell.empty()) {
    if (fKind != Kind::Text) value = ParseNumber(cell);
    if (fKind == Kind::Empty) fKind = value == kMissing ? Kind::Text : Kind::Number;
    if (fKind == Kind::Text) value = CodeOf(cell);
  }
  if (value == kMissing) ++fMissing;
  return value;
}

std::string Column::Decode(double value) const {
  if (value == kMissing) return "(missing)";
  return fKind == Kind::Text ? fTexts.at(static_cast<std::size_t>(value)) : fmt::to_string(value);
}

double Column::CodeOf(std::string_view text) {
  const auto known = fCodes.find(text);
  if (known != fCodes.end()) return known->second;
  const auto code = static_cast<double>(fTexts.size());
  fTexts.emplace_back(text);
  return fCodes.emplace(fTexts.back(), code).first->second;
}

}  // namespace qxtree
