// SPDX-FileCopyrightText: The qxutils authors
// SPDX-License-Identifier: Apache-2.0

// Each subject registers its rows.
#ifndef QXUTILS_BENCH_SUBJECTS_H
#define QXUTILS_BENCH_SUBJECTS_H

namespace bench {

void AddStore();
void AddViews();
void AddGrowth();
void AddReading();
void AddDistinct();
void AddStatistics();
void AddRandom();
void AddNumbers();
void AddDates();
void AddUtf8();

// What is measured in a process that has a second thread. Only there does stdio take its locks.
void AddReadingThreaded();

// Writes one set of `views` views and prints a line of numbers:
// - the views, nanoseconds a written item, seconds of the last close, items of a buffer
// - reads and bytes read by the last close, bytes of memory at the peak
// A budget of 0 bytes stands for the usual one.
void PrintGrowth(int views, long budget);

}  // namespace bench

#endif
