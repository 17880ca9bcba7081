// SPDX-FileCopyrightText: The qxutils authors
// SPDX-License-Identifier: Apache-2.0

#include "qxtree/process.h"

#include <fmt/format.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <memory>
#include <ostream>
#include <streambuf>
#include <system_error>
#include <utility>

namespace qxtree {
namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

constexpr double kShowSeconds = 0.2;  // from one progress to the next
constexpr double kLeastTold = 1;      // seconds that it takes to tell the time left

volatile std::sig_atomic_t caught = 0;  // the signal; 0: none

extern "C" void Mark(int signal) { caught = signal; }

extern "C" void MarkEndOfJob(int /*signal*/, siginfo_t* info, void* /*context*/) {
  if (info->si_pid == getppid()) caught = SIGTERM;
}

// A signal that is ignored stays so, and so does one that a sanitizer handles.
void Catch(int signal, int flags = 0) {
  struct sigaction action {};
  if (sigaction(signal, nullptr, &action) != 0 || action.sa_handler != SIG_DFL) return;
  action = {};
  action.sa_handler = Mark;  // without SA_RESTART: a read that waits ends
  action.sa_flags = flags;
  sigaction(signal, &action, nullptr);
}

double SecondsSince(Clock::time_point start) {
  return std::chrono::duration<double>(Clock::now() - start).count();
}

std::string Duration(double seconds) {
  const auto whole = static_cast<long>(seconds) + 1;
  return whole < 60     ? fmt::format("{} s", whole)
         : whole < 3600 ? fmt::format("{}:{:02} min", whole / 60, whole % 60)
                        : fmt::format("{}:{:02} h", whole / 3600, whole / 60 % 60);
}

struct {
  bool isShown = isatty(STDERR_FILENO) == 1;
  std::string task;  // empty: none yet
  bool isDrawn = false;
  int number = 0;  // of the task
  Clock::time_point start, last;
} progress;

Watcher* watcher = nullptr;

using Writer = std::function<void(std::ostream&)>;
using File = std::unique_ptr<std::FILE, int (*)(std::FILE*)>;

// Of an open file: a stream of the standard library can't refuse one that exists.
class FileBuffer : public std::streambuf {
 public:
  explicit FileBuffer(std::FILE* file) : fFile(file) {}

 private:
  int_type overflow(int_type byte) override { return std::fputc(byte, fFile); }
  std::streamsize xsputn(const char* text, std::streamsize bytes) override {
    return static_cast<std::streamsize>(
        std::fwrite(text, 1, static_cast<std::size_t>(bytes), fFile));
  }

  std::FILE* const fFile;
};

// Throws std::system_error.
File Open(const std::string& path, const char* mode) {
  File file(std::fopen(path.c_str(), mode), std::fclose);
  if (!file) throw std::system_error(errno, std::generic_category());
  return file;
}

// Throws std::system_error.
void Write(File file, const Writer& write) {
  FileBuffer buffer(file.get());
  std::ostream stream(&buffer);
  write(stream);
  if (!stream || std::fclose(file.release()) != 0)
    throw std::system_error(errno, std::generic_category());
}

// A new file, never another's. Removes it at the end unless it has got another name.
struct Part {
  const std::string path;
  File file = Open(path, "wxe");
  ~Part() { std::remove(path.c_str()); }
};

}  // namespace

void CatchSignals() {
  std::signal(SIGXFSZ, SIG_IGN);  // the write fails then
  for (const int signal : {SIGHUP, SIGINT, SIGQUIT, SIGPIPE, SIGALRM, SIGTERM, SIGUSR1, SIGUSR2,
                           SIGPOLL, SIGPROF, SIGVTALRM, SIGXCPU, SIGSTKFLT, SIGPWR})
    Catch(signal);
  // A fault of the program's own comes again after the mark, and ends it at once.
  for (const int signal : {SIGILL, SIGTRAP, SIGABRT, SIGBUS, SIGFPE, SIGSEGV, SIGSYS})
    Catch(signal, static_cast<int>(SA_RESETHAND));
  for (int signal = SIGRTMIN; signal <= SIGRTMAX; ++signal) Catch(signal);
}

void CatchEndOfJob() {
  struct sigaction action {};
  action.sa_sigaction = MarkEndOfJob;
  action.sa_flags = SA_SIGINFO;
  sigaction(SIGCONT, &action, nullptr);
}

void EndBySignal() {
  if (caught == 0) return;
  std::signal(caught, SIG_DFL);
  std::raise(caught);
}

void Poll() {
  if (caught != 0) throw Interrupted();
  if (watcher) watcher->Watch();
}

void SetWatcher(Watcher* other) { watcher = other; }

void WriteTo(std::FILE* stream, std::string_view text) {
  if (std::fwrite(text.data(), 1, text.size(), stream) == text.size() && std::fflush(stream) == 0)
    return;
  const int error = errno;
  Poll();  // whoever reads it has left
  throw fmt::system_error(error, "cannot write to standard {}",
                          stream == stdout ? "output" : "error");
}

void WriteFile(const std::string& path, const Writer& write) try {
  // A link stays one, and so does a device or a pipe.
  if (fs::exists(path) && !fs::is_regular_file(path)) return Write(Open(path, "we"), write);
  const std::string target = fs::exists(path) ? fs::canonical(path).string() : path;
  Part part{fmt::format("{}.{}.part", target, getpid())};
  Write(std::move(part.file), write);
  fs::rename(part.path, target);
} catch (const std::system_error& error) {
  Poll();  // it may have ended a wait for the reader of a pipe
  throw fmt::system_error(error.code().value(), "cannot write to '{}'", path);
}

void ShowProgress(const char* task, double share) {
  if (!progress.isShown) return;
  const bool isNew = progress.task != task;
  if (isNew) progress.start = Clock::now();
  if (!isNew && SecondsSince(progress.last) < kShowSeconds) return;
  progress.task = task;
  progress.number += isNew;
  progress.last = Clock::now();
  Progress slowest{progress.number, share, {}};
  progress.task.copy(slowest.task, sizeof slowest.task - 1);
  if (watcher && !watcher->Slowest(slowest)) return;
  const double seconds = SecondsSince(progress.start);
  std::string text = slowest.task;
  if (slowest.share >= 0) text += fmt::format(" {:.0f}%", std::floor(100 * slowest.share));
  if (slowest.share > 0 && seconds > kLeastTold)
    text += ", " + Duration(seconds / slowest.share - seconds) + " left";
  std::fprintf(stderr, "\r\033[K%s", text.c_str());
  progress.isDrawn = true;
}

void ShowWaiting() {
  if (!progress.task.empty()) ShowProgress(std::string(progress.task).c_str(), 1);
}

void ClearProgress() {
  if (progress.isDrawn) std::fputs("\r\033[K", stderr);
  progress.isDrawn = false;
}

bool IsProgressShown() { return progress.isShown; }
void SetProgressShown(bool isShown) { progress.isShown = isShown; }

void Complain(const std::string& text) {
  ClearProgress();
  std::fprintf(stderr, "qxtree: %s\n", OneLine(text).c_str());
}

long PeakMemory() {
  // Unlike getrusage this does not count the program that started this one.
  std::ifstream status("/proc/self/status");
  for (std::string line; std::getline(status, line);)
    if (long peak = 0; std::sscanf(line.c_str(), "VmHWM: %ld", &peak) == 1) return peak;
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  return usage.ru_maxrss;
}

std::string OneLine(std::string text) {
  const auto isControl = [](unsigned char byte) { return byte < ' ' || byte == '\x7f'; };
  std::replace_if(text.begin(), text.end(), isControl, ' ');
  return text;
}

TempFolder::TempFolder(const std::string& parent)
    : fFolder((examples::SweepDeadFolders(parent), parent)) {}

std::size_t TempFolder::Measure() {
  std::size_t bytes = 0;
  std::error_code ignored;  // what can't be measured is no reason to end
  for (fs::directory_iterator at(fFolder.Path(), ignored), end; at != end; at.increment(ignored)) {
    const std::uintmax_t size = at->file_size(ignored);
    if (!ignored) bytes += size;
  }
  Note(bytes);
  return bytes;
}

}  // namespace qxtree
