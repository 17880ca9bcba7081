// SPDX-FileCopyrightText: The qxutils authors
// SPDX-License-Identifier: Apache-2.0

#include "qxutils/text/infinityport.h"

#include "qxutils/text/infinityport_internal.h"

namespace qxg_800 {

double GetInfinity() { return kInfinity; }

}  // namespace qxg_800
