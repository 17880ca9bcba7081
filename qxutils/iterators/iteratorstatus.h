// SPDX-FileCopyrightText: The qxutils authors
// SPDX-License-Identifier: Apache-2.0

// Not installed: the status numbers of the iterators.
#ifndef QXUTILS_ITERATORS_ITERATORSTATUS_H
#define QXUTILS_ITERATORS_ITERATORSTATUS_H

namespace qxg_800 {

constexpr int kReady = 0;
constexpr int kEndOfData = 1;
constexpr int kCancelled = 2;
constexpr int kNoStorage = 3;

}  // namespace qxg_800

#endif
