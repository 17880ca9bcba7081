// SPDX-FileCopyrightText: The qxutils authors
// SPDX-License-Identifier: Apache-2.0

// How many items the buffers of a view set hold: budget BYTES ITEM-SIZE...
#include <cstdio>
#include <exception>
#include <string>
#include <vector>

#include "examples/workfolder.h"
#include "qxutils/viewset/qxviewbuffer.h"
#include "qxutils/viewset/qxviewsetmanager.h"

int main(int argc, char** argv) try {
  const std::vector<std::string> arguments(argv + 1, argv + argc);
  const long budget = std::stol(arguments.at(0));
  std::vector<qxg_800::ViewInfo> views;
  for (std::size_t i = 1; i < arguments.size(); ++i) views.push_back({std::stoi(arguments[i]), 0});
  const examples::WorkFolder folder("/tmp");
  const Arbex_800::EnvironmentSettings settings(folder.Path());
  qxg_800::QxViewSetManager manager(budget, views, settings);
  long total = 0;
  for (std::size_t view = 0; view < views.size(); ++view) {
    const int itemSize = views[view].itemSize;
    const auto* buffer = manager.GetViewBuffer(static_cast<int>(view), itemSize);
    const long items = buffer ? buffer->GetCapacity() : 0;
    total += items * itemSize;
    std::printf("view %zu: %ld items of %d bytes\n", view, items, itemSize);
  }
  std::printf("all buffers: %ld bytes\n", total);
} catch (const std::exception& error) {
  std::fprintf(stderr, "%s: budget BYTES ITEM-SIZE...\n", error.what());
  return 1;
}
