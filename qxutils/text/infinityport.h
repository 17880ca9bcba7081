// SPDX-FileCopyrightText: The qxutils authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QXUTILS_TEXT_INFINITYPORT_H
#define QXUTILS_TEXT_INFINITYPORT_H

#include "qxutils/export.h"

namespace qxg_800 {

/// Returns positive infinity, the system-missing value. Any thread may call it at any time, even in
/// a static initialiser.
QXUTILS_EXPORT double GetInfinity();

}  // namespace qxg_800

#endif
