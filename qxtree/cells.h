// SPDX-FileCopyrightText: The qxutils authors
// SPDX-License-Identifier: Apache-2.0

// What a cell of a table holds, as text and as a value.
#ifndef QXTREE_CELLS_H
#define QXTREE_CELLS_H

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace qxtree {

enum class Kind { Number, Date, Text };
constexpr const char* kKindNames[] = {"number", "date", "text"};

// A number in decimal or with an exponent, with blanks or a plus sign before it. Nothing when the
// cell is anything else, or not finite. What is too near to 0 is 0.
std::optional<double> ParseNumber(std::string_view cell);

// The same for most numbers, much faster: it reads a decimal number of up to 15 digits. For
// anything else it is false, and `value` stays as it was.
bool ParsePlain(std::string_view cell, double& value);

// The seconds since 14 October 1582 of YYYY-MM-DD, alone or followed by a blank or T and HH:MM:SS.
// Nothing when the cell is anything else, a day that does not exist, or before that day.
std::optional<double> ParseDate(std::string_view cell);

// By either, as the kind is. REQUIRES: no text (not checked).
inline std::optional<double> ParseCell(Kind kind, std::string_view cell) {
  return kind == Kind::Number ? ParseNumber(cell) : ParseDate(cell);
}

// The cell in UTF-8. Nothing when it can't be converted whole from the locale's code set.
std::optional<std::string> ToUtf8(std::string_view cell);

// A text in UTF-8 in the locale's code set, with a question mark for each character that it lacks.
std::string ToLocale(const std::string& text);

// The start of a cell in UTF-8 for messages, with bytes like \xE9 when it can't be converted.
std::string ShownCell(std::string_view cell);

// A number as the shortest text that reads back as the same number, a date as in rules. "-" when
// the value is not finite.
std::string ValueText(Kind kind, double value);

// The shortest decimal number, or the coarsest date, that is at least `low` and below `high`. Of
// several the one nearest to their middle. REQUIRES: low < high, both of the kind (not checked).
double CutBetween(Kind kind, double low, double high);

// The texts that stand for a missing cell, besides an empty one.
class MissingTexts {
 public:
  explicit MissingTexts(const std::vector<std::string>& texts);

  bool Has(std::string_view cell) const {
    return cell.empty() || (fIsFirst[static_cast<unsigned char>(cell[0])] && IsListed(cell));
  }

 private:
  bool IsListed(std::string_view cell) const;

  std::vector<std::string> fTexts;
  bool fIsFirst[256] = {};  // whether one of them begins with the byte
};

}  // namespace qxtree

#endif
