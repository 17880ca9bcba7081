// SPDX-FileCopyrightText: The qxutils authors
// SPDX-License-Identifier: Apache-2.0

// Names in messages to the user.
#ifndef QXTREE_NAMES_H
#define QXTREE_NAMES_H

#include <string>
#include <vector>

namespace qxtree {

bool Has(const std::vector<std::string>& names, const std::string& name);

// The name with the fewest bytes to insert, remove or replace in it to get `name`, the first of
// several. Only the first 64 bytes of each count. Empty when there are no names.
std::string Nearest(const std::string& name, const std::vector<std::string>& names);

// "there is no column 'agee'; the nearest is 'age' (age, weight and 35 more)".
std::string NoColumn(const std::string& name, const std::vector<std::string>& names);

}  // namespace qxtree

#endif
