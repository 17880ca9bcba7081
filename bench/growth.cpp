// SPDX-FileCopyrightText: The qxutils authors
// SPDX-License-Identifier: Apache-2.0

// How a view set's cost grows with the number of its views.
#include <array>
#include <cstdio>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <functional>

#include "bench.h"
#include "subjects.h"
#include "views.h"

namespace bench {
namespace {

constexpr long kBytes = 64'000'000;
constexpr long kBytesOfBudget = 256'000'000;  // where the budget is what varies
constexpr long kBytesOfView = 1024;           // what a view may cost beside its buffer
constexpr int kManyViews = 100'000;

long PerView(int views) { return Scaled(kBytes / kItemBytes / views); }

void AddItem(const std::string& peer, int views) {
  const long perView = PerView(views);
  const auto finish = [=](ViewSet& set) {
    set.CloseAllButLast();
    set.CloseLast();
    CheckItems(set, views, perView);
  };
  AddOnce(
      "growth/item", peer, perView * views, 3, [=] { return std::make_unique<ViewSet>(views); },
      [=](ViewSet& set) { Fill(set, views, perView); }, finish);
}

// The line that PrintGrowth prints in a process of its own, where nothing else has raised the peak.
std::string GrowthLine(int views) {
  const std::string self = std::filesystem::read_symlink("/proc/self/exe");
  const std::string command = '\'' + self + "' --growth " + std::to_string(views);
  std::array<char, 200> line{};
  std::FILE* const pipe = popen(command.c_str(), "r");
  Check(pipe && std::fgets(line.data(), line.size(), pipe) && pclose(pipe) == 0, "no growth");
  return line.data();
}

void AddBytes(const std::string& peer, std::function<long()> bytes) {
  const auto run = [=](benchmark::State& state) {
    for (auto _ : state) state.counters["bytes"] = static_cast<double>(bytes());
  };
  benchmark::RegisterBenchmark(("growth/memory/" + peer).c_str(), run)
      ->MeasureProcessCPUTime()
      ->Iterations(1)
      ->Repetitions(1);
}

// The number after `name` in a file of /proc/self.
long OfProcess(const std::string& file, const std::string& name) {
  std::ifstream text("/proc/self/" + file);
  std::string word;
  while (text >> word && word != name) continue;
  long number = 0;
  Check(static_cast<bool>(text >> number), "no " + name);
  return number;
}

// Not that of getrusage, which counts the peak of the process that started this one too.
long PeakBytes() { return 1024 * OfProcess("status", "VmHWM:"); }

double Seconds() {
  timespec time{};
  Check(clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time) == 0, "no clock");
  return static_cast<double>(time.tv_sec) + 1e-9 * static_cast<double>(time.tv_nsec);
}

}  // namespace

void AddGrowth() {
  AddItem("ours", 10'000);
  AddItem("10-views", 10);
  const auto peak = [] {
    const std::string line = GrowthLine(kManyViews);
    return std::stol(line.substr(line.find_last_of(' ')));
  };
  AddBytes("ours", peak);
  AddBytes("allowed", [] { return kBudget + kBytesOfView * kManyViews; });
}

void PrintGrowth(int views, long budget) {
  const long perView = (budget > 0 ? kBytesOfBudget : kBytes) / kItemBytes / views;
  const long before = PeakBytes();
  const double start = Seconds();
  auto set = std::make_unique<ViewSet>(views, budget > 0 ? budget : kBudget);
  const long capacity = set->Buffer(0).GetCapacity();
  Fill(*set, views, perView);
  set->CloseAllButLast();
  const double written = Seconds();
  const long calls = OfProcess("io", "syscr:"), bytes = OfProcess("io", "rchar:");
  set->CloseLast();
  const double closed = Seconds();
  const auto items = static_cast<double>(perView * views);
  std::printf("%d %.2f %.4f %ld %ld %ld %ld\n", views, 1e9 * (written - start) / items,
              closed - written, capacity, OfProcess("io", "syscr:") - calls,
              OfProcess("io", "rchar:") - bytes, PeakBytes() - before);
}

}  // namespace bench
