// SPDX-FileCopyrightText: The qxutils authors
// SPDX-License-Identifier: Apache-2.0

#include "qxtree/mpipeers.h"

#include <fmt/format.h>
#include <mpi.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <numeric>
#include <stdexcept>

#include "qxtree/mpicalls.h"

namespace qxtree {
namespace {

using namespace std::chrono_literals;

enum Tag { kData, kFailure, kProgress };
constexpr int kRoot = 0;
constexpr std::size_t kMostPerCall = 1 << 30;  // MPI counts in an int
constexpr const char* kTooMuch = "processes can't tell each other so much at once";
// A failure has to end the run within five seconds.
constexpr auto kForLowerRanks = 300ms, kForRoot = 2000ms, kForCleaning = 2500ms, kForOthers = 500ms;

class MpiPeers : public Peers {
 public:
  MpiPeers() {
    MPI_Comm_dup(MPI_COMM_WORLD, &fWork);
    MPI_Comm_dup(MPI_COMM_WORLD, &fEnd);
    MPI_Comm_rank(fWork, &fRank);
    MPI_Comm_size(fWork, &fCount);
    char host[MPI_MAX_PROCESSOR_NAME + 1] = {};
    int length = 0;
    MPI_Get_processor_name(host, &length);
    fName = fmt::format("rank {} on {}: ", fRank, host);
    fProgress.resize(static_cast<std::size_t>(fCount));
    int isShown = IsProgressShown() ? 1 : 0;
    MPI_Bcast(&isShown, 1, MPI_INT, kRoot, fWork);
    SetProgressShown(isShown != 0);
  }

  int Rank() const override { return fRank; }
  int Count() const override { return fCount; }
  std::string Name() const override { return fName; }

  std::size_t SumBefore(std::size_t mine) override {
    Meet();
    std::uint64_t number = mine, sum = 0;
    MPI_Exscan(&number, &sum, 1, MPI_UINT64_T, MPI_SUM, fWork);
    return fRank == 0 ? 0 : sum;
  }

  void SumShares(std::vector<double>& numbers, const std::vector<std::size_t>& shares) override {
    if (numbers.size() > kMostPerCall) throw std::runtime_error(kTooMuch);
    const std::vector<int> counts(shares.begin(), shares.end());
    fSent.histograms += numbers.size() * sizeof numbers[0];
    Meet();
    MPI_Reduce_scatter(MPI_IN_PLACE, numbers.data(), counts.data(), MPI_DOUBLE, MPI_SUM, fWork);
    // The share lies at the start now.
    const std::size_t share = shares[static_cast<std::size_t>(fRank)];
    const std::size_t before =
        std::accumulate(shares.begin(), shares.begin() + fRank, std::size_t{0});
    std::memmove(numbers.data() + before, numbers.data(), share * sizeof numbers[0]);
  }

  std::string Gather(const std::string& mine) override {
    std::vector<int> sizes(static_cast<std::size_t>(fCount)), starts(sizes);
    const auto size = static_cast<int>(std::min(mine.size(), kMostPerCall + 1));
    Meet();
    MPI_Allgather(&size, 1, MPI_INT, sizes.data(), 1, MPI_INT, fWork);
    if (std::accumulate(sizes.begin(), sizes.end(), std::size_t{0}) > kMostPerCall)
      throw std::runtime_error(kTooMuch);
    std::partial_sum(sizes.begin(), sizes.end() - 1, starts.begin() + 1);
    std::string all(static_cast<std::size_t>(starts.back() + sizes.back()), '\0');
    fSent.other += mine.size();
    MPI_Allgatherv(mine.data(), size, MPI_BYTE, all.data(), sizes.data(), starts.data(), MPI_BYTE,
                   fWork);
    return all;
  }

  void Fail(const std::string& text, bool isHeard) override {
    if (fRank == kRoot) {
      const std::string lowest = isHeard ? LowestFailure(text) : text;
      Complain(lowest);
      for (int rank = 1; rank < fCount; ++rank) Tell(rank, lowest);
    } else if (!isHeard) {
      Tell(kRoot, text);
      if (!WaitFor(kForRoot, [this] { return HasFailure(); })) Complain(text);
    }
    MPI_Request request = MPI_REQUEST_NULL;
    MPI_Ibarrier(fEnd, &request);
    const bool areClean = WaitFor(kForCleaning, [&] { return IsDone(request); });
    // The first process ends all, and the others wait for it.
    if (fRank != kRoot && areClean) std::this_thread::sleep_for(kForCleaning);
    MPI_Abort(MPI_COMM_WORLD, EXIT_FAILURE);
  }

  void Linger() const override { std::this_thread::sleep_for(kForOthers); }
  void Leave() override {
    Meet();
    MPI_Finalize();
  }

  void Watch() override {
    if (HasFailure()) throw PeerFailed{TakeFailure()};
  }

  // The first process shows the progress of the slowest one, the others tell theirs.
  bool Slowest(Progress& progress) override {
    if (fRank != kRoot) {
      if (IsDone(fTelling)) {
        fTold = progress;
        MPI_Isend(&fTold, sizeof fTold, MPI_BYTE, kRoot, kProgress, fWork, &fTelling);
      }
      return false;
    }
    fProgress[kRoot] = progress;
    while (IsThere(fWork, MPI_ANY_SOURCE, kProgress)) {
      Progress told;
      MPI_Status status;
      MPI_Recv(&told, sizeof told, MPI_BYTE, MPI_ANY_SOURCE, kProgress, fWork, &status);
      fProgress[static_cast<std::size_t>(status.MPI_SOURCE)] = told;
    }
    progress = *std::min_element(fProgress.begin(), fProgress.end());
    return true;
  }

 protected:
  // What is sent stays: MPI may still read it when an exception ends the wait.
  void Send(int rank, std::string&& bytes) override {
    fOutgoing = std::move(bytes);
    fOutgoingBytes = fOutgoing.size();
    fSent.other += fOutgoing.size();
    SendPart(rank, &fOutgoingBytes, sizeof fOutgoingBytes);
    for (std::size_t done = 0; done < fOutgoing.size(); done += kMostPerCall)
      SendPart(rank, fOutgoing.data() + done, std::min(kMostPerCall, fOutgoing.size() - done));
  }

  std::string Receive(int rank) override {
    std::uint64_t size = 0;
    ReceivePart(rank, &size, sizeof size);
    std::string bytes(size, '\0');
    for (std::size_t done = 0; done < bytes.size(); done += kMostPerCall)
      ReceivePart(rank, bytes.data() + done, std::min(kMostPerCall, bytes.size() - done));
    return bytes;
  }

  void Broadcast(std::string& all) override {
    std::uint64_t size = all.size();
    fSent.other += size;
    Meet();
    MPI_Bcast(&size, 1, MPI_UINT64_T, kRoot, fWork);
    all.resize(size);
    for (std::size_t done = 0; done < all.size(); done += kMostPerCall)
      MPI_Bcast(all.data() + done, static_cast<int>(std::min(kMostPerCall, all.size() - done)),
                MPI_BYTE, kRoot, fWork);
  }

 private:
  // Waits until all processes are here. What follows can't be interrupted, but does not take long.
  void Meet() {
    MPI_Request request = MPI_REQUEST_NULL;
    MPI_Ibarrier(fWork, &request);
    WaitUntil([&] { return IsDone(request); });
  }

  void SendPart(int rank, const void* data, std::size_t bytes) {
    MPI_Request request = MPI_REQUEST_NULL;
    MPI_Isend(data, static_cast<int>(bytes), MPI_BYTE, rank, kData, fWork, &request);
    WaitUntil([&] { return IsDone(request); });
  }

  void ReceivePart(int rank, void* data, std::size_t bytes) {
    WaitUntil([&] { return IsThere(fWork, rank, kData); });
    MPI_Recv(data, static_cast<int>(bytes), MPI_BYTE, rank, kData, fWork, MPI_STATUS_IGNORE);
  }

  bool HasFailure() const { return IsThere(fWork, MPI_ANY_SOURCE, kFailure); }

  std::string TakeFailure() {
    MPI_Status status;
    int size = 0;
    MPI_Probe(MPI_ANY_SOURCE, kFailure, fWork, &status);
    MPI_Get_count(&status, MPI_BYTE, &size);
    std::string text(static_cast<std::size_t>(size), '\0');
    fFailed = status.MPI_SOURCE;
    MPI_Recv(text.data(), size, MPI_BYTE, fFailed, kFailure, fWork, &status);
    return text;
  }

  // Where one fails early, those of higher ranks often fail for the same reason.
  std::string LowestFailure(std::string text) {
    int lowest = fFailed;
    WaitFor(kForLowerRanks, [&] {
      if (HasFailure()) {
        std::string other = TakeFailure();
        if (fFailed < lowest) text.swap(other);
        lowest = std::min(lowest, fFailed);
      }
      return lowest == 1;
    });
    return text;
  }

  void Tell(int rank, const std::string& text) {
    MPI_Request request = MPI_REQUEST_NULL;
    MPI_Isend(text.data(), static_cast<int>(text.size()), MPI_BYTE, rank, kFailure, fWork,
              &request);
    WaitFor(kForLowerRanks, [&] { return IsDone(request); });
  }

  MPI_Comm fWork = MPI_COMM_NULL, fEnd = MPI_COMM_NULL;
  int fRank = 0, fCount = 1;
  int fFailed = 0;  // whose failure was heard of last
  std::string fName;
  std::vector<Progress> fProgress;  // of all processes
  Progress fTold;
  std::string fOutgoing;
  std::uint64_t fOutgoingBytes = 0;
  MPI_Request fTelling = MPI_REQUEST_NULL;
};

}  // namespace

std::unique_ptr<Peers> MeetByMpi() {
  // mpirun sets the first one, and other launchers the second one.
  const char* const count = std::getenv("OMPI_COMM_WORLD_SIZE");
  const bool isAlone = count ? std::strcmp(count, "1") == 0 : !std::getenv("PMIX_RANK");
  if (isAlone) return nullptr;
  if (count) CatchEndOfJob();
  InitMpi();
  return std::make_unique<MpiPeers>();
}

}  // namespace qxtree
