// SPDX-FileCopyrightText: The qxutils authors
// SPDX-License-Identifier: Apache-2.0

// How well predictions meet the truth.
#ifndef QXTREE_SCORE_H
#define QXTREE_SCORE_H

#include <cstddef>
#include <string>
#include <vector>

#include "qxtree/exactsum.h"
#include "qxtree/model.h"

namespace qxtree {

class Score {
 public:
  // The model must outlive it.
  explicit Score(const Model& model);

  // In classification: cases of a class that are predicted as another or the same. A class may be
  // Model::classes.size(): one that the model does not know.
  void AddClass(std::size_t actual, std::size_t predicted, double cases);

  // In regression.
  void AddNumber(double actual, double predicted, double cases);

  // Takes those of another process.
  void Add(const Score& other);
  template <class Self, class Visitor>
  static void Visit(Self& self, Visitor& visit) {
    visit(self.fCases), visit(self.fCorrect), visit(self.fCommonest), visit(self.fCells);
    visit(self.fActual), visit(self.fErrors);
  }

  // "held-out accuracy 0.85 (85 of 100 cases), commonest class 0.5" for `what` "held-out". The
  // commonest class is that of the model's root. In regression the root of the mean square of the
  // error, and the share of the squares around the mean that is explained.
  std::string Line(const std::string& what) const;

  // The cases by actual and predicted class, in UTF-8. Beside them stands the share of each class
  // that is found (recall), below them the share of its predictions that are right (precision).
  // Names are cut after 16 characters, and after 10 at the top. Empty in regression, without cases,
  // and with more than 20 classes.
  std::string Table() const;

 private:
  static constexpr std::size_t kMostClasses = 20;

  double Cell(std::size_t actual, std::size_t predicted) const {
    return fCells[actual * fModel.classes.size() + predicted];
  }

  const Model& fModel;
  double fCases = 0, fCorrect = 0, fCommonest = 0;
  std::vector<double> fCells;  // a row for each actual class, the unknown ones last; or empty
  Moments fActual;             // in regression
  ExactSum fErrors;            // their squares
};

}  // namespace qxtree

#endif
