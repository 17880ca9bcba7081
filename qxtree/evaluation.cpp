#include "qxtree/evaluation.h"

#include <fmt/format.h>

#include <cmath>

#include "qxutils/text/localeutil.h"

namespace qxtree {
namespace {

std::string Number(double value) { return qxg_800::Format(value, false, nullptr); }

}  // namespace

Evaluation::Evaluation(std::size_t classes)
    : fClasses(classes), fMatrix(classes <= kMostShown ? classes * classes : 0) {}

void Evaluation::AddClass(std::size_t actual, std::size_t predicted, std::size_t usual,
                          double cases) {
  fCases += cases;
  if (actual == predicted) fCorrect += cases;
  if (actual == usual) fUsual += cases;
  // An actual class may be one that the model does not know.
  if (!fMatrix.empty() && actual < fClasses) fMatrix[actual * fClasses + predicted] += cases;
}

// By D. H. D. West, Updating mean and variance estimates: an improved method, 1979.
void Evaluation::AddNumber(double actual, double predicted, double cases) {
  if (!(cases > 0)) return;
  fCases += cases;
  fErrors += cases * (actual - predicted) * (actual - predicted);
  const double distance = actual - fMean;
  fMean += distance * cases / fCases;
  fSquares += cases * distance * (actual - fMean);
}

std::string Evaluation::Summary(const std::string& what) const {
  const bool isRegression = fClasses == 0;
  if (!(fCases > 0))
    return fmt::format("{} {} unknown (no {} cases)\n", what, isRegression ? "error" : "accuracy",
                       what);
  if (!isRegression)
    return fmt::format("{} accuracy {:.4f} ({} of {} cases), commonest class {:.4f}\n", what,
                       fCorrect / fCases, Number(fCorrect), Number(fCases), fUsual / fCases);
  const std::string share =
      fSquares > 0 ? fmt::format("{:.4f}", 1 - fErrors / fSquares) : "unknown";
  return fmt::format("{} error {:.6g} (root of the mean square), share explained {} ({} cases)\n",
                     what, std::sqrt(fErrors / fCases), share, Number(fCases));
}

std::string Evaluation::Confusion(const std::vector<std::string>& classes) const {
  if (fMatrix.empty() || !(fCases > 0)) return {};
  std::string text = fmt::format("{:<20}", "actual \\ predicted");
  for (const std::string& name : classes) text += fmt::format(" {:>10.10}", name);
  text += "     recall\n";
  std::vector<double> predicted(fClasses);
  for (std::size_t actual = 0; actual < fClasses; ++actual) {
    double cases = 0;
    text += fmt::format("{:<20.20}", classes[actual]);
    for (std::size_t i = 0; i < fClasses; ++i) {
      const double count = fMatrix[actual * fClasses + i];
      text += fmt::format(" {:>10.10g}", count);
      predicted[i] += count;
      cases += count;
    }
    const double right = fMatrix[actual * fClasses + actual];
    text += cases > 0 ? fmt::format(" {:>10.4f}\n", right / cases) : "          -\n";
  }
  text += fmt::format("{:<20}", "precision");
  for (std::size_t i = 0; i < fClasses; ++i)
    text += predicted[i] > 0 ? fmt::format(" {:>10.4f}", fMatrix[i * fClasses + i] / predicted[i])
                             : "          -";
  return text + '\n';
}

}  // namespace qxtree
