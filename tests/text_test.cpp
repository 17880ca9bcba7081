// SPDX-FileCopyrightText: The qxutils authors
// SPDX-License-Identifier: Apache-2.0

#include <locale.h>

#include <cfenv>
#include <codecvt>
#include <cstring>
#include <numeric>

#include "qxutils/text/localeutil.h"
#include "qxutils/text/localeutil_internal.h"
#include "qxutils/text/mbtoutf8_unix.h"
#include "support.h"

static const int environment = setenv("LC_ALL", "de_DE.UTF-8", 1);  // which nothing heeds

static std::string Printf(const char* format, double value) {
  static char text[8192];
  return std::string(text, text + std::snprintf(text, sizeof text, format, value));
}

TEST(NumberText, HasTheLocalesDecimalPointOnlyWhereAsked) {
  for (const auto& [locale, point] : std::map<const char*, std::string>{
           {"C", "."}, {"de_DE.UTF-8", ","}, {"ps_AF.UTF-8", "\u066b"}}) {
    ASSERT_STREQ(setlocale(LC_ALL, locale), locale) << "ctest tells where the locales are";
    EXPECT_EQ(GetDecimalCharacter(), point);
    EXPECT_EQ(GetListSeparator() + GetDefaultNumericFormat(), ",%.15g");
    EXPECT_EQ(Format(-1234567890123456L), "-1" + point + "23456789012346e+15");
    EXPECT_EQ(ReplaceSep(1234567.25, "%'.2f"), "1234567.25");
    EXPECT_EQ(FormatRulesDate(1234.5, false), "1234.5");
    for (const char* format : {"%.15g", "%.1f", "%.125f", "%.126f", "%.5000f"}) {
      std::string text = Printf(format, 0.7);
      EXPECT_EQ(Format(0.7, true, format), text);
      EXPECT_EQ(Format(0.7, false, format), text.replace(1, point.size(), "."));
    }
    EXPECT_THROW(Format(0.7, true, "%.2147483648f"), std::bad_alloc) << "more than an int counts";
  }
}

TEST(Dates, AgreeWithTheCLibrarysCalendar) {
  setlocale(LC_ALL, "C");
  // Every day of two of the calendar's periods of 400 years, then some until the year 10000.
  for (int number = 0; number <= 3074324; number += number < 300000 ? 1 : 97) {
    const long second = number % 86400, since1970 = 86400L * (number - 141428) + second;
    std::tm t;
    gmtime_r(&since1970, &t);
    char text[32];
    std::strftime(text, sizeof text, "%d-%b-%Y %T", &t);
    for (int letter : {4, 5}) text[letter] = static_cast<char>(std::toupper(text[letter]));
    const double midnight = 86400.0 * number, value = midnight + number % 86400 + 0.75;
    ASSERT_EQ(FormatRulesDate(value, true), text);
    const double lastInstant = std::nextafter(midnight + 86400.0, 0.0);
    ASSERT_EQ(FormatRulesDate(midnight, true), std::string(text, 12) + "00:00:00");
    ASSERT_EQ(FormatRulesDate(lastInstant, true), std::string(text, 12) + "23:59:59");
    std::tuple<long, int, int, double> time;
    auto& [days, hours, minutes, seconds] = time;
    ASSERT_TRUE(vexaConvertVEXATime(&days, &hours, &minutes, &seconds, value));
    ASSERT_EQ(time, std::tuple(number, t.tm_hour, t.tm_min, t.tm_sec + 0.75));
  }
  EXPECT_EQ(FormatRulesDate(-0.0, true), "14-OCT-1582 00:00:00");
  EXPECT_EQ(FormatRulesDate(265621680000.0, true), "01-JAN-10000 00:00:00");
  const double eightyThousandYears = 200 * 146097 * 86400.0;
  EXPECT_EQ(FormatRulesDate(265621680000.0 + eightyThousandYears, true), "01-JAN-90000 00:00:00");
  for (const int direction : {FE_UPWARD, FE_TONEAREST}) {
    std::fesetround(direction);
    const std::string last = FormatRulesDate(67767988452911992.0, true);  // its day may be no day
    EXPECT_EQ(last, direction == FE_UPWARD ? "6.7767988452912e+16" : "31-DEC-2147483647 23:59:52");
  }
  for (const double value : {-5e-324, 67767988452912000.0, HUGE_VAL, -HUGE_VAL, -std::nan("")}) {
    EXPECT_FALSE(vexaConvertVEXADate(nullptr, nullptr, nullptr, value));
    EXPECT_FALSE(vexaConvertVEXATime(nullptr, nullptr, nullptr, nullptr, value));
    EXPECT_EQ(FormatRulesDate(value, true), Printf("%.15g", value));
  }
}

TEST(Conversions, KnowEveryCharacterAndEndAtTheFirstBadSequence) {
  std::wstring_convert<std::codecvt_utf8<wchar_t>> utf8;
  const auto expectBoth = [&](const std::string& mb, const std::wstring& codes) {
    std::string text = utf8.to_bytes(codes);
    ASSERT_EQ(xmlu_800::MbToUTF8(mb), text);
    xmlu_800::UTF8ToMb(text, text);
    ASSERT_EQ(text, mb);
  };
  ASSERT_STREQ(setlocale(LC_ALL, "en_US.UTF-8"), "en_US.UTF-8");
  std::wstring codes(256, L'\0');
  for (wchar_t code = 0; code < 0x110000; code += code == 0xD700 ? 0x900 : 0x100) {
    std::iota(codes.begin(), codes.end(), code);
    expectBoth(utf8.to_bytes(codes), codes);
  }
  std::iota(codes.begin(), codes.end(), 0);
  for (const char* name : {"de_DE.ISO-8859-1", "de_DE.ISOLATIN1"}) {
    ASSERT_STREQ(setlocale(LC_ALL, name), name);
    expectBoth({codes.begin(), codes.end()}, codes);
  }
  const char* const cases[][4] = {{"en_US.UTF-8", "ab\xe2\x82", "ab", "ab"},
                                  {"en_US.UTF-8", "ab\xed\xa0\x80 cd", "ab", "ab"},
                                  {"de_DE.ISO-8859-1", "a\u20acb", "a\u00e2\u0082\u00acb", "a"},
                                  {"C", "abc\xe9 def", "abc", "abc"},
                                  {"de_DE.NOWHERE", "abc", "", ""}};
  std::string out = "old";
  for (const auto& [name, in, inUtf8, inMb] : cases) {
    ASSERT_STREQ(setlocale(LC_ALL, name), name);
    EXPECT_EQ(xmlu_800::MbToUTF8(in), inUtf8) << name;
    xmlu_800::UTF8ToMb(in, out);
    EXPECT_EQ(out, inMb) << name;
  }
}
