#include <gtest/gtest.h>
#include <locale.h>

#include <atomic>
#include <cfenv>
#include <cmath>
#include <cstring>
#include <random>
#include <thread>
#include <tuple>
#include <vector>

#include "qxutils/text/infinityport.h"
#include "qxutils/text/localeutil.h"
#include "qxutils/text/localeutil_internal.h"
#include "qxutils/text/mbtoutf8_unix.h"

namespace {

using qxg_800::Format;

// The process's locale for the time of a scope.
struct Locale {
  explicit Locale(const char* name) {
    EXPECT_TRUE(setlocale(LC_ALL, name)) << name << " is not in LOCPATH: run by ctest";
  }
  ~Locale() { setlocale(LC_ALL, "C"); }
};

std::string Printf(const char* format, double value) {
  static char text[8192];
  return std::string(text, text + std::snprintf(text, sizeof text, format, value));
}

TEST(NumberText, EqualsPrintfInEveryRoundingDirection) {
  const auto seed = std::random_device{}();
  std::mt19937_64 random(seed);
  for (const int direction : {FE_UPWARD, FE_DOWNWARD, FE_TOWARDZERO, FE_TONEAREST}) {
    std::fesetround(direction);
    for (int i = 0; i < 1000000; ++i) {
      // Without its fraction one value in 2048 is zero, and one infinity.
      const unsigned long bits = random() & (i % 4 == 0 ? 0xFFF0000000000000 : ~0UL);
      double value;
      std::memcpy(&value, &bits, sizeof value);
      ASSERT_EQ(Format(value, false, nullptr), Printf("%.15g", value)) << direction << ' ' << seed;
    }
  }
  EXPECT_EQ(qxg_800::GetInfinity(), HUGE_VAL);
}

TEST(NumberText, HasTheLocalesDecimalPointOnlyWhereAsked) {
  for (const auto& [locale, point] : std::vector<std::pair<const char*, std::string>>{
           {"POSIX", "."}, {"de_DE.UTF-8", ","}, {"ps_AF.UTF-8", "\u066b"}}) {
    const Locale current(locale);
    setlocale(LC_TIME, "en_US.UTF-8");  // the whole locale then has a composite name
    const std::string name = setlocale(LC_ALL, nullptr);
    EXPECT_EQ(qxg_800::GetDecimalCharacter(), point);
    EXPECT_EQ(qxg_800::GetListSeparator() + qxg_800::GetDefaultNumericFormat(), ",%.15g");
    EXPECT_EQ(Format(-1234567890123456L), "-1" + point + "23456789012346e+15");
    EXPECT_EQ(ReplaceSep(1234567.25, "%'.2f"), "1234567.25");
    EXPECT_EQ(qxg_800::FormatRulesDate(1234.5, false), "1234.5");
    for (const char* format : {"%.1f", "%.125f", "%.126f", "%.5000f"}) {
      std::string text = Printf(format, 0.7);
      EXPECT_EQ(Format(0.7, true, format), text);
      EXPECT_EQ(Format(0.7, false, format), text.replace(1, point.size(), "."));
    }
    EXPECT_EQ(setlocale(LC_ALL, nullptr), name);
  }
}

TEST(TextThreads, FormatAtOnceUnderLocalesThatNeverMove) {
  setlocale(LC_ALL, "de_DE.ISO-8859-1");
  const locale_t own = duplocale(LC_GLOBAL_LOCALE);  // of every other thread
  const Locale process("de_DE.UTF-8");
  std::atomic<int> running{8}, wrong{0};
  const auto format = [own, &running, &wrong](int thread) {
    const locale_t mine = thread % 2 == 0 ? own : LC_GLOBAL_LOCALE;
    uselocale(mine);
    for (int whole = thread; whole < 8000; whole += 8) {
      wrong += Format(whole + 0.5, false, nullptr) != std::to_string(whole) + ".5";
      wrong += Format(whole + 0.5, false, "%.2f") != std::to_string(whole) + ".50";
      wrong += Format(whole + 0.5, true, nullptr) != std::to_string(whole) + ",5";
    }
    wrong += xmlu_800::MbToUTF8("\xe9") != (mine == own ? "\u00e9" : "");
    wrong += uselocale(LC_GLOBAL_LOCALE) != mine;
    --running;
  };
  std::vector<std::thread> threads;
  for (int thread = 0; thread < 8; ++thread) threads.emplace_back(format, thread);
  while (running > 0) wrong += std::strcmp(setlocale(LC_ALL, nullptr), "de_DE.UTF-8") != 0;
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(wrong, 0);
  freelocale(own);
}

TEST(Dates, AgreeWithACalendarAndAClock) {
  constexpr int kDaysOf[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  int day = 14, month = 10, year = 1582;
  for (int number = 0; number <= 3074324; ++number) {
    const double midnight = number * 86400.0, second = number % 86400 + 0.75;
    int d = 0, m = 0, y = 0, hours = 0, minutes = 0;
    long days = 0;
    double seconds = 0.0;
    for (const double value : {midnight, std::nextafter(midnight + 86400.0, 0.0)}) {
      ASSERT_TRUE(vexaConvertVEXADate(&d, &m, &y, value));
      ASSERT_EQ(std::tie(d, m, y), std::tie(day, month, year)) << number;
    }
    ASSERT_TRUE(vexaConvertVEXATime(&days, &hours, &minutes, &seconds, midnight + second));
    ASSERT_TRUE(days == number && minutes < 60 && seconds < 60.0) << number;
    ASSERT_EQ(60.0 * (60 * hours + minutes) + seconds, second);
    const bool isLeap = year % 4 == 0 && (year % 100 != 0 || year % 400 == 0);
    if (++day <= kDaysOf[month - 1] + (isLeap && month == 2 ? 1 : 0)) continue;
    day = 1;
    year += month / 12;
    month = month % 12 + 1;
  }
  EXPECT_EQ(year, 10000);
}

TEST(Dates, HaveTheTextsOfRulesUntilTheYearsEnd) {
  for (const auto& [value, text] : std::vector<std::pair<double, const char*>>{
           {-0.0, "14-OCT-1582 00:00:00"},
           {59.999, "14-OCT-1582 00:00:59"},
           {12219382861.75, "01-JAN-1970 01:01:01"},
           {265621680000.0, "01-JAN-10000 00:00:00"},
           {67767988452911992.0, "31-DEC-2147483647 23:59:52"}})
    EXPECT_EQ(qxg_800::FormatRulesDate(value, true), text);
  std::string months;
  for (int day = 0; day < 366; day += 31)  // of the year 2000
    months += qxg_800::FormatRulesDate(13166064000.0 + 86400.0 * day, true).substr(3, 3);
  EXPECT_EQ(months, "JANFEBMARAPRMAYJUNJULAUGSEPOCTNOVDEC");
  for (const double value : {-5e-324, 67767988452912000.0, HUGE_VAL, -HUGE_VAL, -std::nan("")}) {
    EXPECT_FALSE(vexaConvertVEXADate(nullptr, nullptr, nullptr, value));
    EXPECT_FALSE(vexaConvertVEXATime(nullptr, nullptr, nullptr, nullptr, value));
    EXPECT_EQ(qxg_800::FormatRulesDate(value, true), Printf("%.15g", value));
  }
}

std::string ToMb(const std::string& in) {
  std::string out = "old", same = in;
  xmlu_800::UTF8ToMb(in, out);
  xmlu_800::UTF8ToMb(same, same);
  EXPECT_EQ(out, same);
  return out;
}

std::string Utf8(unsigned code) {
  const auto byte = [code](int mark, int shift) { return static_cast<char>(mark | code >> shift); };
  const auto tail = [code](int shift) { return static_cast<char>(0x80 | (code >> shift & 0x3F)); };
  if (code < 0x80) return {byte(0, 0)};
  if (code < 0x800) return {byte(0xC0, 6), tail(0)};
  if (code < 0x10000) return {byte(0xE0, 12), tail(6), tail(0)};
  return {byte(0xF0, 18), tail(12), tail(6), tail(0)};
}

TEST(Conversions, KnowEveryCharacter) {
  const Locale locale("en_US.UTF-8");
  for (unsigned code = 0; code < 0x110000; ++code) {
    const std::string text = "a" + Utf8(code) + "b";
    const std::string kept = code < 0xD800 || code > 0xDFFF ? text : "a";
    ASSERT_EQ(xmlu_800::MbToUTF8(text), kept);
    ASSERT_EQ(ToMb(text), kept);
  }
  for (int code = 0; code < 0x200; ++code) {
    const Locale latin1(code < 0x100 ? "de_DE.ISO-8859-1" : "iso_in_front");
    const std::string mb(1, static_cast<char>(code)), utf8 = Utf8(code % 0x100U);
    EXPECT_EQ(xmlu_800::MbToUTF8(mb), utf8);
    EXPECT_EQ(ToMb(utf8), mb);
  }
}

TEST(Conversions, EndAtTheFirstBadSequence) {
  constexpr const char* kCases[][4] = {
      {"en_US.UTF-8", "ab\xff cd", "ab", "ab"},
      {"en_US.UTF-8", "ab\xe2\x82", "ab", "ab"},
      {"de_DE.ISO-8859-1", "a\u20acb", "a\u00e2\u0082\u00acb", "a"},
      {"C", "abc\xe9 def", "abc", "abc"},
      {"unknown_code_set", "abc", "", ""}};
  for (const auto& [name, in, utf8, mb] : kCases) {
    const Locale locale(name);
    EXPECT_EQ(xmlu_800::MbToUTF8(in), utf8) << name;
    EXPECT_EQ(ToMb(in), mb) << name;
  }
}

}  // namespace
