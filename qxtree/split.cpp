#include "qxtree/split.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <numeric>

namespace qxtree {
namespace {

constexpr int kMostTurns = 60;  // of the search for the principal component

// One column's search for the best split of one node.
class Search {
 public:
  Search(const Histogram& histogram, const TableColumn& column, const Impurity& impurity,
         double minCases)
      : fHistogram(histogram),
        fColumn(column),
        fIsText(column.kind == Kind::Text),
        fImpurity(impurity),
        fMinCases(minCases),
        fAll(impurity.Count()),
        fOther(impurity.Count()),
        fRight(impurity.Count()) {
    const std::size_t missing = histogram.bins - 1;
    Add(fOther, Bin(missing));
    for (std::size_t bin = 0; bin < histogram.bins; ++bin) Add(fAll, Bin(bin));
    for (std::size_t bin = 0; bin < missing; ++bin) {
      const double cases = CasesOf(bin);
      if (fIsText && cases < fMinCases) {
        Add(fOther, Bin(bin));
      } else if (cases > 0) {
        fKnown.push_back(bin);
      }
    }
    fKnownSums = Rest(fOther);
    fHasOther = fImpurity.CasesOf(fOther.data()) > 0;
    fBound = fImpurity.Rounding(fAll.data());
  }

  void Run(std::size_t number, Candidate& best) {
    fBest = best.gain;
    const bool hasClasses = fIsText && !fImpurity.IsRegression() && fImpurity.Count() > 2;
    if (hasClasses) {
      OrderByComponent();
    } else if (fIsText) {
      Order([&](std::size_t bin) { return Level(bin); });
    }
    TryCuts();
    if (hasClasses) TryEachAlone();
    if (fHasOther && !fKnown.empty()) Try(fKnownSums, false, Way::Present, 0);
    if (fFound) Take(number, best);
  }

 private:
  // How the known bins are divided: those up to a place in their order go left, or one bin alone,
  // or all.
  enum class Way { Cut, Alone, Present };

  const double* Bin(std::size_t bin) const { return fHistogram.cells + bin * fImpurity.Count(); }
  double CasesOf(std::size_t bin) const { return fImpurity.CasesOf(Bin(bin)); }
  // The mean, or the share of the second class.
  double Level(std::size_t bin) const { return Bin(bin)[1] / CasesOf(bin); }

  static void Add(Sums& to, const double* sums) {
    std::transform(to.begin(), to.end(), sums, to.begin(), std::plus<>());
  }
  Sums Rest(const Sums& part) const {
    Sums rest(part.size());
    std::transform(fAll.begin(), fAll.end(), part.begin(), rest.begin(), std::minus<>());
    return rest;
  }

  template <class Of>
  void Order(Of of) {
    std::vector<double> keys(fHistogram.bins);
    for (const std::size_t bin : fKnown) keys[bin] = of(bin);
    std::stable_sort(fKnown.begin(), fKnown.end(),
                     [&](std::size_t a, std::size_t b) { return keys[a] < keys[b]; });
  }

  // By the power method on the covariances of the shares, which are never laid out.
  void OrderByComponent() {
    const std::size_t classes = fImpurity.Count();
    Sums mean(classes), component(classes);
    double cases = 0, farthest = -1;
    for (const std::size_t bin : fKnown) Add(mean, Bin(bin)), cases += CasesOf(bin);
    for (double& share : mean) share /= cases;
    const auto deviation = [&](std::size_t bin, std::size_t k) {
      return Bin(bin)[k] / CasesOf(bin) - mean[k];
    };
    const auto along = [&](std::size_t bin) {
      double sum = 0;
      for (std::size_t k = 0; k < classes; ++k) sum += deviation(bin, k) * component[k];
      return sum;
    };
    for (const std::size_t bin : fKnown) {
      double square = 0;
      for (std::size_t k = 0; k < classes; ++k) square += deviation(bin, k) * deviation(bin, k);
      if (square * CasesOf(bin) <= farthest) continue;
      farthest = square * CasesOf(bin);
      for (std::size_t k = 0; k < classes; ++k) component[k] = deviation(bin, k);
    }
    for (int turn = 0; turn < kMostTurns; ++turn) {
      Sums next(classes);
      for (const std::size_t bin : fKnown) {
        const double factor = CasesOf(bin) * along(bin);
        for (std::size_t k = 0; k < classes; ++k) next[k] += factor * deviation(bin, k);
      }
      const double length = std::sqrt(std::inner_product(next.begin(), next.end(), next.begin(), 0.0));
      if (!(length > 0)) break;
      for (std::size_t k = 0; k < classes; ++k) component[k] = next[k] / length;
    }
    Order(along);
  }

  void TryCuts() {
    Sums left(fAll.size());
    for (std::size_t count = 1; count < fKnown.size(); ++count) {
      Add(left, Bin(fKnown[count - 1]));
      TrySides(left, Way::Cut, count);
    }
  }

  void TryEachAlone() {
    std::vector<std::size_t> ascending = fKnown;
    std::sort(ascending.begin(), ascending.end());
    for (const std::size_t bin : ascending)
      TrySides({Bin(bin), Bin(bin) + fAll.size()}, Way::Alone, bin);
  }

  // The missing first on the side that is heavier without them, the left one of equal ones.
  void TrySides(const Sums& left, Way way, std::size_t place) {
    const bool isLeft =
        fImpurity.CasesOf(left.data()) >= fImpurity.CasesOf(fKnownSums.data()) / 2;
    Try(isLeft ? With(left) : left, isLeft, way, place);
    if (fHasOther) Try(isLeft ? left : With(left), !isLeft, way, place);
  }

  Sums With(Sums left) const {
    Add(left, fOther.data());
    return left;
  }

  void Try(const Sums& left, bool otherLeft, Way way, std::size_t place) {
    std::transform(fAll.begin(), fAll.end(), left.begin(), fRight.begin(), std::minus<>());
    if (fImpurity.CasesOf(left.data()) < fMinCases || fImpurity.CasesOf(fRight.data()) < fMinCases)
      return;
    const double gain = fImpurity.Score(left.data()) + fImpurity.Score(fRight.data()) -
                        fImpurity.Score(fAll.data());
    if (!(gain > fBest + fBound)) return;
    fBest = gain;
    fFound = true;
    fOtherLeft = otherLeft;
    fWay = way;
    fPlace = place;
    fLeft = left;
  }

  bool IsLeft(std::size_t place) const {
    return fWay == Way::Present || (fWay == Way::Cut ? place < fPlace : fKnown[place] == fPlace);
  }

  void Take(std::size_t number, Candidate& best) const {
    best.gain = fBest;
    best.column = number;
    best.missingLeft = fOtherLeft;
    best.children[0] = fLeft;
    best.children[1] = Rest(fLeft);
    best.apart.clear();
    best.form = fIsText                 ? Split::Form::Categories
                : fWay == Way::Present ? Split::Form::Present
                                        : Split::Form::Cut;
    if (best.form == Split::Form::Cut) best.cut = NearestCut(fKnown[fPlace - 1], fKnown[fPlace]);
    if (!fIsText) return;
    for (std::size_t place = 0; place < fKnown.size(); ++place)
      if (IsLeft(place) != fOtherLeft)
        best.apart.push_back(static_cast<std::uint16_t>(fKnown[place]));
    std::sort(best.apart.begin(), best.apart.end());
  }

  // Between two bins there may be some that are empty here.
  std::size_t NearestCut(std::size_t left, std::size_t right) const {
    const Bins& bins = fColumn.bins;
    const double middle = bins.groups[left].greatest / 2 + bins.groups[right].least / 2;
    std::size_t nearest = left;
    for (std::size_t bin = left; bin < right; ++bin)
      if (std::abs(bins.cuts[bin] - middle) < std::abs(bins.cuts[nearest] - middle)) nearest = bin;
    return nearest;
  }

  const Histogram& fHistogram;
  const TableColumn& fColumn;
  const bool fIsText;
  const Impurity& fImpurity;
  const double fMinCases;
  Sums fAll, fOther, fKnownSums, fRight;
  bool fHasOther = false;
  std::vector<std::size_t> fKnown;  // bins with cases, in the order in which they are cut
  double fBound = 0, fBest = 0;
  bool fFound = false, fOtherLeft = false;
  Way fWay = Way::Cut;
  std::size_t fPlace = 0;
  Sums fLeft;
};

}  // namespace

double Impurity::CasesOf(const double* sums) const {
  return fIsRegression ? sums[0] : std::accumulate(sums, sums + fCount, 0.0);
}

double Impurity::Scale(const double* sums) const { return fIsRegression ? sums[2] : CasesOf(sums); }

// Divided first, since squares may be too large or small.
double Impurity::Score(const double* sums) const {
  const double cases = CasesOf(sums);
  if (!(cases > 0)) return 0;
  if (fIsRegression) return sums[1] / cases * sums[1];
  const auto add = [&](double score, double part) { return score + part / cases * part; };
  return std::accumulate(sums, sums + fCount, 0.0, add);
}

bool Candidate::GoesLeft(std::size_t bin, std::size_t missing) const {
  if (bin == missing) return missingLeft;
  if (form == Split::Form::Present) return !missingLeft;
  if (form == Split::Form::Cut) return bin <= cut;
  return std::binary_search(apart.begin(), apart.end(), bin) != missingLeft;
}

void ImproveSplit(const Histogram& histogram, const TableColumn& column, std::size_t number,
                  const Impurity& impurity, double minCases, Candidate& best) {
  Search(histogram, column, impurity, minCases).Run(number, best);
}

}  // namespace qxtree
