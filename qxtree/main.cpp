// SPDX-FileCopyrightText: The qxutils authors
// SPDX-License-Identifier: Apache-2.0

// qxtree: grows a decision tree on a CSV file that may be larger than memory, and predicts by it.
#include <fmt/format.h>
#include <langinfo.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <clocale>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <functional>
#include <memory>
#include <new>
#include <numeric>
#include <ostream>

#include "qxtree/modelfile.h"
#include "qxtree/options.h"
#include "qxtree/parts.h"
#include "qxtree/peers.h"
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

// What would fail at the end is found before the work is done; nothing is made yet.
void CheckOutput(const char* setting, const std::string& path,
                 const std::vector<std::string>& inputs) {
  if (path.empty()) return;
  std::error_code ignored;  // of what is not there
  for (const std::string& input : inputs)
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

// What the run took. Of several processes: the most of one, but the temporary bytes of all.
std::string Effort(const TempFolder& folder, Peers& peers) {
  const Peers::Traffic sent = peers.Sent();
  const auto most = [](const auto& values) {
    return *std::max_element(values.begin(), values.end());
  };
  const std::vector<std::size_t> bytes = peers.GatherEach(folder.MostBytes());
  const std::string text =
      fmt::format("peak memory {} KiB, temporary bytes {}", most(peers.GatherEach(PeakMemory())),
                  std::accumulate(bytes.begin(), bytes.end(), std::size_t{0}));
  if (peers.Count() == 1) return text + '\n';
  return text + fmt::format(", sent bytes of histograms {}, others {}\n",
                            most(peers.GatherEach(sent.histograms)),
                            most(peers.GatherEach(sent.other)));
}

// Grows a tree and reports it. Nothing is printed before the temporary files are gone: a reader of
// the output that leaves early ends the program.
void Train(const Options& options, Peers& peers) {
  if (peers.Rank() == 0) {
    const std::vector<std::string> inputs = ListFiles(options.input, peers.Count());
    CheckOutput("dot", options.dot, inputs);
    CheckOutput("model", options.model, inputs);
  }
  const auto place = [](const fs::path& path) { return fs::weakly_canonical(fs::absolute(path)); };
  if (!options.dot.empty() && !options.model.empty() && place(options.dot) == place(options.model))
    throw UsageError("dot: this is the model");
  TempFolder folder(options.temp);
  std::string report, picture, effort;
  std::vector<std::string> warnings;
  try {
    Table table = ReadTable(options, folder, peers);
    const Growth growth = GrowTree(table, options, peers, folder.Settings());
    folder.Measure();
    report = Report(table, growth);
    picture = Picture(table, growth.model);
    warnings = Warnings(table);
    if (!options.model.empty() && peers.Rank() == 0) WriteModel(growth.model, options.model);
    effort = Effort(folder, peers);
  } catch (const qxg_800::QxUtilsException& error) {
    std::error_code unknown;
    const bool isFull = fs::space(folder.Settings().GetTempDirectory(), unknown).available < kFull;
    throw std::runtime_error(fmt::format("{}{} (temporary files under '{}')",
                                         isFull && !unknown ? "the disk is full: " : "",
                                         error.what(), options.temp));
  }
  folder.Remove();
  if (peers.Rank() > 0) return;
  if (!options.dot.empty()) WriteFile(options.dot, [&](std::ostream& file) { file << picture; });
  ClearProgress();
  for (const std::string& warning : warnings) Complain(ToLocale(warning));
  WriteTo(stdout, ToLocale(report));
  WriteTo(stderr, effort);
}

// Not before the options are read: their numbers have a full stop, as all that is written.
void SetLocale(const Peers& peers) {
  if (!std::setlocale(LC_ALL, "") && peers.Rank() == 0)
    Complain("the locale of the environment is not installed: texts are taken as UTF-8");
  if (std::strcmp(nl_langinfo(CODESET), "ANSI_X3.4-1968") == 0) std::setlocale(LC_CTYPE, "C.UTF-8");
  std::setlocale(LC_NUMERIC, "C");
}

// Else the processes would make different calls, and wait for each other forever.
void CheckSettings(const Options& options, Peers& peers) {
  const std::size_t own = std::hash<std::string>()(Pack(options));
  for (const std::size_t other : peers.GatherEach(own))
    if (other != own) throw UsageError("the processes have different settings");
}

void Run(const Options& options, Peers& peers) {
  CheckSettings(options, peers);
  if (options.showsProgress) SetProgressShown(true);
  if (!options.help.empty()) {
    if (peers.Rank() == 0) WriteTo(stdout, options.help);
  } else if (!options.isPrediction) {
    Train(options, peers);
  } else if (peers.Count() == 1) {
    Predict(options);
  } else {
    throw UsageError("predict: it runs in one process");
  }
  peers.Leave();
}

// Gives the exit status.
int Main(int argc, char** argv) {
  const std::unique_ptr<Peers> peers = MeetPeers();
  SetWatcher(peers.get());
  std::string failure;
  int status = kFailure;
  try {
    const Options options = ParseOptions(argc, argv);
    SetLocale(*peers);
    Run(options, *peers);
    ClearProgress();
    return 0;
  } catch (const Interrupted&) {
    ClearProgress();
    peers->Linger();
    return status;
  } catch (const PeerFailed& other) {
    peers->Fail(other.text, true);
    return status;
  } catch (const UsageError& error) {
    failure = error.what();
    status = kWrongUse;
  } catch (const std::bad_alloc&) {
    failure = "out of memory";
  } catch (const std::exception& error) {
    failure = error.what();
  }
  peers->Fail(peers->Name() + failure, false);
  return status;
}

}  // namespace
}  // namespace qxtree

int main(int argc, char** argv) {
  qxtree::CatchSignals();
  const int status = qxtree::Main(argc, argv);
  qxtree::EndBySignal();
  return status;
}
