// SPDX-FileCopyrightText: The qxutils authors
// SPDX-License-Identifier: Apache-2.0

#include "qxtree/table.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <stdexcept>
#include <utility>

#include "qxtree/categories.h"
#include "qxtree/importer.h"
#include "qxtree/target.h"

namespace qxtree {
namespace {

constexpr std::size_t kColumnsPerGroup = 32;  // so many files are open at once

class TableMaker {
 public:
  TableMaker(const Options& options, TempFolder& folder, Peers& peers)
      : fOptions(options),
        fFolder(folder),
        fPeers(peers),
        fImport(ImportRows(options, folder, peers)),
        fImporter(*fImport.importer),
        fTable(folder.Settings()) {}

  Table Make() {
    fTable.rows = fImporter.CountRows();
    fTable.records = fImport.facts.rows;
    fTable.target = fImporter.Target();
    fTable.hasWeights = fImporter.Weight() != Importer::kNone;
    for (std::size_t i = 0; i < fImporter.CountColumns(); ++i) Describe(i);
    ReadTarget(fImport, fOptions, fPeers, fTable);
    for (std::size_t i = 0; i < fTable.columns.size(); ++i)
      if (fTable.columns[i].isInput) AddInput(i);
    if (!fGroup.empty()) WriteGroup();
    fFolder.Measure();
    return std::move(fTable);
  }

 private:
  // A column whose bins are known, but not written yet.
  struct Input {
    std::size_t column;
    Stream cells;
    Categories categories;
  };

  void Describe(std::size_t i) {
    TableColumn& column = fTable.columns.emplace_back();
    static_cast<ColumnFacts&>(column) = fImport.facts.columns[i];
    column.name = fImport.facts.names[i];
    column.isIgnored = !fImporter.Get(i);
    const bool isWeight = i == fImporter.Weight();
    if (isWeight) column.remark = "weight";
    column.isInput = !column.isIgnored && i != fTable.target && !isWeight &&
                     column.whyLeftOut.empty() && !column.isEmpty;
  }

  void AddInput(std::size_t i) {
    TableColumn& column = fTable.columns[i];
    Column& from = *fImporter.Get(i);
    Input input{i, fImporter.TakeStream(i), {}};
    if (column.kind == Kind::Text) {
      // Several processes may have more texts than the dictionaries of one can hold.
      const std::size_t most = fImporter.TextBytes();
      input.categories = SortCategories(from.Texts(), most - std::min(most, fTextBytes), fPeers);
      fTextBytes += input.categories.Bytes();
      column.categories = std::move(input.categories.texts);
      column.distinct = column.categories.size();
      column.whyLeftOut = input.categories.whyNot;
    } else {
      Distinct distinct;
      do {
        AddValues(input.cells, from, column.kind, distinct);
        distinct.EndPass();
        fPeers.Join(distinct);
      } while (distinct.HasCoarse());
      column.bins =
          MakeBins(column.kind, distinct.Groups(), static_cast<std::size_t>(fOptions.bins));
      column.distinct = distinct.Groups().size();
      fTable.binBytes += column.bins.Bytes();
      CheckBins(i + 1);
      column.isMerged = distinct.IsMerged();
      column.summary = distinct.Summarize();
    }
    // A histogram of one node has to fit.
    const std::size_t bytes = fTable.HistogramBytes(column);
    if (bytes > static_cast<std::size_t>(fOptions.memory) / 4)
      column.whyLeftOut = fmt::format("counts of {} bins by class need {}M of memory",
                                      column.CountBins(), bytes / (1 << 20) * 4 + 4);
    if (!column.whyLeftOut.empty()) {
      column.isInput = false;
      column.categories = {};
      return from.Texts().Clear();
    }
    fGroup.push_back(std::move(input));
    if (fGroup.size() == kColumnsPerGroup) WriteGroup();
  }

  // They may take three quarters of the memory. Those of the other columns are taken for as many.
  void CheckBins(std::size_t columns) const {
    if (fTable.binBytes <= static_cast<std::size_t>(fOptions.memory) / 4 * 3) return;
    const std::size_t bytes = fTable.binBytes / columns * fTable.columns.size();
    throw std::runtime_error(
        fmt::format("memory: the bins of {} columns need about {}M; fewer bins need less",
                    fTable.columns.size(), bytes / 3 * 4 / (1 << 20) + 1));
  }

  // Of training cases.
  void AddValues(Stream& stream, const Column& from, Kind kind, Distinct& distinct) {
    ColumnReader reader(stream, kind, nullptr);
    CasesReader readCases(fTable);
    const bool isCoded = from.IsCodedThroughout();
    std::vector<double> ofCode, weights(kBlockRows);
    for (std::size_t row = 0; row < fTable.rows;) {
      Poll();
      const Cases& cases = readCases.Next();
      for (std::size_t i = 0; i < cases.rows; ++i) weights[i] = std::max(cases.weights[i], 0.0);
      for (std::size_t i = 0; i < cases.rows;) {
        const ColumnReader::Cells cells = reader.Next(cases.rows - i);
        const std::vector<double>& table = reader.Table();
        ofCode.resize(table.size());
        const bool isByCode = isCoded && cells.codes;
        for (std::size_t at = 0; isByCode && at < cells.count; ++at)
          ofCode[cells.codes[at]] += weights[i + at];
        for (std::size_t at = 0; !isByCode && at < cells.count; ++at) {
          const double value = cells.codes ? table[cells.codes[at]] : cells.values[at];
          if (weights[i + at] > 0 && std::isfinite(value)) distinct.Add(value, weights[i + at]);
        }
        i += cells.count;
      }
      row += cases.rows;
    }
    if (isCoded)
      for (std::size_t code = Block::FirstValue; code < ofCode.size(); ++code)
        if (ofCode[code] > 0) distinct.Add(reader.Table()[code], ofCode[code]);
  }

  void WriteGroup() {
    std::vector<Mapped<std::uint16_t>> readers;
    CodeGroup group{{}, {}, Stream(fFolder.Settings())};
    for (Input& input : fGroup) {
      const TableColumn& column = fTable.columns[input.column];
      readers.emplace_back(input.cells, column.kind, &fImporter.Get(input.column)->Texts());
      group.columns.push_back(input.column);
      group.isWide.push_back(column.CountBins() > 0xFF);
    }
    std::vector<std::uint16_t> bins(kBlockRows);
    for (std::size_t row = 0; row < fTable.rows; row += kBlockRows) {
      Poll();
      const std::size_t rows = std::min(kBlockRows, fTable.rows - row);
      ShowProgress("bins", static_cast<double>(row) / static_cast<double>(fTable.rows));
      for (std::size_t i = 0; i < fGroup.size(); ++i) {
        const TableColumn& column = fTable.columns[fGroup[i].column];
        readers[i].Next(rows, bins.data(),
                        [&](const double* values, std::size_t count, std::uint16_t* out) {
                          FindBins(column, fGroup[i], values, count, out);
                        });
        if (group.isWide[i])
          group.codes.Write(bins.data(), rows * sizeof bins[0]);
        else
          group.codes.WriteAs<unsigned char>(bins.data(), rows);
      }
    }
    group.codes.Close();
    fTable.groups.push_back(std::move(group));
    for (const Input& input : fGroup) fImporter.Get(input.column)->Texts().Clear();
    fGroup.clear();
  }

  static void FindBins(const TableColumn& column, const Input& input, const double* values,
                       std::size_t count, std::uint16_t* out) {
    if (column.kind != Kind::Text) column.bins.Find(values, count, out);
    for (std::size_t i = 0; i < count; ++i)
      if (!std::isfinite(values[i]))
        out[i] = static_cast<std::uint16_t>(column.CountBins());
      else if (column.kind == Kind::Text)
        out[i] = input.categories.placeOf[static_cast<std::size_t>(values[i])];
  }

  const Options& fOptions;
  TempFolder& fFolder;
  Peers& fPeers;
  Import fImport;
  Importer& fImporter;
  Table fTable;
  std::vector<Input> fGroup;
  std::size_t fTextBytes = 0;  // of categories
};

}  // namespace

Table ReadTable(const Options& options, TempFolder& folder, Peers& peers) {
  return TableMaker(options, folder, peers).Make();
}

CasesReader::CasesReader(Table& table) : fTable(table) { fTable.cases.Rewind(); }

const Cases& CasesReader::Next() {
  const std::size_t rows = fCases.rows = std::min(kBlockRows, fTable.rows - fRow);
  fRow += rows;
  fCases.weights.resize(rows);
  if (fTable.hasWeights)
    fTable.cases.Read(fCases.weights.data(), rows * sizeof(double));
  else
    fTable.cases.ReadAs<signed char>(fCases.weights.data(), rows);
  if (fTable.isRegression) {
    fCases.targets.resize(rows);
    fTable.cases.Read(fCases.targets.data(), rows * sizeof(double));
  } else {
    fCases.classes.resize(rows);
    fTable.cases.Read(fCases.classes.data(), rows * sizeof(std::uint16_t));
  }
  return fCases;
}

}  // namespace qxtree
