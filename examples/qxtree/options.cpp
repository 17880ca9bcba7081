#include "qxtree/options.h"

#include <CLI/CLI.hpp>
#include <filesystem>
#include <limits>

namespace qxtree {

Options ParseOptions(int argc, const char* const* argv) {
  Options options;
  CLI::App app("Turns a CSV file into one temporary file a column and reads each of them back.",
               "qxtree");
  app.add_option("--input", options.input, "CSV file with a header line; empty lines are skipped")
      ->type_name("FILE")
      ->default_val(QXTREE_SAMPLE);
  app.add_option("--memory", options.memory,
                 "Bytes for buffering all columns while they are written (K, M and G are powers of "
                 "1024); room for 10 rows is always made")
      ->type_name("SIZE")
      ->transform(CLI::AsSizeValue(false).description(""))
      ->check(CLI::Range(0L, std::numeric_limits<long>::max()).description(""))
      ->default_val("1M");
  const std::string tempHelp = "Folder for temporary files, which are gone at the end";
  app.add_option("--temp", options.temp, tempHelp + " (default: TMPDIR, else /tmp)")
      ->type_name("FOLDER");
  app.footer("Exit status: 0 success, 1 a failure while running, 2 wrong use of the flags.");
  try {
    app.parse(argc, argv);
  } catch (const CLI::CallForHelp&) {
    options.help = app.help();
    return options;
  } catch (const CLI::ParseError& error) {
    throw UsageError(std::string(error.what()) + " (--help shows the flags)");
  }
  if (app.count("--temp") == 0) options.temp = std::filesystem::temp_directory_path().string();
  return options;
}

}  // namespace qxtree
