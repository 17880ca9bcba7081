// qxtree: grows a classification tree on a CSV file that may be larger than memory.
#include <fmt/format.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <clocale>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <new>

#include "qxtree/qxtree.h"
#include "qxutils/text/mbtoutf8_unix.h"

namespace qxtree {
namespace {

namespace fs = std::filesystem;

constexpr int kFailure = 1;
constexpr int kWrongUse = 2;

volatile std::sig_atomic_t caught = 0;  // the signal; 0: none

extern "C" void Mark(int signal) { caught = signal; }

// From here on SIGINT, SIGTERM and SIGHUP only leave a mark, unless they are ignored, and SIGXFSZ
// is.
void CatchSignals() {
  std::signal(SIGXFSZ, SIG_IGN);
  struct sigaction action {};
  action.sa_handler = Mark;  // without SA_RESTART: a read that waits ends
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
    struct sigaction previous {};
    sigaction(signal, nullptr, &previous);
    if (previous.sa_handler != SIG_IGN) sigaction(signal, &action, nullptr);
  }
}

// Ends the process by the signal that left the mark; returns when there is none.
void EndBySignal() {
  if (caught == 0) return;
  std::signal(caught, SIG_DFL);
  std::raise(caught);
}

void Write(const std::string& text, std::FILE* stream, const std::string& name) {
  if (std::fputs(text.c_str(), stream) < 0 || std::fflush(stream) != 0)
    throw fmt::system_error(errno, "cannot write to {}", name);
}

std::string Effort(const Dataset& data) {
  // The last close copies the views' shared file: for a moment there is everything twice.
  const std::size_t bytes = 2 * data.views.size() * data.rows * sizeof(double);
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  return fmt::format("peak memory {} KiB, temporary bytes {}, open temporary files {}\n",
                     usage.ru_maxrss, bytes, data.folder.MostOpenFiles());
}

// What would fail at the end is found before the work is done; nothing is made yet.
void CheckDot(const Options& options) {
  if (options.dot.empty()) return;
  std::error_code ignored;  // of what is not there
  if (fs::equivalent(options.dot, options.input, ignored))
    throw UsageError("dot: this is the input file");
  const fs::path dot = fs::absolute(options.dot);
  if (access((fs::exists(dot, ignored) ? dot : dot.parent_path()).c_str(), W_OK) != 0)
    throw fmt::system_error(errno, "cannot write to '{}'", options.dot);
}

// Nothing is printed before the temporary files are gone: a reader of the output that leaves early
// ends the program on the spot (SIGPIPE).
void Run(const Options& options) {
  CheckDot(options);
  examples::SweepDeadFolders(options.temp);
  TempFolder folder(options.temp);
  Dataset data = ReadDataset(options, folder);
  const Tree tree = GrowTree(data, options);
  const std::string effort = Effort(data);
  data.views.clear();
  folder.Remove();
  Results results = Report(tree, data);
  xmlu_800::UTF8ToMb(results.report, results.report);
  Poll();
  Show("");
  Write(results.report, stdout, "standard output");
  Write(effort, stderr, "standard error");
  if (options.dot.empty()) return;
  std::ofstream file(options.dot);
  file << results.dot;
  file.close();
  if (!file) throw fmt::system_error(errno, "cannot write to '{}'", options.dot);
}

int Complain(const char* what, int status) {
  Show("");
  std::fprintf(stderr, "qxtree: %s\n", OneLine(what).c_str());
  return status;
}

// Gives the exit status.
int Main(int argc, char** argv) try {
  const Options options = ParseOptions(argc, argv);
  if (!std::setlocale(LC_ALL, ""))  // not before: the settings' numbers have a full stop
    Complain("the locale of the environment is not installed: texts are taken as ASCII", 0);
  if (options.help.empty())
    Run(options);
  else
    Write(options.help, stdout, "standard output");
  return 0;
} catch (const Interrupted&) {
  return kFailure;
} catch (const UsageError& error) {
  return Complain(error.what(), kWrongUse);
} catch (const std::bad_alloc&) {
  return Complain("out of memory", kFailure);
} catch (const std::exception& error) {
  return Complain(error.what(), kFailure);
}

}  // namespace

void Poll() {
  if (caught != 0) throw Interrupted();
}

void Show(const std::string& progress) {
  if (isatty(STDERR_FILENO)) std::fprintf(stderr, "\033[K%s\r", OneLine(progress).c_str());
}

void TempFolder::CountOpenFiles() {
  const std::string start = fSettings.GetTempDirectory() + "/qxf";
  long count = 0;
  std::error_code ignored;  // what can't be counted is no reason to end
  for (fs::directory_iterator at("/proc/self/fd", ignored), end; at != end; at.increment(ignored))
    count += fs::read_symlink(*at, ignored).string().compare(0, start.size(), start) == 0;
  fMostOpenFiles = std::max(fMostOpenFiles, count);
}

}  // namespace qxtree

int main(int argc, char** argv) {
  qxtree::CatchSignals();
  const int status = qxtree::Main(argc, argv);
  qxtree::EndBySignal();
  return status;
}
