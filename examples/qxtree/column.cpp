#include <fmt/format.h>
#include <time.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <optional>
#include <utility>

#include "qxtree/qxtree.h"
#include "qxutils/text/infinityport.h"
#include "qxutils/text/localeutil.h"
#include "qxutils/text/mbtoutf8_unix.h"

namespace qxtree {
namespace {

using qxg_800::record;

constexpr double kSecondsTo1970 = 12219379200;  // since 14 October 1582

// At most `count` groups of neighbours, each with its greatest value and total weight. A group
// takes its share of the weight that is left, so that after a heavy value others get groups of
// their own.
std::vector<record> Group(const std::vector<record>& pairs, std::size_t count) {
  double weightLeft = 0;
  for (const record& pair : pairs) weightLeft += pair.weight;
  std::size_t valuesLeft = pairs.size();
  std::vector<record> groups;
  double weight = 0;
  for (const record& pair : pairs) {
    weight += pair.weight;
    --valuesLeft;
    const std::size_t groupsLeft = count - groups.size();
    const bool isFull = weight >= weightLeft / static_cast<double>(groupsLeft);
    if (valuesLeft > 0 && (groupsLeft == 1 || (!isFull && valuesLeft >= groupsLeft))) continue;
    groups.push_back({pair.value, weight});
    weightLeft -= std::exchange(weight, 0);
  }
  return groups;
}

std::optional<double> ParseNumber(const std::string& cell) {
  double value = 0;
  const char* end = cell.data() + cell.size();
  const auto [stop, error] = std::from_chars(cell.data(), end, value);
  if (error != std::errc() || stop != end || !std::isfinite(value)) return std::nullopt;
  return value;
}

// Negative before 14 October 1582. What strptime is too kind to, 30 February or a single digit, is
// not the same on the way back.
std::optional<double> ParseDate(const std::string& cell) {
  for (const char* format : {"%Y-%m-%d", "%Y-%m-%dT%H:%M:%S", "%Y-%m-%d %H:%M:%S"}) {
    tm time{};
    const char* end = strptime(cell.c_str(), format, &time);
    if (!end || *end != '\0') continue;
    const time_t seconds = timegm(&time);
    char back[32];
    if (cell == std::string(back, strftime(back, sizeof back, format, &time)))
      return static_cast<double>(seconds) + kSecondsTo1970;
  }
  return std::nullopt;
}

// A conversion may end early silently, and two texts would become one. The way back shows it.
std::optional<std::string> ToUtf8(const std::string& text) {
  std::string utf8 = xmlu_800::MbToUTF8(text);
  std::string back;
  xmlu_800::UTF8ToMb(utf8, back);
  if (back != text) return std::nullopt;
  return utf8;
}

}  // namespace

Column::Column(const std::string& name, Kind kind, std::size_t limit) : fKind(kind), fLimit(limit) {
  const auto utf8 = ToUtf8(name);
  if (!utf8)
    throw std::runtime_error(fmt::format("column '{}': not in the locale's code set", name));
  fName = *utf8;
}

double Column::Encode(const std::string& cell) {
  const double missing = qxg_800::GetInfinity();
  double value = missing;
  if (fKind == Kind::Undecided && !cell.empty())
    fKind = ParseNumber(cell) ? Kind::Number : ParseDate(cell) ? Kind::Date : Kind::Text;
  if (fKind == Kind::Number) value = ParseNumber(cell).value_or(missing);
  if (fKind == Kind::Date) value = ParseDate(cell).value_or(missing);
  if (fKind == Kind::Date && value < 0) value = missing;
  if (fKind == Kind::Text && !cell.empty()) value = CodeOf(cell);
  if (value == missing) ++(cell.empty() ? fMissing : fMalformed);
  return value;
}

double Column::CodeOf(const std::string& text) {
  const auto known = fCodes.find(text);
  if (known != fCodes.end()) return known->second;
  const auto utf8 = ToUtf8(text);
  if (!utf8) return qxg_800::GetInfinity();
  if (fTexts.size() == fLimit) {
    std::string name;
    xmlu_800::UTF8ToMb(fName, name);
    throw std::runtime_error(fmt::format("column '{}': more than {} categories", name, fLimit));
  }
  fTexts.push_back(*utf8);
  return fCodes[text] = static_cast<double>(fTexts.size() - 1);
}

void Column::AddCases(double value, double cases) {
  if (fKind == Kind::Text || !std::isfinite(value) || !(cases > 0)) return;
  fStatistics.AddValue(value, cases);
  double pair[] = {value, cases};
  fCache.update(pair);
  // Counting reads the whole cache: it is put off until there may be too many.
  const bool isKnown = std::binary_search(fKnown.begin(), fKnown.end(), value);
  if (!isKnown && ++fFresh > fLimit - fKnown.size()) Recount();
}

std::vector<record> Column::Pairs() const {
  const std::unique_ptr<Arbex_800::ADoubleRecordIterator> iterator(fCache.createIterator());
  std::vector<record> pairs;
  while (iterator->HasMore() == 0) {
    const double* pair = iterator->Next()->data;
    pairs.push_back({pair[0], pair[1]});
  }
  return pairs;
}

void Column::Recount() {
  std::vector<record> pairs = Pairs();
  if (pairs.size() > fLimit) {
    fMerged = true;
    pairs = Group(pairs, fLimit / 2);
    fCache = qxg_800::BinEncoderCache();
    for (const record& group : pairs) {
      double pair[] = {group.value, group.weight};
      fCache.update(pair);
    }
  }
  fKnown.clear();
  for (const record& pair : pairs) fKnown.push_back(pair.value);
  fFresh = 0;
}

void Column::MakeBins(int count) {
  for (const record& group : Group(Pairs(), static_cast<std::size_t>(count)))
    fGreatest.push_back(group.value);
  std::vector<std::string> sorted;
  fBins.resize(fTexts.size());
  for (const auto& entry : fCodes) {
    const auto code = static_cast<std::size_t>(entry.second);
    fBins[code] = sorted.size();
    sorted.push_back(std::move(fTexts[code]));
  }
  fTexts = std::move(sorted);
  fCodes.clear();
}

std::size_t Column::BinOf(double value) const {
  if (!std::isfinite(value) || CountBins() == 0) return CountBins();
  if (fKind == Kind::Text) return fBins[static_cast<std::size_t>(value)];
  const auto bin = std::lower_bound(fGreatest.begin(), fGreatest.end() - 1, value);
  return static_cast<std::size_t>(bin - fGreatest.begin());
}

std::string Column::BinText(std::size_t bin) const {
  return fKind == Kind::Text ? fTexts[bin] : ValueText(fGreatest[bin]);
}

std::string Column::ValueText(double value) const {
  return fKind == Kind::Date ? qxg_800::FormatRulesDate(value, true)
                             : qxg_800::Format(value, false, nullptr);
}

}  // namespace qxtree
