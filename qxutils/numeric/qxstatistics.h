// SPDX-FileCopyrightText: The qxutils authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QXUTILS_NUMERIC_QXSTATISTICS_H
#define QXUTILS_NUMERIC_QXSTATISTICS_H

#include <memory>

#include "qxutils/export.h"

namespace qxg_800 {

/// Minimum, maximum, weighted mean and weighted standard deviation of values that arrive one at a
/// time. The values themselves are not kept.
///
/// Weights count cases: a value of weight 3 is the same as three values of weight 1.
///
/// Neither values nor weights are checked, so leave missing values out:
/// - NaN leaves minimum and maximum alone. It makes mean and standard deviation NaN.
/// - An infinite value makes the standard deviation NaN. Negative weights may do so, too.
/// - Where a double can't hold the square of a deviation, or their weighted sum, the standard
///   deviation is infinite or NaN. So is the mean where a double can't hold the weighted sum.
/// - A total weight of 0 after a value leaves mean and standard deviation not finite for good. A
///   first value of weight 0 is such a case.
///
/// The deviation is updated by the method of D. H. D. West, "Updating mean and variance estimates:
/// an improved method", Communications of the ACM 22(9), 1979. It loses little when the deviation
/// is small against the mean. The mean is updated by its formula, with one rounding error for each
/// value.
///
/// A statistic that was not selected reads as the system-missing value, which is positive infinity.
///
/// The constructors, CopyPtrFrom and the assignment throw std::bad_alloc, and nothing has changed
/// then. Nothing else is thrown. Copies are deep. Used by one thread at a time.
///
/// Field order is part of the binary interface.
class QXUTILS_EXPORT QxStatistics {
 public:
  /// Makes the statistics of no values yet. `flags` selects the statistics as a sum. 1 is the
  /// minimum, 2 the maximum, 4 the mean, 8 the standard deviation and the mean. Other bits are
  /// ignored.
  explicit QxStatistics(unsigned int flags);

  /// Copies selection, values and total weight.
  QxStatistics(const QxStatistics& other);

  /// Replaces selection, values and total weight by those of `other`.
  QxStatistics& operator=(const QxStatistics& other);

  /// Releases the values.
  ~QxStatistics();

  /// Replaces the values of the statistics by those of `other`. Selection and total weight stay.
  /// This is a step of the copy operations and of little use elsewhere.
  ///
  /// REQUIRES: `other` has the same selection (not checked).
  void CopyPtrFrom(const QxStatistics& other);

  /// Whether the minimum was selected.
  bool HasMinimum() const;

  /// Whether the maximum was selected.
  bool HasMaximum() const;

  /// Whether the mean was selected, by itself or with the standard deviation.
  bool HasMean() const;

  /// Whether the standard deviation was selected.
  bool HasStDev() const;

  /// Returns the minimum. Before any value it is the greatest finite double. When not selected, it
  /// is the system-missing value.
  double GetMinimum() const;

  /// Returns the maximum. Before any value it is the lowest finite double. When not selected, it is
  /// the system-missing value.
  double GetMaximum() const;

  /// Returns the weighted mean. Before any value it is 0. When not selected, it is the
  /// system-missing value.
  double GetMean() const;

  /// Returns the square root of S / (W - 1). S is the weighted sum of squared deviations from the
  /// mean, and W the total weight. Returns the system-missing value when not selected, and unless W
  /// is above 1.
  double GetStDev() const;

  /// Adds a value. Constant time, no allocation.
  ///
  /// A value less than 1e-12 above the minimum becomes the minimum. So a minimum may creep up with
  /// values that each lie that close above the one before. A value more than 1e-12 above the
  /// maximum becomes the maximum. The weight does not count for either.
  void AddValue(double value, double weight);

  /// The first step of AddValue: the minimum. AddValue calls its steps in the order given here,
  /// each when its statistic is selected. It adds the weight to the total last.
  ///
  /// REQUIRES: the minimum is selected (not checked).
  void UpdateMinimum(double value);

  /// The second step of AddValue: the maximum.
  ///
  /// REQUIRES: the maximum is selected (not checked).
  void UpdateMaximum(double value);

  /// The third step of AddValue: the standard deviation.
  ///
  /// REQUIRES: the standard deviation is selected, and the mean is not updated yet (not checked).
  void UpdateSumSq(double value, double weight);

  /// The last step of AddValue: the mean.
  ///
  /// REQUIRES: the mean is selected (not checked).
  void UpdateMean(double value, double weight);

 private:
  QXUTILS_LOCAL unsigned CountSlots() const;
  QXUTILS_LOCAL double& Slot(unsigned position) const;

  double fTotalWeight = 0.0;
  // Positions in fpValues, from 1 on. 0: not selected. With a sum of squares there is a mean.
  unsigned fMinPos : 4;
  unsigned fMaxPos : 4;
  unsigned fMeanPos : 4;
  unsigned fSumSqPos : 4;
  std::unique_ptr<double[]> fpValues;  // a slot per selected statistic
};

}  // namespace qxg_800

#endif
