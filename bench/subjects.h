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

// Writes one set of `views` views and prints a line of four numbers. They are the views,
// nanoseconds a written item, seconds of the last close, and bytes of memory at the peak.
void PrintGrowth(int views);

}  // namespace bench

#endif
