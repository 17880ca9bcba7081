// SPDX-FileCopyrightText: The qxutils authors
// SPDX-License-Identifier: Apache-2.0

#include "qxutils/config/qxconfigfile_internal.h"
#include "support.h"

TEST(ConfigFile, HoldsThePairsOfWhatCanBeRead) {
  const TempFolder folder;
  const std::string path = folder / "file", longText(20000, 'x');
  std::ofstream(path) << "b=1\n#\n\na = 2\r\nb=3=\nkey of many words=" << longText << "\nlost";
  const std::string pairs = "#\n\na   2\r\nb 3=\nkey of many words " + longText + "\n";
  const std::pair<std::string, std::string> cases[] = {
      {"/no/such/file", ""}, {"/", ""}, {path, pairs}};
  for (const auto& [name, text] : cases) {
    tree_800::QxConfigFile file(name);
    std::ostringstream printed;
    printed << file;
    EXPECT_EQ(printed.str(), text);
  }
}
