#ifndef QXUTILS_TEXT_INFINITYPORT_H
#define QXUTILS_TEXT_INFINITYPORT_H

#include "qxutils/export.h"

namespace qxg_800 {

// Positive infinity, which stands for a missing value wherever the library hands out numbers. Any
// thread may ask at any time, static initialisers included.
QXUTILS_EXPORT double GetInfinity();

}  // namespace qxg_800

#endif
