// SPDX-FileCopyrightText: The qxutils authors
// SPDX-License-Identifier: Apache-2.0

#include "qxtree/peers.h"

#ifdef QXTREE_MPI
#include "qxtree/mpipeers.h"
#endif

namespace qxtree {

std::unique_ptr<Peers> MeetPeers() {
#ifdef QXTREE_MPI
  if (auto peers = MeetByMpi()) return peers;
#endif
  return std::make_unique<Peers>();
}

}  // namespace qxtree
