// SPDX-FileCopyrightText: The qxutils authors
// SPDX-License-Identifier: Apache-2.0

// Not installed: the value of GetInfinity as a constant.
#ifndef QXUTILS_TEXT_INFINITYPORT_INTERNAL_H
#define QXUTILS_TEXT_INFINITYPORT_INTERNAL_H

#include <limits>

namespace qxg_800 {

constexpr double kInfinity = std::numeric_limits<double>::infinity();
static_assert(std::numeric_limits<double>::is_iec559, "its bits are 0x7FF0000000000000");

}  // namespace qxg_800

#endif
