#ifndef QXUTILS_NUMERIC_QXSTATISTICS_H
#define QXUTILS_NUMERIC_QXSTATISTICS_H

#include <memory>

#include "qxutils/export.h"

namespace qxg_800 {

// Minimum, maximum, weighted mean and weighted standard deviation of values that arrive one at a
// time. The values themselves are not kept.
//
// Weights count cases: a value of weight 3 is the same as three values of weight 1. Neither values
// nor weights are checked. A value that is not a number leaves minimum and maximum alone and makes
// mean and standard deviation NaN, as an infinite one does to the standard deviation: leave missing
// values out. Deviations whose squares a double can't hold do the same, and negative weights may.
// Adding a value with which the total weight is 0, as it is after a first value of weight 0, leaves
// mean and standard deviation not finite for good.
//
// The deviation is kept up to date by the method of D. H. D. West, "Updating mean and variance
// estimates: an improved method", Communications of the ACM 22(9), 1979, which loses little when it
// is small against the mean; the mean itself is updated by its formula and takes up a rounding with
// each value.
//
// A statistic that was not selected reads as the system-missing value, which is positive infinity.
//
// Throws nothing but std::bad_alloc, from what allocates: the constructors, CopyPtrFrom and the
// assignment; the object is then as it was before. Copies are deep. Used by one thread at a time.
//
// Field order is part of the binary interface.
class QXUTILS_EXPORT QxStatistics {
 public:
  // `flags` selects, as a sum: 1 the minimum, 2 the maximum, 4 the mean, 8 the standard deviation
  // and the mean. Other bits are ignored.
  explicit QxStatistics(unsigned int flags);

  QxStatistics(const QxStatistics& other);

  // Takes over the selection too.
  QxStatistics& operator=(const QxStatistics& other);

  ~QxStatistics();

  // Replaces the slots by a copy of those of `other`; selection and total weight stay. A step of
  // the copy operations, of little use elsewhere. REQUIRES: `other` has the same selection (not
  // checked).
  void CopyPtrFrom(const QxStatistics& other);

  // Whether the statistic was selected.
  bool HasMinimum() const;
  bool HasMaximum() const;
  bool HasMean() const;
  bool HasStDev() const;

  // Before any value: the greatest finite double, the lowest finite double, 0.
  double GetMinimum() const;
  double GetMaximum() const;
  double GetMean() const;

  // The square root of the weighted sum of squared deviations from the mean divided by (total
  // weight - 1). System-missing, too, unless the total weight is above 1.
  double GetStDev() const;

  // Adds a value. Constant time, no allocation.
  //
  // A value up to 1e-12 above the minimum becomes the minimum; one has to be more than 1e-12 above
  // the maximum to become the maximum; so a minimum may creep up with values that each lie that
  // close above the one before. Both go by the value alone, whatever its weight.
  void AddValue(double value, double weight);

  // The steps of AddValue, which calls them in this order and adds the weight to the total last.
  // REQUIRES: the statistic is selected (not checked).
  void UpdateMinimum(double value);
  void UpdateMaximum(double value);
  void UpdateSumSq(double value, double weight);  // REQUIRES: the mean is not updated yet
  void UpdateMean(double value, double weight);

 private:
  QXUTILS_LOCAL unsigned CountSlots() const;
  QXUTILS_LOCAL double& Slot(unsigned position) const;

  double fTotalWeight = 0.0;
  // Positions in fpValues, from 1 on; 0: not selected. With a sum of squares there is a mean.
  unsigned fMinPos : 4;
  unsigned fMaxPos : 4;
  unsigned fMeanPos : 4;
  unsigned fSumSqPos : 4;
  std::unique_ptr<double[]> fpValues;  // a slot per selected statistic
};

}  // namespace qxg_800

#endif
