// SPDX-FileCopyrightText: The qxutils authors
// SPDX-License-Identifier: Apache-2.0

#include "qxtree/cells.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <locale>
#include <sstream>

#include "qxutils/text/localeutil.h"
#include "qxutils/text/mbtoutf8_unix.h"

namespace qxtree {
namespace {

constexpr int kMostDigits = 17;  // tell any two doubles apart
constexpr double kDay = 86400;

struct Day {
  long year;
  int month, day;  // from 1
};

// Days since 14 October 1582 in the Gregorian calendar: with years that begin in March, the leap
// day is the last one (E. M. Reingold, N. Dershowitz, Calendrical Calculations, 2018).
constexpr long DaysOf(Day day) {
  const long year = day.month > 2 ? day.year : day.year - 1;
  const long month = (day.month + 9) % 12;
  constexpr long kStart = 578041;  // the day itself by the same formula
  return 365 * year + year / 4 - year / 100 + year / 400 + (153 * month + 2) / 5 + day.day - kStart;
}
static_assert(DaysOf({1582, 10, 14}) == 0 && DaysOf({1970, 1, 1}) == 141428);

Day DayOf(long days) {
  long year = 1582 + days * 400 / 146097 + 1;
  while (DaysOf({year, 1, 1}) > days) --year;
  int month = 12;
  while (DaysOf({year, month, 1}) > days) --month;
  return {year, month, static_cast<int>(days - DaysOf({year, month, 1})) + 1};
}

bool Exists(Day day) {
  if (day.month < 1 || day.month > 12 || day.day < 1) return false;
  const Day next = day.month < 12 ? Day{day.year, day.month + 1, 1} : Day{day.year + 1, 1, 1};
  return DaysOf(day) < DaysOf(next);
}

// All `count` digits from `start` on; -1 when one is no digit.
int Digits(std::string_view text, std::size_t start, std::size_t count) {
  int value = 0;
  for (const char digit : text.substr(start, count)) {
    if (digit < '0' || digit > '9') return -1;
    value = 10 * value + (digit - '0');
  }
  return value;
}

double SecondsOf(Day day) { return kDay * static_cast<double>(DaysOf(day)); }

// Starts of coarser and finer spans of time around `middle`.
std::vector<std::vector<double>> DatesNear(double middle) {
  const Day day = DayOf(static_cast<long>(middle / kDay));
  const Day nextMonth = day.month < 12 ? Day{day.year, day.month + 1, 1} : Day{day.year + 1, 1, 1};
  std::vector<std::vector<double>> spans{
      {SecondsOf({day.year, 1, 1}), SecondsOf({day.year + 1, 1, 1})},
      {SecondsOf({day.year, day.month, 1}), SecondsOf(nextMonth)}};
  for (const double seconds : {kDay, 3600.0, 60.0, 1.0}) {
    const double start = std::floor(middle / seconds) * seconds;
    spans.push_back({start, start + seconds});
  }
  return spans;
}

// The nearest of the candidates that are at least `low` and below `high`.
std::optional<double> Nearest(const std::vector<double>& candidates, double low, double high) {
  const double middle = low / 2 + high / 2;
  std::optional<double> nearest;
  for (const double value : candidates)
    if (value >= low && value < high &&
        (!nearest || std::abs(value - middle) < std::abs(*nearest - middle)))
      nearest = value;
  return nearest;
}

double Rounded(double value, int digits) {
  const std::string text = qxg_800::Format(value, false, fmt::format("%.{}g", digits).c_str());
  double rounded = std::copysign(HUGE_VAL, value);  // stays when the digits are too large
  std::from_chars(text.data(), text.data() + text.size(), rounded);
  return rounded;
}

// Takes the digits at the start of the text away, and adds them to the number. Eight at a time
// where so many are left: each step joins neighbours (D. Lemire, Number Parsing at a Gigabyte per
// Second, Software: Practice and Experience 51(8), 2021). More than 16 digits wrap around.
inline std::size_t TakeDigits(std::string_view& text, std::uint64_t& number) {
  const std::size_t before = text.size();
  for (constexpr std::size_t kAtOnce = 8; text.size() >= kAtOnce; text.remove_prefix(kAtOnce)) {
    std::uint64_t eight = 0;
    std::memcpy(&eight, text.data(), kAtOnce);
    eight -= 0x3030303030303030;  // of each '0'
    if (((eight | (eight + 0x7676767676767676)) & 0x8080808080808080) != 0) break;
    eight = 10 * eight + (eight >> 8);
    eight = ((eight & 0x000000FF000000FF) * (100 + (std::uint64_t{1000000} << 32)) +
             (eight >> 16 & 0x000000FF000000FF) * (1 + (std::uint64_t{10000} << 32))) >>
            32;
    number = 100000000 * number + eight;
  }
  for (; !text.empty() && text[0] >= '0' && text[0] <= '9'; text.remove_prefix(1))
    number = 10 * number + static_cast<std::uint64_t>(text[0] - '0');
  return before - text.size();
}

// Whether a number out of range is too near to 0, not too large: std::from_chars does not tell.
bool IsTiny(std::string_view number) {
  std::istringstream stream{std::string(number)};
  stream.imbue(std::locale::classic());
  double value = 0;
  return stream >> value && std::abs(value) < 1;
}

}  // namespace

// Its digits and the power of ten are doubles without rounding, so one division rounds correctly
// (W. D. Clinger, How to Read Floating Point Numbers Accurately, 1990).
bool ParsePlain(std::string_view cell, double& value) {
  static constexpr double kPowers[] = {1,   1e1, 1e2,  1e3,  1e4,  1e5,  1e6,  1e7,
                                       1e8, 1e9, 1e10, 1e11, 1e12, 1e13, 1e14, 1e15};
  const bool isNegative = !cell.empty() && cell[0] == '-';
  if (isNegative) cell.remove_prefix(1);
  std::uint64_t digits = 0;
  std::size_t count = TakeDigits(cell, digits), decimals = 0;
  if (!cell.empty() && cell[0] == '.') {
    cell.remove_prefix(1);
    decimals = TakeDigits(cell, digits);
    count += decimals;
  }
  if (!cell.empty() || count == 0 || count >= std::size(kPowers)) return false;
  value = static_cast<double>(static_cast<std::int64_t>(digits)) / kPowers[decimals];
  if (isNegative && digits > 0) value = -value;
  return true;
}

std::optional<double> ParseNumber(std::string_view cell) {
  double value = 0;
  if (ParsePlain(cell, value)) return value;
  const std::size_t start = cell.find_first_not_of(' ');
  if (start == cell.npos) return std::nullopt;
  cell = cell.substr(start, cell.find_last_not_of(' ') + 1 - start);
  if (cell.front() == '+') {
    cell.remove_prefix(1);
    if (cell.substr(0, 1) == "-") return std::nullopt;
  }
  const char* const end = cell.data() + cell.size();
  const auto [stop, error] = std::from_chars(cell.data(), end, value);
  if (stop != end || error == std::errc::invalid_argument) return std::nullopt;
  if (error == std::errc::result_out_of_range && !IsTiny(cell)) return std::nullopt;
  if (!std::isfinite(value)) return std::nullopt;
  return value + 0.0;  // a zero has no sign
}

std::optional<double> ParseDate(std::string_view cell) {
  constexpr std::size_t kDate = 10, kDateTime = 19;
  if (cell.size() != kDate && cell.size() != kDateTime) return std::nullopt;
  const Day day{Digits(cell, 0, 4), Digits(cell, 5, 2), Digits(cell, 8, 2)};
  if (cell[4] != '-' || cell[7] != '-' || day.year < 0 || !Exists(day)) return std::nullopt;
  double seconds = SecondsOf(day);
  if (cell.size() == kDateTime) {
    const int hour = Digits(cell, 11, 2), minute = Digits(cell, 14, 2),
              second = Digits(cell, 17, 2);
    const bool isTime = (cell[10] == ' ' || cell[10] == 'T') && cell[13] == ':' && cell[16] == ':';
    if (!isTime || hour < 0 || hour > 23 || minute < 0 || minute > 59 || second < 0 || second > 59)
      return std::nullopt;
    seconds += 3600 * hour + 60 * minute + second;
  }
  if (seconds < 0) return std::nullopt;
  return seconds;
}

// A conversion may end early silently, and two texts would become one. The way back shows it.
std::optional<std::string> ToUtf8(std::string_view cell) {
  const std::string text(cell);
  std::string utf8 = xmlu_800::MbToUTF8(text), back;
  xmlu_800::UTF8ToMb(utf8, back);
  if (back != text) return std::nullopt;
  return utf8;
}

std::string ToLocale(const std::string& text) {
  std::string whole, local, character;
  xmlu_800::UTF8ToMb(text, whole);
  if (xmlu_800::MbToUTF8(whole) == text) return whole;
  for (std::size_t start = 0, end = 1; start < text.size(); start = end++) {
    while (end < text.size() && (text[end] & 0xC0) == 0x80) ++end;
    xmlu_800::UTF8ToMb(text.substr(start, end - start), character);
    local += character.empty() ? "?" : character;
  }
  return local;
}

std::string ShownCell(std::string_view cell) {
  constexpr std::size_t kMostShown = 40, kMostOfCharacter = 4;  // bytes
  const bool isWhole = cell.size() <= kMostShown;
  for (std::size_t cut = 0; cut < (isWhole ? 1 : kMostOfCharacter); ++cut)
    if (const auto utf8 = ToUtf8(cell.substr(0, kMostShown - cut)))
      return isWhole ? *utf8 : *utf8 + "...";
  std::string text;
  for (const char byte : cell.substr(0, kMostShown))
    text += (byte & 0x80) == 0 ? std::string(1, byte)
                               : fmt::format("\\x{:02X}", static_cast<unsigned char>(byte));
  return isWhole ? text : text + "...";
}

std::string ValueText(Kind kind, double value) {
  if (!std::isfinite(value)) return "-";
  if (kind == Kind::Date) return qxg_800::FormatRulesDate(value, true);
  int digits = 15;
  while (digits < kMostDigits && Rounded(value, digits) != value) ++digits;
  return qxg_800::Format(value, false, fmt::format("%.{}g", digits).c_str());
}

double CutBetween(Kind kind, double low, double high) {
  const double middle = low / 2 + high / 2;
  if (kind == Kind::Date) {
    for (const std::vector<double>& dates : DatesNear(middle))
      if (const auto date = Nearest(dates, low, high)) return *date;
    return low;
  }
  for (int digits = 1; digits < kMostDigits; ++digits)
    if (const auto value = Nearest({Rounded(middle, digits), Rounded(low, digits)}, low, high))
      return *value;
  return low;
}

MissingTexts::MissingTexts(const std::vector<std::string>& texts) : fTexts(texts) {
  for (const std::string& text : texts)
    if (!text.empty()) fIsFirst[static_cast<unsigned char>(text[0])] = true;
}

bool MissingTexts::IsListed(std::string_view cell) const {
  return std::find(fTexts.begin(), fTexts.end(), cell) != fTexts.end();
}

}  // namespace qxtree
