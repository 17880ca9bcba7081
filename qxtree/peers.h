// SPDX-FileCopyrightText: The qxutils authors
// SPDX-License-Identifier: Apache-2.0

// The processes that grow one tree together.
#ifndef QXTREE_PEERS_H
#define QXTREE_PEERS_H

#include <cstddef>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "qxtree/pack.h"
#include "qxtree/process.h"

namespace qxtree {

// Another process has failed; the text says which, where and why. Not a std::exception: only main
// handles it.
struct PeerFailed {
  std::string text;
};

// This class itself stands for a process alone: nothing is sent, and calls give back what they got.
// All processes make the same calls in the same order, but Fail and those of Watcher. While a
// process waits for others, it throws Interrupted as Poll does, and PeerFailed.
class Peers : public Watcher {
 public:
  virtual ~Peers() = default;

  virtual int Rank() const { return 0; }  // from 0
  virtual int Count() const { return 1; }

  // The sum over the processes of a lower rank.
  virtual std::size_t SumBefore(std::size_t /*mine*/) { return 0; }

  // The numbers of all processes added up, place by place. Each process gets its share only: of
  // `shares[rank]` numbers, after those of the lower ranks. The rest is left undefined.
  virtual void SumShares(std::vector<double>& /*numbers*/,
                         const std::vector<std::size_t>& /*shares*/) {}

  // The texts of all processes, one after the other in the order of ranks.
  virtual std::string Gather(const std::string& mine) { return mine; }

  // One value of each process, in the order of ranks.
  template <class T>
  std::vector<T> GatherEach(const T& mine) {
    const std::string all = Gather({reinterpret_cast<const char*>(&mine), sizeof mine});
    std::vector<T> each(all.size() / sizeof mine);
    std::memcpy(each.data(), all.data(), all.size());
    return each;
  }

  // What all processes have, in a tree of steps: Add(std::move(other)) takes what comes from higher
  // ranks. T is as Pack needs it.
  template <class T>
  void Join(T& mine) {
    if (Count() == 1) return;
    for (int step = 1; step < Count(); step *= 2) {
      if (Rank() % (2 * step) != 0) {
        Send(Rank() - step, Pack(mine));
        break;
      }
      if (Rank() + step >= Count()) continue;
      T other = mine;  // what is not packed
      Unpack(Receive(Rank() + step), other);
      mine.Add(std::move(other));
    }
    std::string all = Rank() == 0 ? Pack(mine) : "";
    Broadcast(all);
    Unpack(all, mine);
  }

  // What this process has handed over for others, in bytes: histograms, and all else.
  struct Traffic {
    std::size_t histograms = 0, other = 0;
  };
  const Traffic& Sent() const { return fSent; }

  // "rank 2 on HOST: " before a message; empty for a process alone.
  virtual std::string Name() const { return {}; }

  // To be called at the end, when this process has failed or heard of it, and its files are gone.
  // Prints the text, by one process only, and ends the others. `isHeard`: it is that of PeerFailed.
  virtual void Fail(const std::string& text, bool /*isHeard*/) { Complain(text); }
  // To be called before a signal ends this process, which makes mpirun kill the others: leaves them
  // time to remove their files.
  virtual void Linger() const {}
  // To be called at the end otherwise.
  virtual void Leave() {}

  void Watch() override {}
  bool Slowest(Progress& /*progress*/) override { return true; }

 protected:
  virtual void Send(int /*rank*/, std::string&& /*bytes*/) {}
  virtual std::string Receive(int /*rank*/) { return {}; }
  virtual void Broadcast(std::string& /*bytes*/) {}  // those of rank 0

  Traffic fSent;
};

// Those that were started together with this one by mpirun.
std::unique_ptr<Peers> MeetPeers();

}  // namespace qxtree

#endif
