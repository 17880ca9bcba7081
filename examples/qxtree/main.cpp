// qxtree: turns a CSV file into columns on disk, one view of a view set each, and reads them back.
#include <fmt/format.h>

#include <cerrno>
#include <cstdio>
#include <exception>
#include <new>
#include <stdexcept>
#include <string>

#include "qxtree/dataset.h"
#include "qxtree/options.h"
#include "qxtree/report.h"
#include "qxtree/workfolder.h"
#include "qxutils/platform/qxutilsexception.h"

namespace qxtree {
namespace {

constexpr int kFailure = 1;
constexpr int kWrongUse = 2;

std::string Run(const Options& options) try {
  WorkFolder folder(options.temp);
  std::string report = Report(ReadDataset(options.input, options.memory, folder), folder);
  folder.Remove();
  return report;
} catch (const qxg_800::QxUtilsException& error) {
  throw std::runtime_error(
      fmt::format("{} (temporary files under '{}')", error.what(), options.temp));
}

void Print(const std::string& text) {
  if (std::fputs(text.c_str(), stdout) < 0 || std::fflush(stdout) != 0)
    throw fmt::system_error(errno, "cannot write to standard output");
}

int Complain(const char* what, int status) {
  std::fprintf(stderr, "qxtree: %s\n", OneLine(what).c_str());
  return status;
}

}  // namespace
}  // namespace qxtree

// Nothing is printed before the temporary files are gone: a reader of the output that leaves early
// ends the program on the spot (SIGPIPE).
int main(int argc, char** argv) try {
  const qxtree::Options options = qxtree::ParseOptions(argc, argv);
  qxtree::Print(options.help.empty() ? qxtree::Run(options) : options.help);
  return 0;
} catch (const qxtree::UsageError& error) {
  return qxtree::Complain(error.what(), qxtree::kWrongUse);
} catch (const std::bad_alloc&) {
  return qxtree::Complain("out of memory", qxtree::kFailure);
} catch (const std::exception& error) {
  return qxtree::Complain(error.what(), qxtree::kFailure);
}
