#ifndef QXUTILS_TEXT_LOCALEUTIL_H
#define QXUTILS_TEXT_LOCALEUTIL_H

#include <string>
#include <type_traits>

#include "qxutils/export.h"

// Numbers and date-times as text, and what the current locale says about numbers.
//
// The current locale is that of the process, or the calling thread's own where it has set one
// (uselocale). No function here ever changes the process's locale; until the process itself calls
// setlocale, it is "C".
//
// Threads: Format with `useLocale` false and FormatRulesDate may be called from any number of
// threads at once. So may the others, but not while a thread changes the process's locale, which
// they read.
//
// Nothing is thrown but std::bad_alloc, and then nothing has changed.
namespace qxg_800 {

// The format in which numbers are printed unless another is given: always "%.15g", at most 15
// significant digits.
QXUTILS_EXPORT std::string GetDefaultNumericFormat();

// The decimal point of the current locale; in some locales it has more than one byte.
QXUTILS_EXPORT std::string GetDecimalCharacter();

// What stands between the items of a list: always ",", even where that is the decimal point.
QXUTILS_EXPORT std::string GetListSeparator();

// `value` as printf prints it with `format`, in any number of characters that an int can count:
// under the current locale when `useLocale` is true, else with a full stop as decimal point and
// without grouping, under every locale. The rounding direction (fesetround) is heeded. Infinity and
// what is not a number give "inf", "-inf", "nan" and "-nan" (capitals with %G, %F and %E).
//
// A null `format` stands for the default one. REQUIRES: the format holds exactly one conversion, of
// one double: %g, %f, %e or the like, with any flags, width and precision (not checked).
QXUTILS_EXPORT std::string Format(double value, bool useLocale, const char* format);

// `value` as a double in the default format under the current locale, so that from 10^15 on it is
// rounded to 15 digits: "1.23456789012346e+15".
QXUTILS_EXPORT std::string Format(long value);

// A lone floating-point number would be cut to a long without a word.
template <class Number, std::enable_if_t<std::is_floating_point_v<Number>, int> = 0>
std::string Format(Number value) = delete;

// The text of a date-time in a rule: "01-JAN-1970 13:05:59". `value` counts seconds since 14
// October 1582, 00:00:00, in the Gregorian calendar, without time zone or leap seconds; a fraction
// of a second is cut off. Days have two digits, months are in English under every locale, years
// have as many digits as they need.
//
// When `asDate` is false, or `value` is no date, gives Format(value, false, nullptr). Negative
// values are none, nor are those that are not finite, nor years after 2147483647 (from
// 67767988452912000 seconds on; from 8 seconds before where the rounding direction is upward).
QXUTILS_EXPORT std::string FormatRulesDate(double value, bool asDate);

}  // namespace qxg_800

#endif
