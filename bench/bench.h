// SPDX-FileCopyrightText: The qxutils authors
// SPDX-License-Identifier: Apache-2.0

// What the subjects share. A row is one measurement that several competitors, "ours" among them,
// take on the same data. A benchmark is named row/competitor.
#ifndef QXUTILS_BENCH_BENCH_H
#define QXUTILS_BENCH_BENCH_H

#include <benchmark/benchmark.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace bench {

// Set before anything is registered: only the results matter, not the times.
inline bool isSmoke = false;

// `count`, or a small part of it where only the results matter.
inline long Scaled(long count) { return isSmoke ? count / 100 + 1 : count; }

// Ends the process with a message.
[[noreturn, gnu::cold]] void Fail(std::string_view what);

// Ends the process when a result is wrong.
inline void Check(bool holds, std::string_view what) {
  if (!holds) Fail(what);
}

// Fails unless all competitors of the row have the same result. An empty one is not compared.
void Agree(const std::string& row, const std::string& peer, const std::string& result);

// A folder of this process's own, in TMPDIR.
const std::string& Folder();

// Whether the process may have `count` files more open at once.
bool HasDescriptors(long count);

// Enough digits to tell any two doubles apart, unless fewer are asked for.
std::string Text(double value, int digits = 17);

// Pseudo-random numbers of SplitMix64, the same in every run.
class Random {
 public:
  std::uint64_t Bits();
  double Uniform() { return static_cast<double>(Bits() >> 11) * 0x1p-53; }  // 0 to below 1
  std::size_t Below(std::size_t limit) { return Bits() % limit; }

 private:
  std::uint64_t fState = 0;
};

template <class T>
void Shuffle(std::vector<T>& values) {
  Random random;
  for (std::size_t i = values.size(); i > 1; --i) std::swap(values[i - 1], values[random.Below(i)]);
}

// Makes the heap join its free blocks. Otherwise the next competitor would find them scattered.
void JoinFreeMemory();

// Measures `work`, which does `items` items, as often as it takes. `result` is called once and
// returns what has to be the same for all competitors of the row.
template <class Work, class Result>
void Add(const std::string& row, const std::string& peer, long items, Work work, Result result) {
  const auto run = [=, isNew = true](benchmark::State& state) mutable {
    if (std::exchange(isNew, false)) Agree(row, peer, result());
    JoinFreeMemory();
    for (auto _ : state) work();
    state.SetItemsProcessed(state.iterations() * items);
  };
  benchmark::RegisterBenchmark((row + '/' + peer).c_str(), run)->MeasureProcessCPUTime();
}

// The same for work that returns its result as a double.
template <class Work>
void Add(const std::string& row, const std::string& peer, long items, Work work) {
  const auto timed = [=] { benchmark::DoNotOptimize(work()); };
  Add(row, peer, items, timed, [=] { return Text(work()); });
}

// Measures `work` on a new object of `make` once a repetition. `look` checks what it did.
template <class Make, class Work, class Look>
void AddOnce(const std::string& row, const std::string& peer, long items, int repetitions,
             Make make, Work work, Look look) {
  const auto run = [=](benchmark::State& state) {
    JoinFreeMemory();
    const auto object = make();
    for (auto _ : state) work(*object);
    state.SetItemsProcessed(items);
    look(*object);
  };
  benchmark::RegisterBenchmark((row + '/' + peer).c_str(), run)
      ->MeasureProcessCPUTime()
      ->Iterations(1)
      ->Repetitions(isSmoke ? 1 : repetitions);
}

}  // namespace bench

#endif
