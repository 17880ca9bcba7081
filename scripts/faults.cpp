// SPDX-FileCopyrightText: The qxutils authors
// SPDX-License-Identifier: Apache-2.0

// What scripts/check-faults drives: a process that uses the library as it is told.
//
//   faults LOG FOLDER WORD...
//
// Does one word after the other and appends a line for each to LOG in the end. What fails does not
// stop it. FOLDER is the temporary folder.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <clocale>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "examples/viewset.h"
#include "qxutils/config/qxconfigfile.h"
#include "qxutils/iterators/binfileiterator.h"
#include "qxutils/platform/platformspecs_unix.h"
#include "qxutils/platform/qxutilsexception.h"
#include "qxutils/storage/iobinfile.h"
#include "qxutils/text/mbtoutf8_unix.h"

namespace {

using Arbex_800::EnvironmentSettings;
using Level = EnvironmentSettings::CompressionLevel;

constexpr int kRounds = 300;  // items of each view

std::vector<qxg_800::ViewInfo> Views(int count) {
  std::vector<qxg_800::ViewInfo> views;
  for (int view = 0; view < count; ++view) views.push_back({view % 24 + 1, 0});
  return views;
}

std::string Item(std::size_t view, int round) {
  return std::string(view % 24 + 1, static_cast<char>(static_cast<int>(view) * 7 + round));
}

class Host {
 public:
  explicit Host(const char* folder) : fFolder(folder), fSettings(folder) {}
  ~Host() { Quiet(); }
  Host(const Host&) = delete;
  Host& operator=(const Host&) = delete;

  // Gives how it went.
  std::string Do(const std::string& word) {
    const std::map<std::string, std::function<std::string()>> words = {
        {"make", [this] { return Make(12); }},
        {"make-10000", [this] { return Make(10000); }},
        {"write", [this] { return Write(); }},
        {"close", [this] { return Close(); }},
        {"drop", [this] { return fSet.reset(), "done"; }},
        {"flush", [this] { return Flush(); }},
        {"quiet", [this] { return Quiet(), "done"; }},
        {"take", [this] { return TakeDescriptors(); }},
        {"free", [this] { return FreeDescriptors(); }},
        {"free-one", [this] { return ::close(fTaken.back()), fTaken.pop_back(), "done"; }},
        {"name", [this] { return Name(); }},
        {"folder",
         [this] { return qxg_800::CreateTempSubDirectory(fFolder).empty() ? "none" : "made"; }},
        {"files", [this] { return Files(); }},
        {"print", [] { return Print(); }},
        {"convert", [] { return Convert(); }},
        {"leave", [] { return chdir("/") == 0 ? "done" : "failed"; }},
    };
    try {
      const auto known = words.find(word);
      return known != words.end()             ? known->second()
             : std::system(word.c_str()) == 0 ? "done"
                                              : "failed";
    } catch (const std::exception& failure) {
      return failure.what();
    }
  }

 private:
  std::string Make(int views) {
    fSet.reset();
    fSet.emplace(0, Views(views), fSettings);
    return "made";
  }

  std::string Write() {
    if (!fSet) return "no set";
    for (int round = 0; round < kRounds; ++round) {
      for (std::size_t view = 0; view < fSet->writers.size(); ++view) {
        const std::string item = Item(view, round);
        const int bytes = static_cast<int>(item.size());
        if (fSet->Write(static_cast<int>(view), item.data(), bytes) != bytes) return "refused";
      }
    }
    return "written";
  }

  // Compares every view file with what was written.
  std::string Close() {
    if (!fSet) return "no set";
    const int views = static_cast<int>(fSet->writers.size());
    for (int view = 0; view < views; ++view) fSet->Close(view);
    for (int view = 0; view < views; ++view) {
      std::string expected, read(24 * kRounds + 1, '\0');
      for (int round = 0; round < kRounds; ++round)
        expected += Item(static_cast<std::size_t>(view), round);
      const examples::ViewFile file = fSet->TakeFile(view);
      if (!file || !file->Open(file->GetFileName(), 0, Level(0))) return "no file";
      read.resize(static_cast<std::size_t>(file->Read(read.data(), static_cast<int>(read.size()))));
      if (read != expected) return "WRONG BYTES";
    }
    return "whole";
  }

  std::string Flush() {
    fIsQuiet = false;
    fFlusher = std::thread([this] {
      while (!fIsQuiet) std::fflush(nullptr);
    });
    return "done";
  }

  void Quiet() {
    fIsQuiet = true;
    if (fFlusher.joinable()) fFlusher.join();
  }

  std::string TakeDescriptors() {
    for (int next = 0; (next = open("/dev/null", O_RDONLY | O_CLOEXEC)) >= 0;)
      fTaken.push_back(next);
    return errno == EMFILE ? "none left" : "failed";
  }

  std::string FreeDescriptors() {
    for (const int taken : fTaken) ::close(taken);
    fTaken.clear();
    return "done";
  }

  // A new name, past one at which something stands.
  std::string Name() {
    const auto next = [this] { return qxg_800::GenerateTempName(fFolder.c_str(), "qxf", "tmp"); };
    const std::string taken = next();
    if (symlink("nothing", taken.c_str()) != 0) return "failed";
    const std::string name = next();
    unlink(taken.c_str());
    return name == taken ? "TAKEN" : "new";
  }

  // Each other thing that needs a descriptor.
  std::string Files() {
    const std::string path = fFolder + "/file";
    const int descriptor = qxg_800::OpenFile(path, "rb");
    if (descriptor >= 0) ::close(descriptor);
    std::string results = descriptor < 0 ? "-" : descriptor > 2 ? "d" : "STANDARD";
    qxg_800::IOBinFile file(fSettings);
    results +=
        file.Open(path, qxg_800::IOBinFile::IOModeRead, Level(0)) && file.Close() ? "f" : "-";
    results += qxg_800::BinFileIterator(path.c_str(), 1, fSettings, -1).HasMore() == 0 ? "i" : "-";
    results += tree_800::QxConfigFile(path).Read("key") == "value" ? "c" : "-";
    return results;
  }

  static std::string Convert() {
    std::string text;
    xmlu_800::UTF8ToMb("\u00e9", text);
    return text.empty() ? "empty" : xmlu_800::MbToUTF8(text) == "\u00e9" ? "right" : "WRONG";
  }

  // On descriptors that may be closed.
  static std::string Print() {
    std::printf("the host's own text\n");
    std::fflush(stdout);
    for (const int descriptor : {0, 1, 2})
      if (::write(descriptor, "the host's own text\n", 20) < 0) continue;
    return "done";
  }

  const std::string fFolder;
  const EnvironmentSettings fSettings;
  std::optional<examples::ViewSet> fSet;
  std::vector<int> fTaken;
  std::atomic<bool> fIsQuiet{true};
  std::thread fFlusher;
};

}  // namespace

int main(int count, char** words) {
  if (count < 3 || !std::setlocale(LC_ALL, "")) return 2;
  std::string results;
  {
    Host host(words[2]);
    for (int i = 3; i < count; ++i) results += host.Do(words[i]) + "\n";
    host.Do("free");
  }
  return (std::ofstream(words[1]) << results).flush() ? 0 : 1;
}
