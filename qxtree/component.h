// SPDX-FileCopyrightText: The qxutils authors
// SPDX-License-Identifier: Apache-2.0

// The first principal component of class shares.
#ifndef QXTREE_COMPONENT_H
#define QXTREE_COMPONENT_H

#include <cstddef>
#include <vector>

namespace qxtree {

// How far each group of cases lies along the first principal component of the groups' class shares,
// weighted by their cases. `groups` lead to the cases by class of a group, not all 0. The sign is
// arbitrary but fixed. Time grows with groups times classes.
std::vector<double> ComponentScores(const std::vector<const double*>& groups, std::size_t classes);

}  // namespace qxtree

#endif
