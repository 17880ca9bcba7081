#include "qxtree/scan.h"

#include <algorithm>
#include <cstring>

namespace qxtree {
namespace {

constexpr std::size_t kNoPlace = static_cast<std::size_t>(-1);

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

template <class Bin>
void Counts::Add(std::size_t column, const Bin* bins, const Case* chosen, const Case* end,
                 const Cases& cases) {
  double* const cells = fCells.data() + fStarts[column - fFirst];
  const std::size_t count = fBins[column - fFirst], sums = fSums;
  const std::uint16_t* const classes = cases.classes.data();
  if (fIsRegression) {
    for (; chosen != end; ++chosen) {
      double* const cell = cells + (chosen->slot * count + bins[chosen->row]) * sums;
      const double sum = chosen->weight * cases.targets[chosen->row];
      cell[0] += chosen->weight;
      cell[1] += sum;
      cell[2] += sum * cases.targets[chosen->row];
    }
  } else {
    for (; chosen != end; ++chosen)
      cells[(chosen->slot * count + bins[chosen->row]) * sums + classes[chosen->row]] +=
          chosen->weight;
  }
}

Scan::Scan(Table& table, const Arbex_800::EnvironmentSettings& settings)
    : fTable(table), fSettings(settings), fNodes(kBlockRows) {}

void Scan::Begin(const Task& task) {
  fCases.emplace(fTable);
  fRow = 0;
  if (fOld) fOld->Rewind();
  if (task.moves) fNew.emplace(fSettings);
  fPlaces.assign(fTable.columns.size(), kNoPlace);
  if (!task.group) return;
  task.group->codes.Rewind();
  for (std::size_t place = 0; place < task.group->columns.size(); ++place)
    fPlaces[task.group->columns[place]] = place;
}

const Cases& Scan::Next(const Task& task) {
  Poll();
  ShowProgress(task.name, static_cast<double>(fRow) / static_cast<double>(fTable.rows));
  const Cases& cases = fCases->Next();
  fRow += cases.rows;
  if (fOld) fOld->Read(fNodes.data(), cases.rows * sizeof fNodes[0]);
  if (!fOld) std::fill(fNodes.begin(), fNodes.end(), 0);
  if (!task.group) return cases;
  ReadBins(*task.group, cases.rows);
  if (task.moves) MoveRecords(task, cases.rows);
  if (task.counts) Count(task, cases);
  return cases;
}

void Scan::End(const Task& task) {
  if (task.group) task.group->codes.Close();
  if (!task.moves) return;
  fNew->Close();
  fOld = std::move(fNew);
  fNew.reset();
}

void Scan::ReadBins(CodeGroup& group, std::size_t rows) {
  std::size_t end = 0;
  fStarts.clear();
  for (const bool isWide : group.isWide) {
    fStarts.push_back(end);
    end += rows * (isWide ? 2 : 1);
  }
  fBins.resize(end);
  group.codes.Read(fBins.data(), end);
}

std::size_t Scan::BinOf(const CodeGroup& group, std::size_t column, std::size_t row) const {
  const unsigned char* const bins = fBins.data() + fStarts[column];
  if (!group.isWide[column]) return bins[row];
  std::uint16_t bin = 0;
  std::memcpy(&bin, bins + row * sizeof bin, sizeof bin);
  return bin;
}

// Children are not split yet, so that no record moves twice.
void Scan::MoveRecords(const Task& task, std::size_t rows) {
  for (std::size_t row = 0; row < rows; ++row) {
    if (fNodes[row] < task.firstMove) continue;
    const std::size_t number = fNodes[row] - task.firstMove;
    if (number >= task.moves->size()) continue;
    const Move& move = (*task.moves)[number];
    if (!move.isSplit || fPlaces[move.column] == kNoPlace) continue;
    const std::size_t bin = BinOf(*task.group, fPlaces[move.column], row);
    fNodes[row] = move.left + (move.isLeft[bin] ? 0 : 1);
  }
  fNew->Write(fNodes.data(), rows * sizeof fNodes[0]);
}

void Scan::Count(const Task& task, const Cases& cases) {
  // Without branches, which would be guessed wrong often. A node before the first one wraps around.
  const std::vector<std::uint32_t>& slots = *task.slots;
  fChosen.resize(kBlockRows);
  Counts::Case* end = fChosen.data();
  for (std::size_t row = 0; row < cases.rows; ++row) {
    const std::size_t number = std::size_t{fNodes[row]} - task.firstSlot;
    const std::uint32_t slot = slots[std::min(number, slots.size() - 1)];
    *end = {static_cast<std::uint32_t>(row), slot, cases.weights[row]};
    end += static_cast<int>(slot != Counts::kNoSlot) & static_cast<int>(cases.weights[row] > 0);
  }
  for (std::size_t place = task.counts->First(); place < task.counts->End(); ++place) {
    const unsigned char* const bins = fBins.data() + fStarts[place];
    if (!task.group->isWide[place]) {
      task.counts->Add(place, bins, fChosen.data(), end, cases);
      continue;
    }
    fWide.resize(cases.rows);
    std::memcpy(fWide.data(), bins, cases.rows * sizeof fWide[0]);
    task.counts->Add(place, fWide.data(), fChosen.data(), end, cases);
  }
}

}  // namespace qxtree
