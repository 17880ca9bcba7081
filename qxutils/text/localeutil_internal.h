// Not installed: the steps that number and date texts are made of.
#ifndef QXUTILS_TEXT_LOCALEUTIL_INTERNAL_H
#define QXUTILS_TEXT_LOCALEUTIL_INTERNAL_H

#include <string>

// `value` as printf prints it with `format` under the "C" locale. The process's locale is never
// touched; the calling thread's own, if it has one, is in force again when the call ends.
//
// REQUIRES: `format` is not null and holds exactly one conversion, of one double (not checked).
// Throws std::bad_alloc.
std::string ReplaceSep(double value, const char* format);

// Date-time values count seconds since 14 October 1582, 00:00:00, in the Gregorian calendar. Both
// conversions give false and write nothing for a value that is negative or not finite, or whose
// year does not fit an int. REQUIRES: no pointer is null (not checked).

// The day of the month (1 to 31), the month (1 to 12) and the year.
bool vexaConvertVEXADate(int* day, int* month, int* year, double value);

// Whole days since 14 October 1582, hours (0 to 23), minutes (0 to 59), and seconds with their
// fraction (0 to below 60).
bool vexaConvertVEXATime(long* days, int* hours, int* minutes, double* seconds, double value);

#endif
