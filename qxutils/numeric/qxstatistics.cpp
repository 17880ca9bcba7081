// SPDX-FileCopyrightText: The qxutils authors
// SPDX-License-Identifier: Apache-2.0

#include "qxutils/numeric/qxstatistics.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

#include "qxutils/text/infinityport_internal.h"

namespace qxg_800 {
namespace {

// A constant, so that static initialisers of other libraries can use it.
constexpr double sysMissing = kInfinity;

constexpr unsigned kMinimum = 1;
constexpr unsigned kMaximum = 2;
constexpr unsigned kMean = 4;
constexpr unsigned kStDev = 8;

constexpr unsigned kPositionBits = 0xF;

constexpr double kTolerance = 1e-12;

}  // namespace

static_assert(sizeof(QxStatistics) == 24, "a total weight, four positions and a pointer");

QxStatistics::QxStatistics(unsigned int flags) : fMinPos(0), fMaxPos(0), fMeanPos(0), fSumSqPos(0) {
  unsigned k = 0;
  if (flags & kMinimum) fMinPos = ++k & kPositionBits;
  if (flags & kMaximum) fMaxPos = ++k & kPositionBits;
  if (flags & kStDev) {
    fSumSqPos = ++k & kPositionBits;
    fMeanPos = ++k & kPositionBits;
  }
  if ((flags & kMean) && !HasMean()) fMeanPos = ++k & kPositionBits;
  if (k > 0) fpValues = std::make_unique<double[]>(k);  // all 0.0
  if (HasMinimum()) Slot(fMinPos) = std::numeric_limits<double>::max();
  if (HasMaximum()) Slot(fMaxPos) = std::numeric_limits<double>::lowest();
}

QxStatistics::QxStatistics(const QxStatistics& other)
    : fTotalWeight(other.fTotalWeight),
      fMinPos(other.fMinPos),
      fMaxPos(other.fMaxPos),
      fMeanPos(other.fMeanPos),
      fSumSqPos(other.fSumSqPos) {
  CopyPtrFrom(other);
}

QxStatistics& QxStatistics::operator=(const QxStatistics& other) {
  if (this == &other) return *this;
  QxStatistics copy(other);  // the allocation comes before any change
  fTotalWeight = copy.fTotalWeight;
  fMinPos = copy.fMinPos;
  fMaxPos = copy.fMaxPos;
  fMeanPos = copy.fMeanPos;
  fSumSqPos = copy.fSumSqPos;
  fpValues = std::move(copy.fpValues);
  return *this;
}

QxStatistics::~QxStatistics() = default;

void QxStatistics::CopyPtrFrom(const QxStatistics& other) {
  const unsigned count = CountSlots();
  auto values = std::make_unique<double[]>(count);
  std::copy_n(other.fpValues.get(), count, values.get());
  fpValues = std::move(values);
}

bool QxStatistics::HasMinimum() const { return fMinPos != 0; }

bool QxStatistics::HasMaximum() const { return fMaxPos != 0; }

bool QxStatistics::HasMean() const { return fMeanPos != 0; }

bool QxStatistics::HasStDev() const { return fSumSqPos != 0; }

double QxStatistics::GetMinimum() const { return HasMinimum() ? Slot(fMinPos) : sysMissing; }

double QxStatistics::GetMaximum() const { return HasMaximum() ? Slot(fMaxPos) : sysMissing; }

double QxStatistics::GetMean() const { return HasMean() ? Slot(fMeanPos) : sysMissing; }

double QxStatistics::GetStDev() const {
  if (!HasStDev() || !(fTotalWeight > 1.0)) return sysMissing;
  return std::sqrt(fTotalWeight * Slot(fSumSqPos) / (fTotalWeight - 1.0));
}

void QxStatistics::AddValue(double value, double weight) {
  if (HasMinimum()) UpdateMinimum(value);
  if (HasMaximum()) UpdateMaximum(value);
  if (HasStDev()) UpdateSumSq(value, weight);
  if (HasMean()) UpdateMean(value, weight);
  fTotalWeight += weight;
}

void QxStatistics::UpdateMinimum(double value) {
  double& minimum = Slot(fMinPos);
  if (value < minimum + kTolerance) minimum = value;
}

void QxStatistics::UpdateMaximum(double value) {
  double& maximum = Slot(fMaxPos);
  if (value > maximum + kTolerance) maximum = value;
}

// West's update, here of the mean of the squared deviations in place of their sum. The slot moves
// towards the new square by the weight's share of the total. So the rounding errors are small
// against the slot.
//
// The old weight's share is multiplied before the second deviation. It is 0 for the first value,
// whose square may be too large for a double.
void QxStatistics::UpdateSumSq(double value, double weight) {
  double& meanSquare = Slot(fSumSqPos);
  const double deviation = value - Slot(fMeanPos);
  const double total = fTotalWeight + weight;
  const double square = deviation * (deviation * (fTotalWeight / total));
  meanSquare += (weight / total) * (square - meanSquare);
}

void QxStatistics::UpdateMean(double value, double weight) {
  double& mean = Slot(fMeanPos);
  mean = (fTotalWeight * mean + value * weight) / (fTotalWeight + weight);
}

unsigned QxStatistics::CountSlots() const {
  return HasMinimum() + HasMaximum() + HasMean() + HasStDev();
}

double& QxStatistics::Slot(unsigned position) const { return fpValues[position - 1]; }

}  // namespace qxg_800
