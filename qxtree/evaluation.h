// How well the predictions of a tree fit.
#ifndef QXTREE_EVALUATION_H
#define QXTREE_EVALUATION_H

#include <cstddef>
#include <string>
#include <vector>

#include "qxtree/model.h"

namespace qxtree {

// Adds up cases with what they are and what is predicted.
class Evaluation {
 public:
  static constexpr std::size_t kMostShown = 20;  // classes of a confusion matrix

  // `classes` is 0 in regression.
  explicit Evaluation(std::size_t classes = 0);

  // `usual` is the class that would be guessed without a tree.
  void AddClass(std::size_t actual, std::size_t predicted, std::size_t usual, double cases);
  void AddNumber(double actual, double predicted, double cases);

  // "held-out accuracy 0.8518 (753 of 884 cases), commonest class 0.4898" with `what` for
  // "held-out", or "held-out error ..." in regression.
  std::string Summary(const std::string& what) const;

  // The confusion matrix, and precision and recall of each class; empty in regression and for more
  // classes than are shown. A line each.
  std::string Confusion(const std::vector<std::string>& classes) const;

 private:
  std::size_t fClasses;
  double fCases = 0, fCorrect = 0, fUsual = 0;
  std::vector<double> fMatrix;              // actual by predicted
  double fErrors = 0, fMean = 0, fSquares = 0;  // of numbers: squared errors; of the actual ones
};

}  // namespace qxtree

#endif
