// SPDX-FileCopyrightText: The qxutils authors
// SPDX-License-Identifier: Apache-2.0

// How a run starts that leaves nothing behind for good: it removes what killed runs have left, then
// works in a folder of its own. sweep [PARENT]
#include <cstdio>
#include <exception>

#include "examples/workfolder.h"
#include "qxutils/host/environmentsettings.h"

int main(int argc, char** argv) try {
  const char* const parent = argc > 1 ? argv[1] : "/tmp";
  std::printf("folders of killed runs removed: %d\n", examples::SweepDeadFolders(parent));
  examples::WorkFolder folder(parent);
  const Arbex_800::EnvironmentSettings settings(folder.Path());
  // ... The run: view sets made with these settings and destroyed before the folder.
  std::printf("temporary files went to %s\n", settings.GetTempDirectory().c_str());
  folder.Remove();
} catch (const std::exception& error) {
  std::fprintf(stderr, "%s\n", error.what());
  return 1;
}
