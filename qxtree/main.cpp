// SPDX-FileCopyrightText: The qxutils authors
// SPDX-License-Identifier: Apache-2.0

// qxtree: grows a decision tree on a CSV file that may be larger than memory, and predicts by it.
#include <fmt/format.h>
#include <langinfo.h>
#include <unistd.h>

#include <cerrno>
#include <clocale>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <new>
#include <ostream>

#include "qxtree/modelfile.h"
#include "qxtree/options.h"
#include "qxtree/predict.h"
#include "qxtree/process.h"
#include "qxtree/report.h"
#include "qxtree/table.h"
#include "qxtree/tree.h"
#include "qxutils/platform/qxutilsexception.h"

namespace qxtree {
namespace {

namespace fs = std::filesystem;

constexpr int kFailure = 1;
constexpr int kWrongUse = 2;
constexpr std::uintmax_t kFull = 1 << 20;  // bytes that are free, at most

int Complain(const std::string& what, int status) {
  ClearProgress();
  std::fprintf(stderr, "qxtree: %s\n", OneLine(what).c_str());
  return status;
}

// What would fail at the end is found before the work is done; nothing is made yet.
void CheckOutput(const char* setting, const std::string& path, const std::string& input) {
  if (path.empty()) return;
  std::error_code ignored;  // of what is not there
  if (fs::equivalent(path, input, ignored))
    throw UsageError(fmt::format("{}: this is the input file", setting));
  const fs::path file = fs::weakly_canonical(fs::absolute(path));
  const fs::file_status status = fs::status(file);
  int error = fs::is_directory(status) ? EISDIR : 0;
  if (fs::exists(status) && access(file.c_str(), W_OK) != 0) error = errno;
  const bool isReplaced = !fs::exists(status) || fs::is_regular_file(status);
  if (isReplaced && access(file.parent_path().c_str(), W_OK) != 0) error = errno;
  if (error != 0) throw fmt::system_error(error, "cannot write to '{}'", path);
}

// Grows a tree and reports it. Nothing is printed before the temporary files are gone: a reader of
// the output that leaves early ends the program.
void Train(const Options& options) {
  CheckOutput("dot", options.dot, options.input);
  CheckOutput("model", options.model, options.input);
  const auto place = [](const fs::path& path) { return fs::weakly_canonical(fs::absolute(path)); };
  if (!options.dot.empty() && !options.model.empty() && place(options.dot) == place(options.model))
    throw UsageError("dot: this is the model");
  TempFolder folder(options.temp);
  std::string report, picture, effort;
  std::vector<std::string> warnings;
  try {
    Table table = ReadTable(options, folder);
    const Growth growth = GrowTree(table, options, folder.Settings());
    folder.Measure();
    report = Report(table, growth);
    picture = Picture(table, growth.model);
    warnings = Warnings(table);
    if (!options.model.empty()) WriteModel(growth.model, options.model);
    effort =
        fmt::format("peak memory {} KiB, temporary bytes {}\n", PeakMemory(), folder.MostBytes());
  } catch (const qxg_800::QxUtilsException& error) {
    std::error_code unknown;
    const bool isFull = fs::space(folder.Settings().GetTempDirectory(), unknown).available < kFull;
    throw std::runtime_error(fmt::format("{}{} (temporary files under '{}')",
                                         isFull && !unknown ? "the disk is full: " : "",
                                         error.what(), options.temp));
  }
  folder.Remove();
  if (!options.dot.empty()) WriteFile(options.dot, [&](std::ostream& file) { file << picture; });
  ClearProgress();
  for (const std::string& warning : warnings) Complain(ToLocale(warning), 0);
  WriteTo(stdout, ToLocale(report));
  WriteTo(stderr, effort);
}

// Not before the options are read: their numbers have a full stop, as all that is written.
void SetLocale() {
  if (!std::setlocale(LC_ALL, ""))
    Complain("the locale of the environment is not installed: texts are taken as UTF-8", 0);
  if (std::strcmp(nl_langinfo(CODESET), "ANSI_X3.4-1968") == 0) std::setlocale(LC_CTYPE, "C.UTF-8");
  std::setlocale(LC_NUMERIC, "C");
}

// Gives the exit status.
int Main(int argc, char** argv) try {
  const Options options = ParseOptions(argc, argv);
  SetLocale();
  if (!options.help.empty())
    WriteTo(stdout, options.help);
  else if (options.isPrediction)
    Predict(options);
  else
    Train(options);
  ClearProgress();
  return 0;
} catch (const Interrupted&) {
  ClearProgress();
  return kFailure;
} catch (const UsageError& error) {
  return Complain(error.what(), kWrongUse);
} catch (const std::bad_alloc&) {
  return Complain("out of memory", kFailure);
} catch (const std::exception& error) {
  return Complain(error.what(), kFailure);
}

}  // namespace
}  // namespace qxtree

int main(int argc, char** argv) {
  qxtree::CatchSignals();
  const int status = qxtree::Main(argc, argv);
  qxtree::EndBySignal();
  return status;
}
