// SPDX-FileCopyrightText: The qxutils authors
// SPDX-License-Identifier: Apache-2.0

// Threads that share the settings, each with a view set and random numbers of its own.
#include <cstdio>
#include <exception>
#include <string>
#include <thread>
#include <vector>

#include "examples/viewset.h"
#include "examples/workfolder.h"
#include "qxutils/iterators/binfileiterator.h"
#include "qxutils/numeric/randomizer.h"
#include "qxutils/text/localeutil.h"

namespace {

constexpr int kItemBytes = sizeof(double);

// The mean of 1,000 random numbers that went through a view set, as text.
std::string MeanOfDraws(long seed, const Arbex_800::EnvironmentSettings& settings) {
  qxg_800::Randomizer random(seed, 0, true);
  examples::ViewSet set(1 << 10, {{kItemBytes, 0}}, settings);
  for (int i = 0; i < 1000; ++i) {
    const double draw = random.GetUniformRand();
    set.Write(0, reinterpret_cast<const char*>(&draw), kItemBytes);  // one item always fits
  }
  set.Close(0);
  const examples::ViewFile file = set.TakeFile(0);
  qxg_800::BinFileIterator records(file->GetFileName().c_str(), 1, settings, -1);
  double sum = 0;
  while (records.HasMore() == 0) sum += records.Next()->data[0];
  return qxg_800::Format(sum / 1000, false, "%.3f");  // a full stop under every locale
}

}  // namespace

int main(int argc, char** argv) try {
  examples::WorkFolder folder(argc > 1 ? argv[1] : "/tmp");
  const Arbex_800::EnvironmentSettings settings(folder.Path());  // nobody changes it
  std::vector<std::string> means(4);
  std::vector<std::thread> threads;
  for (std::string& mean : means) {
    const long seed = static_cast<long>(threads.size()) + 1;
    threads.emplace_back([&mean, &settings, seed] {
      try {
        mean = MeanOfDraws(seed, settings);
      } catch (const std::exception& error) {
        mean = error.what();
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  for (const std::string& mean : means) std::puts(mean.c_str());
  folder.Remove();
} catch (const std::exception& error) {
  std::fprintf(stderr, "%s\n", error.what());
  return 1;
}
