// SPDX-FileCopyrightText: The qxutils authors
// SPDX-License-Identifier: Apache-2.0

#include "qxutils/platform/qxutilsexception.h"

namespace qxg_800 {

QxUtilsException::QxUtilsException(const char* message) : fMessage(message ? message : "") {}

QxUtilsException::~QxUtilsException() noexcept = default;

const char* QxUtilsException::what() const noexcept { return fMessage.c_str(); }

}  // namespace qxg_800
