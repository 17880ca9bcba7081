// SPDX-FileCopyrightText: The qxutils authors
// SPDX-License-Identifier: Apache-2.0

// Loads the library into a process that does not have it yet. This is a program of its own, since
// the other benchmarks are linked with the library.
#include <benchmark/benchmark.h>
#include <dlfcn.h>

#include <cstdio>
#include <cstdlib>

namespace {

void Load(benchmark::State& state, const char* file) {
  for (auto _ : state) {
    void* const library = dlopen(file, RTLD_NOW | RTLD_LOCAL);
    state.PauseTiming();
    // If it stayed loaded, the next round would not load it.
    if (!library || dlclose(library) != 0 || dlopen(file, RTLD_NOW | RTLD_NOLOAD)) {
      std::fprintf(stderr, "wrong: %s is not loaded and unloaded\n", file);
      std::exit(1);
    }
    state.ResumeTiming();
  }
  state.SetItemsProcessed(state.iterations());
}

}  // namespace

int main(int argc, char** argv) {
  for (const auto& [peer, file] : {std::pair{"loading/dlopen/ours", QXUTILS_LIBRARY},
                                   std::pair{"loading/dlopen/empty", QXUTILS_EMPTY_LIBRARY}}) {
    benchmark::RegisterBenchmark(peer, Load, file)->MeasureProcessCPUTime();
  }
  benchmark::Initialize(&argc, argv);
  return benchmark::RunSpecifiedBenchmarks() == 2 ? 0 : 1;
}
