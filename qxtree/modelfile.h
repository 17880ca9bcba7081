// SPDX-FileCopyrightText: The qxutils authors
// SPDX-License-Identifier: Apache-2.0

// A model as a JSON file, as model.schema.json describes it.
#ifndef QXTREE_MODELFILE_H
#define QXTREE_MODELFILE_H

#include <string>

#include "qxtree/model.h"

namespace qxtree {

// Numbers read back as they were. Throws as WriteFile does, and std::runtime_error for a text that
// is not UTF-8. REQUIRES: all numbers are finite (not checked).
void WriteModel(const Model& model, const std::string& path);

// Whatever the file holds, the model is one that predictions can use. Throws std::runtime_error
// that names the file and what is wrong, and where.
Model ReadModel(const std::string& path);

}  // namespace qxtree

#endif
