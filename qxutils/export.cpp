// SPDX-FileCopyrightText: The qxutils authors
// SPDX-License-Identifier: Apache-2.0

#include "qxutils/export.h"

const char QXUTILS_DEBUG_MODE = 1;
