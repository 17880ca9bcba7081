// qxtree: grows a classification tree on a CSV file that may be larger than memory.
#include <fmt/format.h>
#include <sys/resource.h>

#include <cerrno>
#include <clocale>
#include <cstdio>
#include <filesystem>
#include <new>

#include "qxtree/qxtree.h"
#include "qxutils/text/mbtoutf8_unix.h"

namespace qxtree {
namespace {

constexpr int kFailure = 1;
constexpr int kWrongUse = 2;

void Write(const std::string& text, std::FILE* stream, const std::string& name) {
  if (std::fputs(text.c_str(), stream) < 0 || std::fflush(stream) != 0)
    throw fmt::system_error(errno, "cannot write to {}", name);
}

std::string Effort(const Dataset& data) {
  std::uintmax_t bytes = 0;
  for (const ViewFile& view : data.views) bytes += std::filesystem::file_size(view->GetFileName());
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  return fmt::format("peak memory {} KiB, temporary bytes {}, open temporary files {}\n",
                     usage.ru_maxrss, bytes, data.folder.MostOpenFiles());
}

// Nothing is printed before the temporary files are gone: a reader of the output that leaves early
// ends the program on the spot (SIGPIPE).
void Run(const Options& options) {
  WorkFolder folder(options.temp);
  Dataset data = ReadDataset(options, folder);
  const Tree tree = GrowTree(data, options);
  const std::string effort = Effort(data);
  data.views.clear();
  folder.Remove();
  Results results = Report(tree, data);
  xmlu_800::UTF8ToMb(results.report, results.report);
  Poll();
  Write(results.report, stdout, "standard output");
  Write(effort, stderr, "standard error");
  if (options.dot.empty()) return;
  const File file(std::fopen(options.dot.c_str(), "we"), std::fclose);
  if (!file) throw fmt::system_error(errno, "cannot open '{}'", options.dot);
  Write(results.dot, file.get(), options.dot);
}

int Complain(const char* what, int status) {
  std::fprintf(stderr, "qxtree: %s\n", OneLine(what).c_str());
  return status;
}

// Gives the exit status.
int Main(int argc, char** argv) try {
  const Options options = ParseOptions(argc, argv);
  std::setlocale(LC_ALL, "");  // not before: the settings' numbers have a full stop
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
}  // namespace qxtree

int main(int argc, char** argv) {
  qxtree::CatchSignals();
  const int status = qxtree::Main(argc, argv);
  qxtree::EndBySignal();
  return status;
}
