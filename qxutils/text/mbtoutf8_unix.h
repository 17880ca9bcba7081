// SPDX-FileCopyrightText: The qxutils authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QXUTILS_TEXT_MBTOUTF8_UNIX_H
#define QXUTILS_TEXT_MBTOUTF8_UNIX_H

#include <string>

#include "qxutils/export.h"

/// Text between the code set of the current locale and UTF-8.
///
/// The current locale is that of the process, or the calling thread's own where it has set one
/// (uselocale). Only its code set (LC_CTYPE) counts, which is ASCII under "C". Every call reads it
/// again. When the system can't convert the code set by its name, an "ISO" in front of the name is
/// dropped. When that fails, too, "8859-1" is tried in place of the name. The GNU C library does
/// not know that one.
///
/// Any number of threads may convert at once. No thread may change the process's locale meanwhile.
///
/// No failure is reported. To notice one, convert the result back and compare.
/// - The result ends before the first sequence that is invalid or incomplete, or that the target
///   code set can't represent.
/// - It is empty when no conversion for the code set can be opened. Lack of memory or of
///   descriptors may be the reason.
/// - Tag characters, U+E0000 to U+E007F, may be missing from its middle. The GNU C library drops
///   those that the target code set can't represent. UTF-8 and GB18030 can represent them.
/// - A few code sets have combining characters: TCVN, CP1255, CP1258, TSCII, BIG5-HKSCS,
///   EUC-JISX0213, SHIFT_JISX0213. There the last character may be missing, since a next one might
///   have been combined with it. A TSCII text that grows more than fourfold is cut.
///
/// The system's converter decides what is valid, under a UTF-8 locale, too. That of the GNU C
/// library refuses surrogates and accepts values above U+10FFFF. A zero byte is an ordinary
/// character. No shift sequence is added at the end.
///
/// Opening a conversion may need a free descriptor. Without one the result is empty then, and the C
/// library may remember the failure until the process ends. With glibc 2.36 this happened in two
/// cases:
/// - The first conversion of the process met the shortage, and no locale had been set by a name
///   with a code set in it. Later ones failed for every code set but ASCII and UTF-8.
/// - The system has no gconv-modules.cache, and the first conversion of a code set met the
///   shortage. Later ones failed for this code set.
///
/// A code set that was converted once before the shortage worked again after it. So convert a short
/// text at the start if descriptors may run out. After a shortage of memory alone all code sets
/// worked again.
///
/// A call takes memory of four times the input's length. Nothing is thrown but std::bad_alloc.
namespace xmlu_800 {

/// Returns `in`, which is in the locale's code set, as UTF-8.
QXUTILS_EXPORT std::string MbToUTF8(std::string in);

/// Replaces `out` by `in`, which is in UTF-8, in the locale's code set. Both may be the same
/// string. When std::bad_alloc is thrown, `out` has not changed.
QXUTILS_EXPORT void UTF8ToMb(const std::string& in, std::string& out);

}  // namespace xmlu_800

#endif
