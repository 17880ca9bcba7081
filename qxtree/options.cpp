// SPDX-FileCopyrightText: The qxutils authors
// SPDX-License-Identifier: Apache-2.0

#include "qxtree/options.h"

#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <limits>

#include "qxtree/names.h"
#include "qxutils/config/qxconfigfile.h"

namespace qxtree {
namespace {

namespace fs = std::filesystem;

constexpr const char* kSample = QXTREE_SAMPLE;
constexpr const char* kSampleTarget = "weather";
constexpr long kMostSeed = std::numeric_limits<long>::max() - 1;  // what is above reads as one more
constexpr char kFooter[] =
    R"(The first line of the CSV file names the columns. A file compressed by gzip or zstd is read
as it is. Texts are in the locale's code set, or in UTF-8 where that is ASCII.
The first 1,000 cells that are not missing decide what a column holds: numbers, or dates
(YYYY-MM-DD, also followed by a blank or T and HH:MM:SS), else texts. Missing are the empty
cells and those of --missing. Where they go, the malformed ones go too: where it helps most.
A configuration file has lines KEY=VALUE, keys named like the flags (but help and config):
classes=true for --classes, one value for a flag that may be repeated. A flag overrides a
key. Blanks count, and nothing is a comment. input, model and dot start at its folder.
Exit status: 0 success, 1 a failure while running, 2 wrong use.)";
constexpr char kPredictFooter[] =
    R"(Writes CSV to standard output: the prediction for each row, and of classes the probability.
Columns are found by their names. Where the target is known, says how good the predictions
are on standard error.)";

bool HasSample() {
  std::error_code ignored;
  return fs::exists(kSample, ignored);
}

// NaN passes.
template <class Number>
CLI::Validator Within(Number low, Number high) {
  return CLI::Range(low, high).description("");
}

template <class Value>
CLI::Option* Add(CLI::App& app, const char* flag, Value& value, const char* type,
                 const char* help) {
  return app.add_option(flag, value, help)->type_name(type);
}

// An option that takes one value each time it is given.
void AddList(CLI::App& app, const char* flag, std::vector<std::string>& values, const char* type,
             const char* help) {
  Add(app, flag, values, type, help)->allow_extra_args(false);
}

void AddDelimiter(CLI::App& app, Options& options) {
  const auto take = [&options](const std::string& text) {
    options.delimiter = text == "tab" ? '\t' : text.empty() ? '\0' : text[0];
    const bool isCharacter = text == "tab" || (text.size() == 1 && text[0] > ' ' && text[0] <= '~');
    if (!isCharacter || text == "\"")
      throw CLI::ValidationError("--delimiter", "not one character of ASCII, or tab");
  };
  app.add_option_function<std::string>("--delimiter", take, "What separates the cells")
      ->type_name("C|tab")
      ->default_str(",");
}

void AddColumns(CLI::App& app, Options& options) {
  Add(app, "--target", options.target, "COLUMN",
      "The column to explain: texts, or numbers. Few distinct whole\n"
      "numbers are classes");
  Add(app, "--weight", options.weight, "COLUMN", "How many cases a record stands for; else one");
  AddList(app, "--text", options.texts, "COLUMN", "This column holds texts (repeatable)");
  AddList(app, "--number", options.numbers, "COLUMN", "This column holds numbers (repeatable)");
  AddList(app, "--ignore", options.ignored, "COLUMN", "Leave this column out (repeatable)");
  AddList(app, "--missing", options.missing, "TEXT",
          "A cell with this text is missing (repeatable, replaces NA,\n"
          "NaN, nan, null and ?)");
}

void AddFiles(CLI::App& app, Options& options) {
  Add(app, "--input", options.input, "FILE",
      "CSV with a header line; - is standard input. A pattern stands\n"
      "for files that are one table, {rank} for the process's rank")
      ->default_str(HasSample() ? kSample : "");
  AddDelimiter(app, options);
  AddColumns(app, options);
  const char* const folder = std::getenv("TMPDIR");
  Add(app, "--temp", options.temp, "FOLDER",
      "For temporary files, all gone at the end (TMPDIR, else /tmp)")
      ->default_val(folder && *folder != '\0' ? folder : "/tmp");
  Add(app, "--memory", options.memory, "SIZE",
      "Bytes for all that grows with the data (K, M, G: powers of\n"
      "1024), at least 16M")
      ->transform(CLI::AsSizeValue(false).description(""))
      ->default_val("256M");
  Add(app, "--dot", options.dot, "FILE", "Write the tree for Graphviz");
  Add(app, "--model", options.model, "FILE", "Write the tree for predictions");
}

void AddNumbers(CLI::App& app, Options& options) {
  const auto add = [&](const char* flag, auto& value, double standard, const CLI::Validator& range,
                       const char* help) {
    Add(app, flag, value, "N", help)->check(range)->default_val(standard);
  };
  add("--depth", options.depth, 5, Within(0, 1000), "Most splits above a leaf, up to 1000");
  add("--bins", options.bins, 255, Within(2, 65534), "Most bins of a column of numbers");
  add("--min-cases", options.minCases, 10, Within(0.0, 1e15),
      "Least training cases in a leaf, and of a text to count");
  add("--min-gain", options.minGain, 0, Within(0.0, 1.0),
      "Least gain of a split, as a share of the root's impurity");
  add("--holdout", options.holdout, 0.3, Within(0.0, 1.0),
      "Share of the records held out, below 1");
  add("--seed", options.seed, 1, Within(0L, kMostSeed), "For drawing them");
}

// As QxConfigFile finds them, one a line.
std::vector<std::string> ReadKeys(const std::string& path) {
  std::ifstream file(path);
  std::vector<std::string> keys;
  for (std::string key, value; std::getline(file, key, '=');) {
    const bool isEnd = file.eof();
    if (isEnd ? key.find_first_not_of("\r\n") != key.npos : key.find('\n') != key.npos)
      throw UsageError(fmt::format("'{}', line {}: not KEY=VALUE", path, keys.size() + 1));
    if (isEnd) break;
    keys.push_back(key);
    std::getline(file, value);
    // The reader gives an empty text for a key that is not there, too.
    if (value.empty())
      throw UsageError(fmt::format("'{}', line {}: key {} has no value", path, keys.size(), key));
  }
  return keys;
}

void TakeKey(CLI::Option& option, const std::string& name, const std::string& path,
             std::string value) {
  const bool isFile = name == "input" || name == "model" || name == "dot";
  if (isFile && value != "-") value = fs::path(path).parent_path() / value;
  try {
    if (value.back() == '\r') throw CLI::ValidationError("the value ends in a carriage return");
    option.add_result(value)->run_callback();
  } catch (const CLI::Error& error) {
    throw UsageError(fmt::format("'{}', key {}: {}", path, name, error.what()));
  }
}

// Flags win over keys, and --classes and --regression over both keys.
void TakeKeys(CLI::App& app, const std::string& path) {
  // The reader would give no keys, and no error.
  if (path.empty()) throw UsageError("--config: the name of the file is empty");
  if (fs::is_directory(path) || !std::ifstream(path))
    throw std::runtime_error(fmt::format("cannot read '{}'", path));
  std::vector<std::string> names;
  for (const CLI::Option* option : app.get_options())
    if (const std::string& name = option->get_lnames().front(); name != "help" && name != "config")
      names.push_back(name);
  const bool hasTask = app.count("--classes") + app.count("--regression") > 0;
  const std::vector<std::string> keys = ReadKeys(path);
  for (auto key = keys.begin(); key != keys.end(); ++key) {
    const auto line = key - keys.begin() + 1;
    if (!Has(names, *key))
      throw UsageError(fmt::format("'{}', line {}: unknown key '{}'; the nearest is '{}'", path,
                                   line, *key, Nearest(*key, names)));
    if (std::find(keys.begin(), key, *key) != key)
      throw UsageError(fmt::format("'{}', line {}: key {} again", path, line, *key));
  }
  tree_800::QxConfigFile file(path);
  for (const std::string& name : names) {
    CLI::Option& option = *app.get_option("--" + name);
    const std::string value = file.Read(name);
    const bool isTask = name == "classes" || name == "regression";
    if (option.count() == 0 && !value.empty() && !(isTask && hasTask))
      TakeKey(option, name, path, value);
  }
}

void Check(Options& options) {
  if (options.input.empty() && HasSample()) {
    options.input = kSample;
    if (options.target.empty()) options.target = kSampleTarget;
  }
  if (options.input.empty()) throw UsageError("input: name the file (--help shows the flags)");
  if (options.target.empty()) throw UsageError("target: name the column to explain");
  if (options.memory < (16L << 20)) throw UsageError("memory: less than 16M");
  if (!(options.minCases > 0)) throw UsageError("min-cases: not above 0");
  if (!(options.minGain >= 0)) throw UsageError("min-gain: not a number");
  if (!(options.holdout < 1)) throw UsageError("holdout: not below 1");
  if (options.weight == options.target) throw UsageError("weight: this column is the target");
  for (const std::string& name : options.texts)
    if (Has(options.numbers, name) || name == options.weight)
      throw UsageError(fmt::format("text: column '{}' has to hold numbers", name));
  for (const std::string& name : options.ignored)
    if (name == options.target || name == options.weight)
      throw UsageError(fmt::format("ignore: column '{}' is the target or the weight", name));
}

}  // namespace

Options ParseOptions(int argc, const char* const* argv) {
  Options options;
  std::string config;
  bool isClasses = false, isRegression = false;
  CLI::App app("Grows a decision tree on a CSV file that may be larger than memory.");
  app.name("qxtree")->footer(kFooter);
  Add(app, "--config", config, "FILE", "Take settings from a configuration file");
  AddFiles(app, options);
  app.add_flag("--classes", isClasses, "The target is classes, even if it holds numbers");
  app.add_flag("--regression", isRegression, "The target is a number");
  app.add_flag("--progress", options.showsProgress,
               "Show progress, even where that is no terminal");
  AddNumbers(app, options);
  CLI::App& predict = *app.add_subcommand("predict", "Predict the rows of a CSV file by a model");
  Add(predict, "--model", options.model, "FILE", "As --model has written it")->required();
  Add(predict, "--input", options.input, "FILE", "CSV with a header line; - is standard input")
      ->required();
  AddDelimiter(predict, options);
  predict.footer(kPredictFooter);
  try {
    app.parse(argc, argv);
  } catch (const CLI::CallForHelp&) {
    options.help = app.help();
    return options;
  } catch (const CLI::ParseError& error) {
    throw UsageError(fmt::format("{} (--help shows the flags)", error.what()));
  }
  options.isPrediction = predict.parsed();
  if (options.isPrediction) {
    for (const CLI::Option* option : app.get_options())
      if (option->count() > 0)
        throw UsageError(fmt::format("predict: {} stands before it, its own flags come after it",
                                     option->get_name()));
    return options;
  }
  if (app.count("--config") > 0) TakeKeys(app, config);
  if (isClasses && isRegression) throw UsageError("classes, regression: not both");
  if (isClasses) options.task = Options::Task::Classes;
  if (isRegression) options.task = Options::Task::Regression;
  Check(options);
  return options;
}

}  // namespace qxtree
