// SPDX-FileCopyrightText: The qxutils authors
// SPDX-License-Identifier: Apache-2.0

#include "qxutils/text/localeutil.h"

#include <langinfo.h>
#include <locale.h>

#include <cfenv>
#include <charconv>
#include <cmath>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <new>

#include "qxutils/text/localeutil_internal.h"

namespace {

constexpr char kDefaultFormat[] = "%.15g";
constexpr int kDefaultDigits = 15;
constexpr std::size_t kDefaultBytes = 32;  // the longest text of the default format has 22
constexpr std::size_t kPrintBytes = 128;
constexpr std::size_t kDateBytes = 32;  // a year of 10 digits makes 26

constexpr long kSecondsPerMinute = 60;
constexpr int kMinutesPerHour = 60;
constexpr long kSecondsPerDay = 86400;
constexpr double kEndOfDays = 784351718205.0;  // 1 January 2147483648
constexpr std::size_t kMonthBytes = 3;
constexpr char kMonths[] = "JANFEBMARAPRMAYJUNJULAUGSEPOCTNOVDEC";

// 00 to 99: half of a date's text is numbers of two digits.
constexpr char kTwoDigits[] =
    "00010203040506070809101112131415161718192021222324"
    "25262728293031323334353637383940414243444546474849"
    "50515253545556575859606162636465666768697071727374"
    "75767778798081828384858687888990919293949596979899";

// Puts the calling thread's locale back on scope exit; other threads never see the change.
class ThreadLocale {
 public:
  explicit ThreadLocale(locale_t locale) : fPrevious(uselocale(locale)) {}
  ~ThreadLocale() { uselocale(fPrevious); }
  ThreadLocale(const ThreadLocale&) = delete;
  ThreadLocale& operator=(const ThreadLocale&) = delete;

 private:
  const locale_t fPrevious;
};

locale_t NewCLocale() {
  const locale_t locale = newlocale(LC_ALL_MASK, "C", nullptr);
  if (!locale) throw std::bad_alloc();
  return locale;
}

// Never freed: static destructors of the engine may still print numbers.
locale_t CLocale() {
  static const locale_t locale = NewCLocale();
  return locale;
}

std::size_t Printed(int length) {
  if (length < 0) throw std::bad_alloc();
  return static_cast<std::size_t>(length);
}

// Prints under the calling thread's current locale.
std::string Print(double value, const char* format) {
  char buffer[kPrintBytes];
  const std::size_t length = Printed(std::snprintf(buffer, sizeof buffer, format, value));
  if (length < sizeof buffer) return std::string(buffer, length);
  std::string text(length, '\0');
  Printed(std::snprintf(text.data(), length + 1, format, value));
  return text;
}

// The same as printf's "%.15g" for a finite value while the rounding direction is to nearest.
// to_chars ignores that direction. For other values some standard libraries print "nan(snan)",
// which printf does not.
std::string PrintDefault(double value) {
  char text[kDefaultBytes];
  const std::to_chars_result result =
      std::to_chars(text, text + sizeof text, value, std::chars_format::general, kDefaultDigits);
  return std::string(text, result.ptr);
}

double Days(double date) { return date / static_cast<double>(kSecondsPerDay); }

// False for NaN, too. Below the end every date-time fits a long and its year an int, even when the
// division is rounded up.
bool IsDate(double value) { return value >= 0.0 && Days(value) < kEndOfDays; }

long WholeDays(double date) { return static_cast<long>(Days(date)); }

// The same as fmod(value, divisor) of a date, and many times faster: integers and one exact sum.
double Remainder(double value, long divisor) {
  const long whole = static_cast<long>(value);
  return static_cast<double>(whole % divisor) + (value - static_cast<double>(whole));
}

char* PutTwoDigits(char* to, int number) {
  std::memcpy(to, &kTwoDigits[2 * static_cast<std::size_t>(number)], 2);
  return to + 2;
}

// With as many digits as it needs.
char* PutNumber(char* to, int number) {
  if (number < 10) {
    *to++ = static_cast<char>('0' + number);
    return to;
  }
  if (number >= 100) to = PutNumber(to, number / 100);
  return PutTwoDigits(to, number % 100);
}

char* PutDate(char* to, int day, int month, int year) {
  to = PutTwoDigits(to, day);
  *to++ = '-';
  std::memcpy(to, kMonths + kMonthBytes * static_cast<std::size_t>(month - 1), kMonthBytes);
  to += kMonthBytes;
  *to++ = '-';
  return PutNumber(to, year);
}

char* PutTime(char* to, int hours, int minutes, int seconds) {
  to = PutTwoDigits(to, hours);
  *to++ = ':';
  to = PutTwoDigits(to, minutes);
  *to++ = ':';
  return PutTwoDigits(to, seconds);
}

}  // namespace

std::string ReplaceSep(double value, const char* format) {
  const bool isDefault = format == kDefaultFormat || std::strcmp(format, kDefaultFormat) == 0;
  if (isDefault && std::isfinite(value) && std::fegetround() == FE_TONEAREST)
    return PrintDefault(value);
  const ThreadLocale locale(CLocale());
  return Print(value, format);
}

// R. G. Tantzen, Algorithm 199: Conversions between calendar date and Julian day number,
// Communications of the ACM 6(8), 1963. Years start on 1 March, so that a leap day ends its year.
// 2312163 quarter days lie between the algorithm's day 0 and 14 October 1582.
bool vexaConvertVEXADate(int* day, int* month, int* year, double value) {
  if (!IsDate(value)) return false;
  const long quarterDays = 4 * WholeDays(value) + 2312163;
  const long century = quarterDays / 146097;
  const int ofCentury = 4 * static_cast<int>(quarterDays % 146097 / 4) + 3;
  const int yearOfCentury = ofCentury / 1461;
  const int dayOfYear = (ofCentury % 1461 + 4) / 4;  // from 1
  const int ofMonths = 5 * dayOfYear - 3;
  const int marchMonth = ofMonths / 153;  // 0 is March
  const bool isNextYear = marchMonth > 9;
  *day = (ofMonths % 153 + 5) / 5;
  *month = isNextYear ? marchMonth - 9 : marchMonth + 3;
  *year = static_cast<int>(100 * century) + yearOfCentury + (isNextYear ? 1 : 0);
  return true;
}

bool vexaConvertVEXATime(long* days, int* hours, int* minutes, double* seconds, double value) {
  if (!IsDate(value)) return false;
  *days = WholeDays(value);
  *seconds = Remainder(value, kSecondsPerMinute);
  const int minuteOfDay =
      static_cast<int>(Remainder(value, kSecondsPerDay) / static_cast<double>(kSecondsPerMinute));
  *minutes = minuteOfDay % kMinutesPerHour;
  *hours = minuteOfDay / kMinutesPerHour;
  return true;
}

namespace qxg_800 {

std::string GetDefaultNumericFormat() { return kDefaultFormat; }

// The same text as localeconv()->decimal_point. But all threads share the struct of localeconv.
std::string GetDecimalCharacter() { return nl_langinfo(RADIXCHAR); }

std::string GetListSeparator() { return ","; }

std::string Format(double value, bool useLocale, const char* format) {
  if (!format) format = kDefaultFormat;
  return useLocale ? Print(value, format) : ReplaceSep(value, format);
}

std::string Format(long value) { return Format(static_cast<double>(value), true, nullptr); }

std::string FormatRulesDate(double value, bool asDate) {
  int day = 0, month = 0, year = 0, hours = 0, minutes = 0;
  long days = 0;
  double seconds = 0.0;
  if (!asDate || !vexaConvertVEXADate(&day, &month, &year, value))
    return Format(value, false, nullptr);
  vexaConvertVEXATime(&days, &hours, &minutes, &seconds, value);  // of a date, so it succeeds
  char text[kDateBytes];
  char* end = PutDate(text, day, month, year);
  *end++ = ' ';
  end = PutTime(end, hours, minutes, static_cast<int>(seconds));
  return std::string(text, end);
}

}  // namespace qxg_800
