// SPDX-FileCopyrightText: The qxutils authors
// SPDX-License-Identifier: Apache-2.0

// Not installed: the steps that make the texts of numbers and dates.
#ifndef QXUTILS_TEXT_LOCALEUTIL_INTERNAL_H
#define QXUTILS_TEXT_LOCALEUTIL_INTERNAL_H

#include <string>

// Returns `value` as printf prints it with `format` under the "C" locale. The process's locale is
// never changed. The calling thread's own, if it has one, is in force again when the call ends.
//
// Throws std::bad_alloc.
// REQUIRES: `format` is not null and holds exactly one conversion, of one double (not checked).
std::string ReplaceSep(double value, const char* format);

// Date-time values count seconds since 14 October 1582, 00:00:00, in the Gregorian calendar. Both
// conversions return true. They return false and write nothing for a value that is negative or not
// finite, or whose year does not fit an int. Nothing is thrown.
// REQUIRES: no pointer is null (not checked).

// Writes the day of the month (1 to 31), the month (1 to 12) and the year.
bool vexaConvertVEXADate(int* day, int* month, int* year, double value);

// Writes whole days since 14 October 1582, hours (0 to 23), minutes (0 to 59), and seconds with
// their fraction (0 to below 60).
bool vexaConvertVEXATime(long* days, int* hours, int* minutes, double* seconds, double value);

#endif
