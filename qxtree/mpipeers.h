// SPDX-FileCopyrightText: The qxutils authors
// SPDX-License-Identifier: Apache-2.0

// Processes that talk to each other by MPI.
#ifndef QXTREE_MPIPEERS_H
#define QXTREE_MPIPEERS_H

#include <memory>

#include "qxtree/peers.h"

namespace qxtree {

// Null when this process was started alone. MPI is not touched then.
std::unique_ptr<Peers> MeetByMpi();

}  // namespace qxtree

#endif
