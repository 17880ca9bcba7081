// SPDX-FileCopyrightText: The qxutils authors
// SPDX-License-Identifier: Apache-2.0

// Numbers, dates and text in other code sets, beside the C library under locales of its own.
#include <locale.h>

#include <cfenv>
#include <climits>
#include <cmath>
#include <cstring>
#include <ctime>
#include <cwchar>

#include "fuzz.h"
#include "qxutils/text/localeutil.h"
#include "qxutils/text/mbtoutf8_unix.h"

static locale_t Locale(const std::string& name) {
  static auto& all = *new std::map<std::string, locale_t>;  // as long as the program
  if (all.count(name) == 0) {
    EXPECT_TRUE(setlocale(LC_ALL, name.c_str())) << "LOCPATH names the folder of " << name;
    all[name] = duplocale(LC_GLOBAL_LOCALE);  // newlocale would leak
    setlocale(LC_ALL, "C");
  }
  return all[name];
}

static std::string Printed(const char* format, double value, locale_t locale) {
  static char text[1 << 14];
  const locale_t before = uselocale(locale);
  const int length = std::snprintf(text, sizeof text, format, value);
  uselocale(before);
  return std::string(text, text + length);
}

static std::string DateText(double value) {
  if (!(value >= 0.0 && value < 67767988452912000.0)) return Printed("%.15g", value, Locale("C"));
  const long since1970 = static_cast<long>(value) - 12219379200;
  std::tm t;
  char text[32];
  strftime_l(text, sizeof text, "%d-%^b-%Y %T", gmtime_r(&since1970, &t), Locale("C"));
  return text;
}

static const FuzzTarget numbers("numbers", [](FuzzInput in) {
  static const char* const names[] = {"C", "de_DE.UTF-8", "en_US.UTF-8", "ps_AF.UTF-8"};
  static const int directions[] = {FE_TONEAREST, FE_UPWARD, FE_DOWNWARD, FE_TOWARDZERO};
  const locale_t locale = Locale(names[in.Byte() % 4]), c = Locale("C");
  const int direction = directions[in.Byte() % 4], flags = in.Byte(), scale = in.Byte();
  std::string format = "%";
  for (int flag = 0; flag < 6; ++flag) format.append(flags >> flag & 1, "-+ #0'"[flag]);
  if (const int width = in.Byte()) format += std::to_string(width);
  if (const int precision = in.Byte()) format += "." + std::to_string(5 * precision - 5);
  format += "gGeEfFaA"[in.Byte() % 8];
  long bits = 0;
  for (int byte = 0; byte < 8; ++byte) bits = bits << 8 | in.Byte();
  double value = std::ldexp(static_cast<double>(bits), -scale);
  if (scale >= 64) std::memcpy(&value, &bits, sizeof value);
  for (const char other : in.Rest()) format.append(other == 0 ? 0 : other == '%' ? 2 : 1, other);
  uselocale(locale);
  std::fesetround(direction);
  EXPECT_EQ(qxg_800::Format(value, true, format.c_str()), Printed(format.c_str(), value, locale));
  EXPECT_EQ(qxg_800::Format(value, false, format.c_str()), Printed(format.c_str(), value, c));
  EXPECT_EQ(qxg_800::Format(value, false, nullptr), Printed("%.15g", value, c));
  const double date = direction == FE_UPWARD ? -1.0 : value;  // a day may then begin too early
  EXPECT_EQ(qxg_800::FormatRulesDate(date, true), DateText(date));
  std::fesetround(FE_TONEAREST);
  EXPECT_EQ(uselocale(LC_GLOBAL_LOCALE), locale);
});

// Both sides drop the tag characters (U+E0000 to U+E007F) where the code set has none.
static std::string Converted(locale_t from, locale_t to, const std::string& in) {
  std::string out;
  std::mbstate_t read{}, written{};
  for (std::size_t start = 0, length = 0; start < in.size(); start += length + (length == 0)) {
    wchar_t character;
    char bytes[MB_LEN_MAX];
    uselocale(from);
    length = std::mbrtowc(&character, &in[start], in.size() - start, &read);
    if (length > in.size()) break;
    uselocale(to);
    const std::size_t count = std::wcrtomb(bytes, character, &written);
    if (count > sizeof bytes) break;
    out.append(bytes, count);
  }
  return out;
}

static const FuzzTarget codeSets("codesets", [](FuzzInput in) {
  static const char* const names[] = {"C", "de_DE.ISO-8859-1", "en_US.UTF-8", "en_US.GB18030",
                                      "ja_JP.EUC-JP"};
  const locale_t locale = Locale(names[in.Byte() % 5]), utf8 = Locale("en_US.UTF-8");
  const std::string text = in.Rest(), inUtf8 = Converted(locale, utf8, text);
  const std::string inMb = Converted(utf8, locale, text);
  uselocale(locale);
  EXPECT_EQ(xmlu_800::MbToUTF8(text), inUtf8);
  std::string out = inUtf8;
  xmlu_800::UTF8ToMb(out, out);
  EXPECT_EQ(out, text.substr(0, out.size())) << "and back";
  EXPECT_EQ(xmlu_800::MbToUTF8(out), inUtf8) << "all of it";
  xmlu_800::UTF8ToMb(text, out);
  EXPECT_EQ(out, inMb);
  uselocale(LC_GLOBAL_LOCALE);
});
