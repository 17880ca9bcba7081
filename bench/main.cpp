// SPDX-FileCopyrightText: The qxutils authors
// SPDX-License-Identifier: Apache-2.0

// Runs the benchmarks. Options are those of Google Benchmark, and in front of them:
//   --smoke      small data, where only the results matter
//   --threaded   what is measured in a process with a second thread, in place of the rest
//   --growth N [BUDGET]  prints one line about a view set of N views, and measures nothing else.
//   With a
//                budget in bytes more is written.
#include <malloc.h>
#include <sys/resource.h>
#include <unistd.h>

#include <clocale>
#include <cstdlib>
#include <limits>
#include <string>
#include <thread>

#include "bench.h"
#include "subjects.h"

namespace {

void AddAll() {
  bench::AddStore();
  bench::AddViews();
  bench::AddGrowth();
  bench::AddReading();
  bench::AddDistinct();
  bench::AddStatistics();
  bench::AddRandom();
  bench::AddNumbers();
  bench::AddDates();
  bench::AddUtf8();
}

void AddThreaded() {
  std::thread([] { pause(); }).detach();  // it only has to exist
  bench::AddReadingThreaded();
}

// A stream for each view needs a descriptor for each.
void RaiseDescriptors() {
  rlimit limit{};
  bench::Check(getrlimit(RLIMIT_NOFILE, &limit) == 0, "no limit of descriptors");
  limit.rlim_cur = limit.rlim_max;
  setrlimit(RLIMIT_NOFILE, &limit);
}

}  // namespace

int main(int argc, char** argv) {
  bool isThreaded = false;
  for (; argc > 1; --argc, ++argv) {
    const std::string option = argv[1];
    if (option == "--growth" && argc > 2) {
      bench::PrintGrowth(std::atoi(argv[2]), argc > 3 ? std::atol(argv[3]) : 0);
      return 0;
    }
    if (option == "--smoke") {
      bench::isSmoke = true;
    } else if (option == "--threaded") {
      isThreaded = true;
    } else {
      break;
    }
  }
  bench::Check(std::setlocale(LC_CTYPE, "C.UTF-8") != nullptr, "no UTF-8 locale");
  RaiseDescriptors();
  // The memory that one competitor frees stays with the process for the next one.
  mallopt(M_MMAP_THRESHOLD, 32 << 20);
  mallopt(M_TRIM_THRESHOLD, std::numeric_limits<int>::max());
  isThreaded ? AddThreaded() : AddAll();
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  bench::Check(benchmark::RunSpecifiedBenchmarks() > 0, "nothing was measured");
}
