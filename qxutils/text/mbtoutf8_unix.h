#ifndef QXUTILS_TEXT_MBTOUTF8_UNIX_H
#define QXUTILS_TEXT_MBTOUTF8_UNIX_H

#include <string>

#include "qxutils/export.h"

// Text between the code set of the current locale and UTF-8.
//
// The current locale is that of the process, or the calling thread's own where it has set one
// (uselocale). Only its code set counts (LC_CTYPE), asked for anew in every call: ASCII under "C".
// Where the system can't convert the code set by its name, an "ISO" in front of the name is
// dropped, then "8859-1" is tried in its place.
//
// Any number of threads may convert at once, but not while one changes the process's locale.
//
// Nothing is reported. The result is the text up to the first sequence that is invalid, cut short
// by the end of the input, or not to be had in the target's code set. It is empty where no
// conversion for the code set can be opened, be it for want of a descriptor. In the few code sets
// with combining characters (TCVN, CP1258, BIG5-HKSCS, TSCII) the last character may be missing,
// since it might have been combined with a next one, and a text that grows more than fourfold is
// cut. To notice any of this, convert the result back and compare. The system's converter is the
// judge, under a UTF-8 locale too: that of the GNU C library refuses surrogates, and passes what
// lies beyond U+10FFFF. A zero byte is a character like others. No shift sequence is put at the
// end. Memory of four times the input's length is taken for the time of the call; nothing is thrown
// but std::bad_alloc.
namespace xmlu_800 {

// `in`, in the locale's code set, as UTF-8.
QXUTILS_EXPORT std::string MbToUTF8(std::string in);

// Puts `in`, in UTF-8, into `out` in the locale's code set, in place of what `out` held. Both may
// be the same string. `out` is unchanged when std::bad_alloc is thrown.
QXUTILS_EXPORT void UTF8ToMb(const std::string& in, std::string& out);

}  // namespace xmlu_800

#endif
