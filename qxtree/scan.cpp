// SPDX-FileCopyrightText: The qxutils authors
// SPDX-License-Identifier: Apache-2.0

#include "qxtree/scan.h"

#include <algorithm>
#include <cstring>

namespace qxtree {
namespace {

constexpr std::uint16_t kNarrowMask = 0xFF, kWideMask = 0xFFFF;

}  // namespace

Counts::Counts(const Table& table, const CodeGroup& group, std::size_t firstColumn,
               std::size_t endColumn, std::size_t slots)
    : fFirst(firstColumn),
      fEnd(endColumn),
      fSums(table.CountSums()),
      fIsRegression(table.isRegression) {
  std::size_t cells = 0;
  for (std::size_t place = firstColumn; place < endColumn; ++place) {
    fStarts.push_back(cells);
    fBins.push_back(table.columns[group.columns[place]].CountBins() + 1);
    cells += fBins.back() * slots * fSums;
  }
  fCells.resize(cells);
}

Histogram Counts::Of(std::size_t column, std::size_t slot) const {
  const std::size_t bins = fBins[column - fFirst];
  return {fCells.data() + fStarts[column - fFirst] + slot * bins * fSums, bins};
}

std::size_t Counts::SizeOf(std::size_t column) const {
  const std::size_t next = column + 1 - fFirst;
  return (next < fStarts.size() ? fStarts[next] : fCells.size()) - fStarts[next - 1];
}

template <class Bin>
void Counts::Add(std::size_t column, const Bin* bins, const Case* chosen, const Case* end,
                 const std::uint16_t* classes, const CaseSums* sums) {
  double* const cells = fCells.data() + fStarts[column - fFirst];
  const std::size_t count = fBins[column - fFirst], size = fSums;
  if (fIsRegression) {
    for (; chosen != end; ++chosen) {
      double* const cell = cells + (chosen->slot * count + bins[chosen->row]) * kRegressionSums;
      for (std::size_t i = 0; i < kRegressionSums; ++i) cell[i] += sums[chosen->row][i];
    }
  } else {
    for (; chosen != end; ++chosen)
      cells[(chosen->slot * count + bins[chosen->row]) * size + classes[chosen->row]] +=
          chosen->weight;
  }
}

Scan::Scan(Table& table, const Arbex_800::EnvironmentSettings& settings)
    : fTable(table), fSettings(settings), fNodes(kBlockRows) {}

void Scan::Begin(const Task& task) {
  fCases.emplace(fTable);
  fRow = 0;
  if (fOld) fOld->Rewind();
  if (task.group) task.group->codes.Rewind();
  if (task.moves) BeginMoves(task);
}

// Children are not split yet, so that no record moves twice. Those of other groups' columns are
// among the nodes: records may have moved to them in the pass before.
void Scan::BeginMoves(const Task& task) {
  static constexpr unsigned char kStays = 1;
  fNew.emplace(fSettings);
  std::size_t nodes = 1;
  for (const Move& move : *task.moves) nodes = std::max<std::size_t>(nodes, move.left + 2);
  fIsNewNarrow = nodes <= kNarrowMask + 1;
  fSteps.resize(nodes);
  for (std::size_t node = 0; node < nodes; ++node)
    fSteps[node] = {0, 0, static_cast<std::uint32_t>(node), &kStays};
  const std::vector<std::size_t>& columns = task.group->columns;
  for (const Move& move : *task.moves) {
    const auto at = std::find(columns.begin(), columns.end(), move.column);
    if (at == columns.end()) continue;
    const auto place = static_cast<std::size_t>(at - columns.begin());
    fSteps[move.node] = {place, task.group->isWide[place] ? kWideMask : kNarrowMask, move.left,
                         move.isLeft.data()};
  }
}

const Cases& Scan::Next(const Task& task) {
  Poll();
  ShowProgress(task.name, static_cast<double>(fRow) / static_cast<double>(fTable.rows));
  const Cases& cases = fCases->Next();
  fRow += cases.rows;
  ReadNodes(cases.rows);
  if (!task.group) return cases;
  ReadBins(*task.group, cases.rows);
  if (task.moves) MoveRecords(cases.rows);
  if (task.counts) Count(task, cases);
  return cases;
}

void Scan::End(const Task& task) {
  if (task.group) task.group->codes.Close();
  if (!task.moves) return;
  fNew->Close();
  fOld = std::move(fNew);
  fIsOldNarrow = fIsNewNarrow;
  fNew.reset();
}

void Scan::ReadBins(CodeGroup& group, std::size_t rows) {
  std::size_t end = 0;
  fStarts.clear();
  for (const bool isWide : group.isWide) {
    fStarts.push_back(end);
    end += rows * (isWide ? 2 : 1);
  }
  fBins.resize(end + 1);  // one may be read as two
  group.codes.Read(fBins.data(), end);
}

void Scan::ReadNodes(std::size_t rows) {
  if (!fOld) return std::fill(fNodes.begin(), fNodes.end(), 0);
  if (!fIsOldNarrow) return fOld->Read(fNodes.data(), rows * sizeof fNodes[0]);
  fOld->ReadAs<unsigned char>(fNodes.data(), rows);
}

void Scan::WriteNodes(std::size_t rows) {
  if (!fIsNewNarrow) return fNew->Write(fNodes.data(), rows * sizeof fNodes[0]);
  fNew->WriteAs<unsigned char>(fNodes.data(), rows);
}

// Without branches, which would be guessed wrong often. So a bin of one byte is read as two, too,
// and masked, and a record that stays moves to its own node.
void Scan::MoveRecords(std::size_t rows) {
  for (std::size_t row = 0; row < rows; ++row) {
    const Step& step = fSteps[fNodes[row]];
    const std::size_t bytes = step.mask == kWideMask ? 2 : 1;
    std::uint16_t bin = 0;
    std::memcpy(&bin, fBins.data() + fStarts[step.place] + row * bytes, sizeof bin);
    fNodes[row] = step.left + (step.isLeft[bin & step.mask] ^ 1U);
  }
  WriteNodes(rows);
}

void Scan::Count(const Task& task, const Cases& cases) {
  // Without branches, as above.
  const std::vector<std::uint32_t>& slots = *task.slots;
  fChosen.resize(kBlockRows);
  Counts::Case* end = fChosen.data();
  for (std::size_t row = 0; row < cases.rows; ++row) {
    const std::uint32_t slot = slots[fNodes[row]];
    *end = {static_cast<std::uint32_t>(row), slot, cases.weights[row]};
    end += static_cast<int>(slot != Counts::kNoSlot) & static_cast<int>(cases.weights[row] > 0);
  }
  fSums.resize(fTable.isRegression ? cases.rows : 0);
  for (std::size_t row = 0; row < fSums.size(); ++row)
    fSums[row] = fTable.SumsOf(cases.weights[row], cases.targets[row]);
  const auto add = [&](std::size_t place, const auto* bins) {
    task.counts->Add(place, bins, fChosen.data(), end, cases.classes.data(), fSums.data());
  };
  for (std::size_t place = task.counts->First(); place < task.counts->End(); ++place) {
    const unsigned char* const bins = fBins.data() + fStarts[place];
    if (!task.group->isWide[place]) {
      add(place, bins);
      continue;
    }
    fWide.resize(cases.rows);
    std::memcpy(fWide.data(), bins, cases.rows * sizeof fWide[0]);
    add(place, fWide.data());
  }
}

}  // namespace qxtree
