// SPDX-FileCopyrightText: The qxutils authors
// SPDX-License-Identifier: Apache-2.0

#include "qxtree/passes.h"

#include <algorithm>
#include <cstring>
#include <numeric>

namespace qxtree {
namespace {

// Several processes need as much again for what they send.
std::size_t MemoryOf(std::size_t memory, const Peers& peers) {
  constexpr std::size_t kMost = std::size_t{1} << 33;  // MPI counts numbers in an int
  return peers.Count() == 1 ? memory : std::min(memory / 2, kMost);
}

// The best split of a node, for the other processes.
struct Found {
  std::size_t slot = 0;
  Candidate best;

  template <class Self, class Visitor>
  static void Visit(Self& self, Visitor& visit) {
    visit(self.slot), visit(self.best);
  }
};

}  // namespace

Passes::Passes(Table& table, const Options& options, const Impurity& impurity, std::size_t memory,
               Peers& peers, const Arbex_800::EnvironmentSettings& settings)
    : fTable(table),
      fOptions(options),
      fImpurity(impurity),
      fMemory(MemoryOf(memory, peers)),
      fPeers(peers),
      fScan(table, settings) {}

bool Passes::Moves(const CodeGroup& group) const {
  return std::any_of(fMoves.begin(), fMoves.end(), [&](const Move& move) {
    return std::find(group.columns.begin(), group.columns.end(), move.column) !=
           group.columns.end();
  });
}

// A pass over the group that moves records first, if they are to be moved.
Scan::Task Passes::NewTask(CodeGroup& group) const {
  Scan::Task task{fName.c_str(), &group};
  if (Moves(group)) task.moves = &fMoves;
  return task;
}

// By all groups but a single one, whose next pass does it.
void Passes::MoveRecords() {
  if (fTable.groups.size() < 2) return;
  for (CodeGroup& group : fTable.groups)
    if (Moves(group)) fScan.Run(NewTask(group));
  fMoves.clear();
}

void Passes::FindSplits(const std::vector<std::size_t>& open, std::vector<GrownNode>& nodes) {
  MoveRecords();
  for (CodeGroup& group : fTable.groups)
    for (std::size_t first = 0; first < group.columns.size();) {
      std::size_t bytes = 0;  // of a node
      const Turn turn{group, first, EndOfTurn(group, first, open.size(), bytes)};
      first = turn.end;
      // Where not even one column fits for all nodes, these are counted in turns.
      const std::size_t count = std::clamp<std::size_t>(fMemory / bytes, 1, open.size());
      for (std::size_t start = 0; start < open.size(); start += count)
        CountNodes(turn, {open.data() + start, open.data() + std::min(start + count, open.size())},
                   nodes);
    }
}

// As many columns as fit for the open nodes, but one at least. `bytes` is what they take for a
// node.
std::size_t Passes::EndOfTurn(const CodeGroup& group, std::size_t first, std::size_t nodes,
                              std::size_t& bytes) const {
  const auto bytesOf = [&](std::size_t place) {
    return fTable.HistogramBytes(fTable.columns[group.columns[place]]);
  };
  bytes = bytesOf(first);
  std::size_t end = first + 1;
  for (; end < group.columns.size() && (bytes + bytesOf(end)) * nodes <= fMemory; ++end)
    bytes += bytesOf(end);
  return end;
}

void Passes::CountNodes(const Turn& turn, const std::vector<std::size_t>& open,
                        std::vector<GrownNode>& nodes) {
  Counts counts(fTable, turn.group, turn.first, turn.end, open.size());
  std::vector<std::uint32_t> slots(nodes.size(), Counts::kNoSlot);
  for (std::size_t slot = 0; slot < open.size(); ++slot)
    slots[open[slot]] = static_cast<std::uint32_t>(slot);
  Scan::Task task = NewTask(turn.group);
  task.counts = &counts;
  task.slots = &slots;
  fScan.Run(task);
  if (task.moves) fMoves.clear();
  // A column belongs to the process in whose equal share its middle lies.
  const auto count = static_cast<std::size_t>(fPeers.Count());
  std::vector<std::size_t> shares(count), owners;
  std::size_t before = 0;
  for (std::size_t place = turn.first; place < turn.end; ++place) {
    const std::size_t size = counts.SizeOf(place);
    owners.push_back((before + size / 2) * count / counts.Cells().size());
    shares[owners.back()] += size;
    before += size;
  }
  fPeers.SumShares(counts.Cells(), shares);
  const auto rank = static_cast<std::size_t>(fPeers.Rank());
  const auto [first, end] = std::equal_range(owners.begin(), owners.end(), rank);
  const auto own = [&](auto at) {
    return turn.first + static_cast<std::size_t>(at - owners.begin());
  };
  Choose({turn.group, own(first), own(end)}, counts, turn, open, nodes);
}

// Takes the first of the best columns for each node, as if one process had them all.
void Passes::Choose(const Turn& own, const Counts& counts, const Turn& turn,
                    const std::vector<std::size_t>& open, std::vector<GrownNode>& nodes) {
  const auto find = [&](std::size_t place, std::size_t slot) {
    const std::size_t column = turn.group.columns[place];
    return FindSplit(counts.Of(place, slot), fTable.columns[column], column, fImpurity,
                     fOptions.minCases);
  };
  Packer ownGains, ownSplits;
  for (std::size_t place = own.first; place < own.end; ++place)
    for (std::size_t slot = 0; slot < open.size(); ++slot) ownGains(find(place, slot).gain);
  const std::string gains = fPeers.Gather(ownGains.Bytes());
  for (std::size_t slot = 0; slot < open.size(); ++slot) {
    double best = nodes[open[slot]].best.gain;
    std::size_t winner = turn.end;
    for (std::size_t place = turn.first; place < turn.end; ++place) {
      double gain = 0;
      std::memcpy(&gain, &gains[((place - turn.first) * open.size() + slot) * sizeof gain],
                  sizeof gain);
      if (!IsBetter(gain, best)) continue;
      best = gain;
      winner = place;
    }
    if (winner >= own.first && winner < own.end) ownSplits(Found{slot, find(winner, slot)});
  }
  const std::string splits = fPeers.Gather(ownSplits.Bytes());
  for (Unpacker unpack(splits); !unpack.IsAtEnd();) {
    Found found;
    unpack(found);
    nodes[open[found.slot]].best = std::move(found.best);
  }
}

}  // namespace qxtree
