#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <optional>
#include <utility>

#include "qxtree/qxtree.h"
#include "qxutils/iterators/binfileiterator.h"
#include "qxutils/numeric/randomizer.h"
#include "qxutils/platform/qxutilsexception.h"

namespace qxtree {
namespace {

constexpr int kItemBytes = sizeof(double);
constexpr std::size_t kRowsPerShow = 1 << 12;

void Require(bool success, const char* otherwise) {
  if (!success) throw std::runtime_error(otherwise);
}

std::size_t Find(const CsvRow& names, const std::string& name, const char* setting) {
  const auto found = std::find(names.begin(), names.end(), name);
  if (found == names.end())
    throw UsageError(fmt::format("{}: there is no column '{}'", setting, name));
  return static_cast<std::size_t>(found - names.begin());
}

// Writes each record, as it comes, to the views of one view set.
class Importer {
 public:
  Importer(const Options& options, TempFolder& folder)
      : fOptions(options), fData(folder), fRandomizer(options.seed, options.holdout, true) {}

  // The first one is the header.
  void Take(const CsvRow& row) {
    if (fData.columns.empty()) return TakeHeader(row);
    for (std::size_t i = 0; i < row.size(); ++i) fItems[i] = fData.columns[i].Encode(row[i]);
    DivideCases();
    for (int view = 0; view < CountViews(); ++view) {
      const char* item = reinterpret_cast<const char*>(&fItems[static_cast<std::size_t>(view)]);
      Require(fViews->Write(view, item, kItemBytes) == kItemBytes, "a view refused a value");
    }
    Poll();  // for each record: drawing the cases of a heavy one takes a while
    if (++fData.rows % kRowsPerShow == 0) Show(fmt::format("reading: record {}", fData.rows));
  }

  // After the last row. The last close makes the files.
  Dataset Finish() {
    Require(std::isfinite(fCases), "the total of cases is not finite");
    fData.folder.CountOpenFiles();
    for (int view = 0; view < CountViews(); ++view)
      Require(fViews->Close(view), "a view could not be closed");
    for (int view = 0; view < CountViews(); ++view) {
      fData.views.push_back(fViews->TakeFile(view));
      Require(fData.views.back() != nullptr, "a view has no file");
    }
    for (Column& column : fData.columns) column.MakeBins(fOptions.bins);
    return std::move(fData);
  }

 private:
  void TakeHeader(const CsvRow& names) {
    fData.training = names.size();
    fData.heldOut = names.size() + 1;
    fItems.resize(names.size() + 2);
    fData.target = Find(names, fOptions.target, "target");
    fWeight = fOptions.weight.empty() ? names.size() : Find(names, fOptions.weight, "weight");
    if (fWeight == fData.target) throw UsageError("weight: this column is the target");
    for (std::size_t i = 0; i < names.size(); ++i) {
      const bool isTarget = i == fData.target, isWeight = i == fWeight;
      const Kind kind = isTarget ? Kind::Text : isWeight ? Kind::Number : Kind::Undecided;
      fData.columns.emplace_back(names[i], kind, fOptions.distinct);
      if (!isTarget && !isWeight) fData.inputs.push_back(i);
    }
    const std::vector<qxg_800::ViewInfo> infos(fItems.size(), {kItemBytes, 0});
    fViews.emplace(fOptions.memory, infos, fData.folder.Settings());
  }

  void DivideCases() {
    const double weight = fWeight < fData.columns.size() ? fItems[fWeight] : 1;
    const bool hasWeight = std::isfinite(weight) && weight >= 0;
    const bool hasTarget = std::isfinite(fItems[fData.target]);
    fData.withoutWeight += !hasWeight;
    fData.withoutTarget += !hasTarget;
    const double cases = hasWeight && hasTarget ? weight : 0;
    // Drawn apart, since a fraction of a case would be drawn as a whole one.
    const double whole = std::floor(cases), fraction = cases - whole;
    double heldOut = fRandomizer.GetRandomFreq(whole);
    if (fraction > 0) heldOut += fraction * fRandomizer.GetRandomFreq(1);
    fCases += cases;
    fItems[fData.training] = cases - heldOut;
    fItems[fData.heldOut] = heldOut;
    for (std::size_t i = 0; i < fData.columns.size(); ++i)
      fData.columns[i].AddCases(fItems[i], cases - heldOut);
  }

  int CountViews() const { return static_cast<int>(fItems.size()); }

  const Options& fOptions;
  Dataset fData;
  qxg_800::Randomizer fRandomizer;
  std::size_t fWeight = 0;                  // a column; none: their number
  double fCases = 0;                        // of all records
  std::vector<double> fItems;               // of the record, by view
  std::optional<examples::ViewSet> fViews;  // made when the header is known
};

}  // namespace

Dataset ReadDataset(const Options& options, TempFolder& folder) try {
  Importer importer(options, folder);
  ReadCsv(options.input, [&](const CsvRow& row) { importer.Take(row); });
  return importer.Finish();
} catch (const qxg_800::QxUtilsException& error) {
  throw std::runtime_error(
      fmt::format("{} (temporary files under '{}')", error.what(), options.temp));
}

void Scan(const Dataset& data, const std::vector<std::size_t>& views, const std::string& task,
          const std::function<void(std::size_t, const double*)>& use) {
  std::vector<std::unique_ptr<qxg_800::BinFileIterator>> iterators;
  for (const std::size_t view : views) {
    const TempFileStorage& file = *data.views[view];
    iterators.push_back(std::make_unique<qxg_800::BinFileIterator>(
        file.GetFileName().c_str(), 1, data.folder.Settings(), file.GetSeqId()));
  }
  data.folder.CountOpenFiles();
  std::vector<double> values(views.size());
  for (std::size_t row = 0; row < data.rows; ++row) {
    for (std::size_t i = 0; i < views.size(); ++i) {
      // An iteration also ends where a file can't be read.
      Require(iterators[i]->HasMore() == 0, "records of a view are missing");
      values[i] = iterators[i]->Next()->data[0];
    }
    use(row, values.data());
    if (row % kRowsPerShow != 0) continue;
    Poll();
    Show(fmt::format("{}: record {} of {}", task, row, data.rows));
  }
}

}  // namespace qxtree
