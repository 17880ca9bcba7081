// SPDX-FileCopyrightText: The qxutils authors
// SPDX-License-Identifier: Apache-2.0

#include "qxtree/split.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <numeric>
#include <utility>

#include "qxtree/component.h"

namespace qxtree {
namespace {

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
        fKnownSums(impurity.Count()),
        fOther(impurity.Count()) {
    const std::size_t missing = histogram.bins - 1;
    Add(fOther, Bin(missing));
    for (std::size_t bin = 0; bin < histogram.bins; ++bin) Add(fAll, Bin(bin));
    for (std::size_t bin = 0; bin < missing; ++bin) {
      const double cases = CasesOf(bin);
      if (fIsText && cases < fMinCases) {
        Add(fOther, Bin(bin));
      } else if (cases > 0) {
        fKnown.push_back(bin);
        Add(fKnownSums, Bin(bin));
      }
    }
    fHasOther = fImpurity.CasesOf(fOther.data()) > 0;
    fBound = fImpurity.LeastGain(fAll.data());
  }

  Candidate Run(std::size_t number) {
    const bool hasClasses = fIsText && !fImpurity.IsRegression() && fImpurity.Count() > 2;
    std::vector<double> levels;
    std::vector<const double*> sums;
    for (const std::size_t bin : fKnown) {
      levels.push_back(fImpurity.MeanOf(Bin(bin)));
      sums.push_back(Bin(bin));
    }
    if (fIsText) Order(hasClasses ? ComponentScores(sums, fImpurity.Count()) : levels);
    TryCuts();
    if (hasClasses) TryEachAlone();
    if (fHasOther && !fKnown.empty()) Try(fKnownSums, fOther, false, Way::Present, 0);
    Candidate best;
    if (fBest > 0) Take(number, best);
    return best;
  }

 private:
  // How the known bins are divided: those up to a place in their order go left, or one bin alone,
  // or all.
  enum class Way { Cut, Alone, Present };

  const double* Bin(std::size_t bin) const { return fHistogram.cells + bin * fImpurity.Count(); }
  double CasesOf(std::size_t bin) const { return fImpurity.CasesOf(Bin(bin)); }
  static void Add(Sums& to, const double* sums) {
    std::transform(to.begin(), to.end(), sums, to.begin(), std::plus<>());
  }
  static Sums Less(Sums from, const Sums& part) {
    std::transform(from.begin(), from.end(), part.begin(), from.begin(), std::minus<>());
    return from;
  }

  // By a key of each known bin.
  void Order(const std::vector<double>& keys) {
    std::vector<std::size_t> places(fKnown.size()), bins;
    std::iota(places.begin(), places.end(), std::size_t{0});
    std::stable_sort(places.begin(), places.end(),
                     [&](std::size_t a, std::size_t b) { return keys[a] < keys[b]; });
    for (const std::size_t place : places) bins.push_back(fKnown[place]);
    fKnown = std::move(bins);
  }

  void TryCuts() {
    Sums left(fAll.size());
    for (std::size_t count = 1; count < fKnown.size(); ++count) {
      Add(left, Bin(fKnown[count - 1]));
      TrySides(left, Less(fKnownSums, left), Way::Cut, count);
    }
  }

  void TryEachAlone() {
    std::vector<std::size_t> ascending = fKnown;
    std::sort(ascending.begin(), ascending.end());
    for (const std::size_t bin : ascending) {
      const Sums left(Bin(bin), Bin(bin) + fAll.size());
      TrySides(left, Less(fKnownSums, left), Way::Alone, bin);
    }
  }

  // The missing first on the side that is heavier without them, the left one of equal ones.
  void TrySides(const Sums& left, const Sums& right, Way way, std::size_t place) {
    const bool isLeft = fImpurity.CasesOf(left.data()) >= fImpurity.CasesOf(right.data());
    for (const bool otherLeft : {isLeft, !isLeft}) {
      if (!fHasOther) {
        Try(left, right, otherLeft, way, place);
        break;
      }
      Sums with = otherLeft ? left : right;
      Add(with, fOther.data());
      Try(otherLeft ? with : left, otherLeft ? right : with, otherLeft, way, place);
    }
  }

  void Try(const Sums& left, const Sums& right, bool otherLeft, Way way, std::size_t place) {
    if (fImpurity.CasesOf(left.data()) < fMinCases || fImpurity.CasesOf(right.data()) < fMinCases)
      return;
    const double gain = fImpurity.Gain(left.data(), right.data());
    if (!(gain > fBound && IsBetter(gain, fBest))) return;
    fBest = gain;
    fOtherLeft = otherLeft;
    fWay = way;
    fPlace = place;
  }

  bool IsLeft(std::size_t place) const {
    return fWay == Way::Present || (fWay == Way::Cut ? place < fPlace : fKnown[place] == fPlace);
  }

  void Take(std::size_t number, Candidate& best) const {
    best.gain = fBest;
    best.column = number;
    best.missingLeft = fOtherLeft;
    best.apart.clear();
    best.form = fIsText                ? Split::Form::Categories
                : fWay == Way::Present ? Split::Form::Present
                                       : Split::Form::Cut;
    if (best.form == Split::Form::Cut) best.cut = NearestCut(fKnown[fPlace - 1], fKnown[fPlace]);
    for (std::size_t place = 0; fIsText && place < fKnown.size(); ++place)
      if (IsLeft(place) != fOtherLeft)
        best.apart.push_back(static_cast<std::uint16_t>(fKnown[place]));
    std::sort(best.apart.begin(), best.apart.end());
    for (Sums& sums : best.children) sums.assign(fAll.size(), 0.0);
    for (std::size_t bin = 0; bin < fHistogram.bins; ++bin)
      Add(best.children[best.GoesLeft(bin, fHistogram.bins - 1) ? 0 : 1], Bin(bin));
  }

  // Between two bins there may be some that are empty here: of the cuts around them the middle one.
  std::size_t NearestCut(std::size_t left, std::size_t right) const {
    const std::vector<double>& cuts = fColumn.bins.cuts;
    const double middle = cuts[left] / 2 + cuts[right - 1] / 2;
    std::size_t nearest = left;
    for (std::size_t bin = left; bin < right; ++bin)
      if (std::abs(cuts[bin] - middle) < std::abs(cuts[nearest] - middle)) nearest = bin;
    return nearest;
  }

  const Histogram& fHistogram;
  const TableColumn& fColumn;
  const bool fIsText;
  const Impurity& fImpurity;
  const double fMinCases;
  Sums fAll, fKnownSums, fOther;
  bool fHasOther = false;
  std::vector<std::size_t> fKnown;  // bins with cases, in the order in which they are cut
  double fBound = 0, fBest = 0;
  bool fOtherLeft = false;
  Way fWay = Way::Cut;
  std::size_t fPlace = 0;
};

}  // namespace

double Impurity::CasesOf(const double* sums) const {
  return fIsRegression ? sums[kCases] : std::accumulate(sums, sums + fCount, 0.0);
}

// Parts are divided first, since squares may be too large or small.
double Impurity::Of(const double* sums) const {
  const double cases = CasesOf(sums);
  if (!(cases > 0)) return 0;
  if (fIsRegression) return std::max(0.0, SquaresOf(sums) - MeanOf(sums) * SumOf(sums));
  const auto subtract = [&](double rest, double part) { return rest - part / cases * part; };
  return std::accumulate(sums, sums + fCount, cases, subtract);
}

double Impurity::Gain(const double* left, const double* right) const {
  const double leftCases = CasesOf(left), rightCases = CasesOf(right);
  const double factor = leftCases / (leftCases + rightCases) * rightCases;
  const auto square = [factor](double distance) { return factor * distance * distance; };
  if (fIsRegression) return square(MeanOf(left) - MeanOf(right));
  double gain = 0;
  for (std::size_t i = 0; i < fCount; ++i)
    gain += square(left[i] / leftCases - right[i] / rightCases);
  return gain;
}

bool Candidate::GoesLeft(std::size_t bin, std::size_t missing) const {
  if (bin == missing) return missingLeft;
  if (form == Split::Form::Present) return !missingLeft;
  if (form == Split::Form::Cut) return bin <= cut;
  return std::binary_search(apart.begin(), apart.end(), bin) != missingLeft;
}

Candidate FindSplit(const Histogram& histogram, const TableColumn& column, std::size_t number,
                    const Impurity& impurity, double minCases) {
  return Search(histogram, column, impurity, minCases).Run(number);
}

}  // namespace qxtree
