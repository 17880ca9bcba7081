// SPDX-FileCopyrightText: The qxutils authors
// SPDX-License-Identifier: Apache-2.0

// Predictions for the rows of a CSV file.
#ifndef QXTREE_PREDICT_H
#define QXTREE_PREDICT_H

#include "qxtree/options.h"

namespace qxtree {

// Writes a CSV file to standard output: the header `prediction,probability`, in regression
// `prediction`, and a line for each row in order. The probability is the share of the predicted
// class among the training cases of the leaf. Memory does not depend on the number of rows.
//
// Finds columns by their names; those that no split asks for may be missing. What the model does
// not know goes where missing cells go. Where the target is there and not missing, says on standard
// error how good the predictions are. Lines before a failure are written.
//
// Throws what ReadModel, ReadCsv and WriteTo throw. Throws std::runtime_error for a column that is
// needed and missing, and a class that the locale's code set lacks.
void Predict(const Options& options);

}  // namespace qxtree

#endif
