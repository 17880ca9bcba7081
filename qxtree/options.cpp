#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "qxtree/qxtree.h"
#include "qxutils/config/qxconfigfile.h"

namespace qxtree {
namespace {

constexpr char kFooter[] =
    R"(A configuration file has lines KEY=VALUE, keys named like the flags (but help and config).
A flag overrides a key. Blanks count, nothing is a comment, and a key that is unknown or
has no value goes unnoticed.
A column holds numbers, dates (YYYY-MM-DD, also followed by a blank or T and HH:MM:SS) or
texts, as its first cell does that is not empty; the target holds texts. Texts are in the
locale's code set. Missing (empty) and malformed cells go to the heavier side of a split.
Exit status: 0 success, 1 a failure while running, 2 wrong use.)";

// NaN passes.
template <class Number>
CLI::Validator Within(Number low, Number high) {
  return CLI::Range(low, high).description("");
}

void AddTexts(CLI::App& app, Options& options) {
  const auto add = [&](const char* flag, auto& value, const char* type, const char* help) {
    return app.add_option(flag, value, help)->type_name(type);
  };
  add("--input", options.input, "FILE", "CSV with a header line")->default_val(QXTREE_SAMPLE);
  add("--target", options.target, "COLUMN", "The classes")->default_val("weather");
  add("--weight", options.weight, "COLUMN", "How many cases a record stands for; else one");
  const char* folder = std::getenv("TMPDIR");
  add("--temp", options.temp, "FOLDER",
      "For temporary files, all gone at the end: 8 bytes a cell, and\n"
      "for a moment twice that (TMPDIR, else /tmp)")
      ->default_val(folder && *folder != '\0' ? folder : "/tmp");
  add("--dot", options.dot, "FILE", "Write the tree for Graphviz");
  add("--memory", options.memory, "SIZE",
      "Bytes for buffers of all columns (K, M, G: powers of 1024);\n"
      "room for 10 records is always made")
      ->transform(CLI::AsSizeValue(false).description(""))
      ->check(Within(0L, 9000000000000000000))
      ->default_val("1M");
}

void AddNumbers(CLI::App& app, Options& options) {
  const auto add = [&](const char* flag, auto& value, double standard, const CLI::Validator& range,
                       const char* help) {
    app.add_option(flag, value, help)->type_name("N")->check(range)->default_val(standard);
  };
  add("--depth", options.depth, 5, Within(0, 1000), "Most splits above a leaf, up to 1000");
  add("--min-cases", options.minCases, 10, Within(0.0, 1e15), "Least training cases in a leaf");
  add("--bins", options.bins, 32, Within(2, 1000000000), "Most bins of a column of numbers");
  add("--distinct", options.distinct, 100000, Within(2, 1000000000),
      "Most distinct values held for a column: beyond it neighbouring\n"
      "numbers are merged, one category more is an error");
  add("--holdout", options.holdout, 0.3, Within(0.0, 1.0), "Share of the cases held out, below 1");
  add("--seed", options.seed, 1, Within(1, 2147483398), "For drawing them, to 2147483398");
}

void TakeKeys(CLI::App& app, const std::string& path) {
  // The reader would give no keys, and no error.
  if (path.empty()) throw UsageError("--config: the name of the file is empty");
  if (std::filesystem::is_directory(path) || !std::ifstream(path))
    throw std::runtime_error(fmt::format("cannot read '{}'", path));
  tree_800::QxConfigFile file(path);
  for (CLI::Option* option : app.get_options()) {
    const std::string& key = option->get_lnames().front();
    const std::string value = file.Read(key);
    if (option->count() > 0 || option == app.get_help_ptr() || value.empty()) continue;
    try {
      if (value.back() == '\r') throw CLI::ValidationError("the value ends in a carriage return");
      option->add_result(value)->run_callback();
    } catch (const CLI::Error& error) {
      throw UsageError(fmt::format("'{}', key {}: {}", path, key, error.what()));
    }
  }
}

}  // namespace

Options ParseOptions(int argc, const char* const* argv) {
  Options options;
  std::string config;
  CLI::App app("Grows a classification tree on a CSV file that may be larger than memory.");
  app.name("qxtree")->footer(kFooter);
  app.add_option("--config", config, "Take settings from a configuration file")->type_name("FILE");
  AddTexts(app, options);
  AddNumbers(app, options);
  try {
    app.parse(argc, argv);
  } catch (const CLI::CallForHelp&) {
    options.help = app.help();
    return options;
  } catch (const CLI::ParseError& error) {
    throw UsageError(fmt::format("{} (--help shows the flags)", error.what()));
  }
  if (app.count("--config") > 0) TakeKeys(app, config);
  if (!(options.minCases > 0)) throw UsageError("min-cases: not above 0");
  if (!(options.holdout < 1)) throw UsageError("holdout: not below 1");
  return options;
}

}  // namespace qxtree
