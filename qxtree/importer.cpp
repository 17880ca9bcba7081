// SPDX-FileCopyrightText: The qxutils authors
// SPDX-License-Identifier: Apache-2.0

#include "qxtree/importer.h"

#include <fmt/format.h>

#include <algorithm>
#include <stdexcept>
#include <utility>

#include "qxtree/names.h"
#include "qxtree/parts.h"

namespace qxtree {
namespace {

// Besides what the budgets below are for: the objects of a column, and its bins later. As much
// again is the least for them.
constexpr std::size_t kColumnBytes = 6144;
constexpr std::size_t kLeastMemory = 8 << 20;
constexpr std::size_t kLeastBlock = 16;
// More makes the last close no faster.
constexpr std::size_t kEnoughBuffers = 8 << 20, kEnoughBuffer = 32 << 10;

}  // namespace

Importer::Importer(const Options& options, TempFolder& folder, Kinds kinds)
    : fOptions(options), fFolder(folder), fKinds(std::move(kinds)), fMissing(options.missing) {}

void Importer::Read(const CsvInput& input) {
  ReadCsv(input, fOptions.delimiter, *this);
  for (const auto& column : fColumns)
    if (column) column->Finish();
  TakeFiles();
  fViews.reset();
}

void Importer::BeginPart(const CsvPart& part) {
  fFile = part.path == fOptions.input ? "" : fmt::format(" of '{}'", part.path);
}

// Ends the view set, before it has noted too many segments, and begins another one.
void Importer::TakeFiles() {
  const int views = static_cast<int>(fInfos.size());
  for (int view = 0; view + 1 < views; ++view) fViews->Close(view);
  const std::size_t before = fFolder.Measure();  // the files of earlier sets, and the shared one
  fViews->Close(views - 1);
  for (int view = 0; view < views; ++view)
    fFiles[static_cast<std::size_t>(view)].push_back(fViews->TakeFile(view));
  // In the end of the last close the shared file and those of the views were there at once.
  const std::size_t after = fFolder.Measure();
  fFolder.Note(before + after - std::exchange(fFileBytes, after));
  fViews.reset();  // two sets would take the memory twice
  fViews = std::make_unique<examples::ViewSet>(fBuffers, fInfos, fFolder.Settings());
  fContext->views = fViews.get();
  fContext->segmentBytes = 0;
}

Stream Importer::TakeStream(std::size_t column) {
  return {std::move(fFiles[static_cast<std::size_t>(fViewOf[column])]), fFolder.Settings()};
}

// At most a quarter of the memory is for the buffers of views and one for dictionaries. An eighth
// is for blocks, and one for what the view set notes of its segments. The texts of columns of texts
// stay, as categories: they take half as much again.
void Importer::TakeHeader(const std::vector<std::string>& names) {
  fNames = names;
  fTarget = Find(fOptions.target, "target");
  if (!fOptions.weight.empty()) fWeight = Find(fOptions.weight, "weight");
  if (fWeight == fTarget) throw UsageError("weight: this column is the target");
  for (const auto& [list, setting] :
       {std::pair(&fOptions.texts, "text"), std::pair(&fOptions.numbers, "number"),
        std::pair(&fOptions.ignored, "ignore")})
    for (const std::string& name : *list) Find(name, setting);
  auto memory = static_cast<std::size_t>(fOptions.memory);
  const std::size_t least = kLeastMemory + 2 * names.size() * kColumnBytes;
  if (memory < least)
    throw std::runtime_error(
        fmt::format("memory: {} columns need at least {}M", names.size(), (least >> 20) + 1));
  memory -= names.size() * kColumnBytes;
  fDictionaries.limit = memory / 4;
  fMostSegmentBytes = memory / 8;
  for (std::size_t i = 0; i < names.size(); ++i) {
    const bool isIgnored = Has(fOptions.ignored, names[i]) && i != fTarget && i != fWeight;
    fViewOf.push_back(isIgnored ? -1 : static_cast<int>(fInfos.size()));
    if (!isIgnored) fInfos.push_back({1, 0});
  }
  fFiles.resize(fInfos.size());
  const std::size_t buffers = std::max(kEnoughBuffers, names.size() * kEnoughBuffer);
  fBuffers = static_cast<long>(std::min(memory / 4, buffers));
  fViews = std::make_unique<examples::ViewSet>(fBuffers, fInfos, fFolder.Settings());
  const std::size_t rows = memory / 8 / names.size() / (2 * sizeof(double));
  fContext = std::make_unique<ReadingContext>(ReadingContext{
      fViews.get(), fMissing, fDictionaries, 0, std::clamp(rows, kLeastBlock, kBlockRows), fFile,
      [this] { return FreeDictionary(); }});
  for (std::size_t i = 0; i < names.size(); ++i) {
    fColumns.push_back(nullptr);
    const auto utf8 = ToUtf8(names[i]);
    fNames[i] = utf8 ? *utf8 : ShownCell(names[i]);  // the latter for one that is ignored
    if (fViewOf[i] < 0) continue;
    if (!utf8)
      throw std::runtime_error(
          fmt::format("column '{}': not in the locale's code set", ToLocale(fNames[i])));
    std::optional<Kind> kind = fKinds.empty() ? std::nullopt : fKinds[i];
    if (Has(fOptions.texts, names[i])) kind = Kind::Text;
    if (Has(fOptions.numbers, names[i]) || i == fWeight) kind = Kind::Number;
    fColumns[i] = std::make_unique<Column>(kind, *fContext, fViewOf[i]);
  }
}

std::size_t Importer::Find(const std::string& name, const char* setting) const {
  const auto found = std::find(fNames.begin(), fNames.end(), name);
  if (found == fNames.end())
    throw UsageError(fmt::format("{}: {}", setting, NoColumn(name, fNames)));
  return static_cast<std::size_t>(found - fNames.begin());
}

// The greatest one.
bool Importer::FreeDictionary() {
  Column* greatest = nullptr;
  for (const auto& column : fColumns)
    if (column && column->IsFreeable() &&
        (!greatest || column->Texts().Bytes() > greatest->Texts().Bytes()))
      greatest = column.get();
  if (greatest) greatest->FreeDictionary();
  return greatest != nullptr;
}

void ImportFacts::Add(const ImportFacts& next) {
  areNamesEqual = areNamesEqual && next.areNamesEqual && next.names == names;
  rows += next.rows;
  for (std::size_t i = 0; areNamesEqual && i < columns.size(); ++i) columns[i].Add(next.columns[i]);
}

Import ImportRows(const Options& options, TempFolder& folder, Peers& peers) {
  const CsvInput input = FindParts(options, peers);
  Import result;
  const auto read = [&](Kinds kinds) {
    result.importer.reset();  // its memory
    result.importer = std::make_unique<Importer>(options, folder, std::move(kinds));
    result.importer->Read(input);
  };
  const auto joined = [&] {
    Importer& importer = *result.importer;
    ImportFacts facts{importer.Names(), true, importer.CountRows(), {}};
    for (std::size_t i = 0; i < importer.CountColumns(); ++i)
      facts.columns.push_back(importer.Get(i) ? importer.Get(i)->Facts() : ColumnFacts());
    peers.Join(facts);
    return facts;
  };
  read({});
  result.facts = joined();
  if (!result.facts.areNamesEqual)
    throw std::runtime_error("the files of the processes do not have the same columns");
  if (result.facts.rows == 0)
    throw std::runtime_error(fmt::format("'{}': no rows after the header", options.input));
  result.rowsBefore = peers.SumBefore(result.importer->CountRows());
  Kinds kinds;
  bool isMisled = false;
  for (std::size_t i = 0; i < result.facts.columns.size(); ++i) {
    ColumnFacts& all = result.facts.columns[i];
    if (all.clue.seen > 0) all.kind = all.clue.Decide();
    kinds.push_back(all.isEmpty ? std::nullopt : std::optional(all.kind));
    const Column* const own = result.importer->Get(i);
    isMisled = isMisled || (own && !own->Facts().isEmpty && own->Facts().kind != all.kind);
  }
  const std::vector<char> misled = peers.GatherEach(static_cast<char>(isMisled));
  if (std::count(misled.begin(), misled.end(), 0) == peers.Count()) return result;
  if (isMisled) read(kinds);
  result.facts = joined();
  for (std::size_t i = 0; i < kinds.size(); ++i)
    result.facts.columns[i].kind = kinds[i].value_or(Kind::Number);
  return result;
}

}  // namespace qxtree
