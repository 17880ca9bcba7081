// SPDX-FileCopyrightText: The qxutils authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QXUTILS_TEXT_LOCALEUTIL_H
#define QXUTILS_TEXT_LOCALEUTIL_H

#include <string>
#include <type_traits>

#include "qxutils/export.h"

namespace qxg_800 {

/// @defgroup text Numbers and date-times as text
///
/// Numbers and date-times as text, and what the current locale says about numbers.
///
/// The current locale is that of the process, or the calling thread's own where it has set one
/// (uselocale). No function here ever changes the process's locale. Until the process itself calls
/// setlocale, it is "C".
///
/// Any number of threads may call these functions at once. No thread may change the process's
/// locale meanwhile, since some functions read it. Format with `useLocale` false, FormatRulesDate
/// and the functions with a constant result are safe even then.
///
/// Nothing is thrown but std::bad_alloc, and nothing has changed then.
/// @{

/// Returns the format in which numbers are printed by default. It is always "%.15g", which prints
/// at most 15 significant digits.
QXUTILS_EXPORT std::string GetDefaultNumericFormat();

/// Returns the decimal point of the current locale. In some locales it has more than one byte.
QXUTILS_EXPORT std::string GetDecimalCharacter();

/// Returns the separator of list items. It is always ",", even where that is the decimal point.
QXUTILS_EXPORT std::string GetListSeparator();

/// Returns `value` as printf prints it with `format`. A null `format` stands for the default one.
///
/// With `useLocale` true it is printed under the current locale. Otherwise it has a full stop as
/// decimal point and no grouping, under every locale. The rounding direction (fesetround) counts.
/// Infinity and NaN are "inf", "-inf", "nan" and "-nan", in capitals with the conversions G, F and
/// E.
///
/// Throws std::bad_alloc when out of memory, or when an int can't count the characters.
///
/// REQUIRES: `format` holds exactly one conversion, and it takes one double: g, f, e or the like,
/// with any flags, width and precision (not checked).
QXUTILS_EXPORT std::string Format(double value, bool useLocale, const char* format);

/// Returns `value` as a double in the default format under the current locale. So from 10^15 on it
/// is rounded to 15 digits: "1.23456789012346e+15".
QXUTILS_EXPORT std::string Format(long value);

/// A floating-point number alone would be silently truncated to a long.
template <class Number, std::enable_if_t<std::is_floating_point_v<Number>, int> = 0>
std::string Format(Number value) = delete;

/// Returns the text of a date-time in a rule: "01-JAN-1970 13:05:59".
///
/// `value` counts seconds since 14 October 1582, 00:00:00, in the Gregorian calendar, without time
/// zone or leap seconds. A fraction of a second is cut off. Days have two digits. Months are in
/// English under every locale. Years have as many digits as they need. The calendar is that of R.
/// G. Tantzen, Algorithm 199, Communications of the ACM 6(8), 1963.
///
/// When `asDate` is false or `value` is no date, returns Format(value, false, nullptr). No dates
/// are negative values, values that are not finite, and those in years after 2147483647. The last
/// are those from 67767988452912000 seconds on. Where the rounding direction is upward, they begin
/// 8 seconds earlier.
QXUTILS_EXPORT std::string FormatRulesDate(double value, bool asDate);

/// @}

}  // namespace qxg_800

#endif
