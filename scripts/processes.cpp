// SPDX-FileCopyrightText: The qxutils authors
// SPDX-License-Identifier: Apache-2.0

// What scripts/check-processes and scripts/check-big run, until something is wrong: processes
// sets|folders FOLDER THREADS SETS BUDGET ITEMS SIZE... waits for the end of its input, then makes
// sets in FOLDER or in work folders there. The host flushes, and a signal comes all the time.
#include <sys/time.h>

#include <atomic>
#include <csignal>

#include "examples/workfolder.h"
#include "support.h"

static void Check(bool success, const char* otherwise) {
  if (!success) throw std::runtime_error(otherwise);
}

static void WriteAndRead(const std::string& folder, long budget, long items,
                         const std::vector<ViewInfo>& views) {
  constexpr long kStarts = 65521;
  long longest = 0;
  for (const ViewInfo& view : views) longest = std::max<long>(longest, view.itemSize);
  std::string bytes(kStarts + longest, '\0'), back(longest, '\0');
  std::mt19937 random(std::random_device{}());
  for (char& byte : bytes) byte = static_cast<char>(random());
  const auto data = [&](long view, long item) { return &bytes[(view + item) % kStarts]; };
  const EnvironmentSettings settings(folder);
  examples::ViewSet set(budget, views, settings);
  const int count = static_cast<int>(views.size());
  for (long item = 0; item < items; ++item)
    for (int view = 0; view < count; ++view) {
      const int size = views[view].itemSize;
      Check(set.Write(view, data(view, item), size) == size, "an item was not written");
    }
  for (int view = 0; view < count; ++view) Check(set.Close(view), "a view was not closed");
  for (int view = 0; view < count; ++view) {
    const examples::ViewFile file = set.TakeFile(view);
    Check(fs::status(file->GetFileName()).permissions() == fs::perms(0600), "not private");
    Check(file->Open(file->GetFileName(), 0, Level(0)), "a file was not opened");
    for (long item = 0; item < items; ++item) {
      const int size = file->Read(back.data(), views[view].itemSize);
      Check(size == views[view].itemSize, "items are missing");
      Check(std::memcmp(back.data(), data(view, item), size) == 0, "wrong bytes");
    }
    Check(file->Read(back.data(), 1) == 0, "more bytes than were written");
  }
}

int main(int, char** argv) {
  const std::string folder = argv[2];
  const long sets = std::atol(argv[4]), budget = std::atol(argv[5]), items = std::atol(argv[6]);
  std::vector<ViewInfo> views;
  for (char** size = argv + 7; *size; ++size) views.push_back({std::atoi(*size), 0});
  while (std::getchar() != EOF) continue;
  struct sigaction action {};  // without SA_RESTART
  action.sa_handler = [](int) {};
  sigaction(SIGALRM, &action, nullptr);
  const itimerval often{{0, 250}, {0, 250}};  // microseconds
  setitimer(ITIMER_REAL, &often, nullptr);
  std::atomic<long> running{std::atol(argv[3])};
  std::vector<std::thread> threads(running);
  for (std::thread& thread : threads)
    thread = std::thread([&] {
      for (long set = 0; set < sets; ++set) {
        if (std::strcmp(argv[1], "sets") == 0) {
          WriteAndRead(folder, budget, items, views);
          Check(RemoveFolder(CreateTempSubDirectory(folder)) == 0, "a folder was not made");
          continue;
        }
        examples::SweepDeadFolders(folder);
        examples::WorkFolder own(folder);
        fs::create_directory_symlink(folder + "/../outside", own.Path() + "/link");
        WriteAndRead(own.Path(), budget, items, views);
        Check(fs::exists(own.Path() + "/link/file"), "a live folder was harmed");
        own.Remove();
      }
      --running;
    });
  for (; running > 0; usleep(100)) std::fflush(nullptr);
  for (std::thread& thread : threads) thread.join();
}
