// The parts of qxtree, which grows a classification tree on a CSV file that may be larger than
// memory. All text within the program is UTF-8, but for messages of errors.
#ifndef QXTREE_QXTREE_H
#define QXTREE_QXTREE_H

#include <functional>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "examples/viewset.h"
#include "examples/workfolder.h"
#include "qxutils/host/environmentsettings.h"
#include "qxutils/iterators/binencodercache.h"
#include "qxutils/numeric/qxstatistics.h"

namespace qxtree {

// options.cpp: the settings; --help says what each is for.

struct Options {
  std::string input, target, temp;
  std::string weight;  // empty: each record is one case
  std::string dot;     // empty: none
  std::string help;    // not empty: show this and do nothing else
  long memory = 0, seed = 0;
  int depth = 0, bins = 0;
  std::size_t distinct = 0;
  double minCases = 0, holdout = 0;
};

// Wrong use; the text says of which flag or key.
struct UsageError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// Throws UsageError, and std::runtime_error for a configuration file that can't be read.
Options ParseOptions(int argc, const char* const* argv);

// main.cpp: what has to be left as it was found.

// A signal asks the program to end. Not a std::exception: only main handles it.
struct Interrupted {};

// Throws Interrupted when there is a mark.
void Poll();

// Shows the progress in place of the last one on standard error, where that is a terminal.
void Show(const std::string& progress);

// The folder for all temporary files. It outlives their users, so nothing stays behind whatever
// fails, not even the shared file of a set given up early.
class TempFolder {
 public:
  // Makes it under `parent`. Throws std::system_error that names `parent`.
  explicit TempFolder(const std::string& parent) : fFolder(parent) {}

  // Removes it now. Throws std::system_error, where the destructor reports nothing.
  void Remove() { fFolder.Remove(); }

  // Settings with this folder, an absolute path without links, as the temporary one.
  const Arbex_800::EnvironmentSettings& Settings() const { return fSettings; }

  // Counts the view sets' files in the folder that this process has open, as the kernel knows them.
  void CountOpenFiles();
  long MostOpenFiles() const { return fMostOpenFiles; }

 private:
  examples::WorkFolder fFolder;
  const Arbex_800::EnvironmentSettings fSettings{fFolder.Path()};
  long fMostOpenFiles = 0;
};

// csvreader.cpp

using CsvRow = std::vector<std::string>;

// Streams a CSV file in bounded memory: hands `use` the header's names, no two alike, then the
// cells of each row, as many. A row ends at a line feed, a carriage return or both. Skips blanks
// around cells without quotation marks, a UTF-8 byte order mark and lines with nothing in them.
// Throws what `use` throws, and Interrupted. Throws std::runtime_error that names the file, and the
// line (by line feeds) when it is malformed. A cell of more than 1 MiB is, and so are cells of one
// row of more than 16 MiB.
void ReadCsv(const std::string& path, const std::function<void(const CsvRow&)>& use);

// column.cpp

// What a column holds; the first cell that is not empty settles what is undecided.
enum class Kind { Undecided, Number, Date, Text };

// One column of a table: turns cells into values, and values into the bins that a tree is grown on.
//
// The value of a number is itself, of a date its seconds since 14 October 1582, of a text a code.
// Missing cells (empty ones) and malformed ones (not of the column's kind, or not to be converted
// whole from the locale's code set) are infinity.
//
// Memory does not grow with the number of cells: at most `limit` (from 2) distinct values are held.
// Neighbouring numbers or dates are then merged into half as many groups, each under its greatest
// value.
class Column {
 public:
  // Throws std::runtime_error when the name, in the locale's code set, can't be converted.
  Column(const std::string& name, Kind kind, std::size_t limit);

  // Throws std::runtime_error, which names the column, for a text too many.
  double Encode(const std::string& cell);

  // Adds cases, if any, to the statistics and the distinct values, unless of a text or infinity.
  void AddCases(double value, double cases);

  // To be called after the last cell. Makes at most `count` bins of about equal weight for numbers
  // and dates. Texts get one a category, in the order of their bytes.
  void MakeBins(int count);

  // A number's bin is the first one whose greatest value is not below it, else the last one; that
  // of infinity is CountBins().
  std::size_t BinOf(double value) const;
  std::size_t CountBins() const { return fKind == Kind::Text ? fTexts.size() : fGreatest.size(); }
  std::string BinText(std::size_t bin) const;  // the category, or the greatest value
  std::string ValueText(double value) const;   // of a number or date

  const std::string& Name() const { return fName; }
  Kind GetKind() const { return fKind; }
  long CountMissing() const { return fMissing; }      // cells
  long CountMalformed() const { return fMalformed; }  // cells
  std::size_t CountDistinct() const { return fKind == Kind::Text ? fTexts.size() : Pairs().size(); }
  bool IsMerged() const { return fMerged; }
  const qxg_800::QxStatistics& Statistics() const { return fStatistics; }

 private:
  double CodeOf(const std::string& text);
  std::vector<qxg_800::record> Pairs() const;
  void Recount();

  std::string fName;
  Kind fKind;
  std::size_t fLimit;
  long fMissing = 0, fMalformed = 0;
  std::map<std::string, double> fCodes;              // by text in the locale's code set
  std::vector<std::string> fTexts;                   // by code; after MakeBins by bin
  std::vector<std::size_t> fBins;                    // by code
  qxg_800::QxStatistics fStatistics{1 | 2 | 4 | 8};  // all four
  mutable qxg_800::BinEncoderCache fCache;           // its createIterator is not const
  std::vector<double> fKnown;  // ascending: the cache's values when they were last counted
  std::size_t fFresh = 0;      // values added since then that were not among them
  bool fMerged = false;
  std::vector<double> fGreatest;  // by bin, ascending
};

// dataset.cpp

// A table whose values lie on disk. A record stands for cases: some to grow the tree on (training),
// the others held out to test it.
struct Dataset {
  explicit Dataset(TempFolder& tempFolder) : folder(tempFolder) {}

  TempFolder& folder;  // of the views
  std::vector<Column> columns;
  std::vector<std::size_t> inputs;  // the columns that may explain the target
  std::size_t target = 0;           // the column of the classes
  // One double a record: a view per column, then the next two.
  std::vector<examples::ViewFile> views;
  std::size_t training = 0, heldOut = 0;  // views of cases

  std::size_t rows = 0;
  long withoutTarget = 0;  // records, which stand for no cases, like those
  long withoutWeight = 0;  // whose weight is missing, malformed or negative
};

// Streams the CSV file into views. Throws UsageError for a column that is not there, and what
// ReadCsv, a Column and a view set throw.
Dataset ReadDataset(const Options& options, TempFolder& folder);

// Reads views in step and hands `use` each record's number, from 0, and values, in the order of
// `views`. Throws Interrupted, and std::runtime_error when records are missing.
void Scan(const Dataset& data, const std::vector<std::size_t>& views, const std::string& task,
          const std::function<void(std::size_t, const double*)>& use);

// tree.cpp

using Classes = std::vector<double>;  // cases by class

// How the records of a node are told apart.
struct Split {
  std::size_t column = 0;
  double gain = 0;           // of the Gini index, times the node's cases; 0: there is no split
  std::vector<bool> isLeft;  // per bin of the column, that of infinity last
  Classes children[2];       // training cases, left and right
};

struct Node {
  double Cases() const;
  std::size_t Commonest() const;  // the first class of the most cases

  Classes classes;       // training cases
  std::size_t left = 0;  // the left child, the right one is the next; 0: a leaf
  Split split;
};

struct Tree {
  std::vector<Node> nodes;  // the root first, then level by level
  // Held-out cases: all, those of their leaf's commonest class, those of the root's.
  double heldOut = 0, correct = 0, commonest = 0;
};

// Grows a tree level by level. One pass over each column adds up histograms for the level's open
// nodes. Another one over each column that splits some of them moves their records on.
//
// Numbers and dates are cut between bins. With two classes, categories are ordered by class share
// and cut (Breiman, Friedman, Olshen, Stone, Classification and Regression Trees, 1984). With more
// classes, one category is held against the rest. What is missing goes to the side that is heavier
// by the others, the left one of equal ones. So do categories of which a node has no training
// cases. Of splits of equal gain the first column's lowest cut is taken.
//
// Memory: an int a record, and the histograms of one column at a time. These take the open nodes of
// a level * bins (or categories) * classes * 8 bytes. Throws what Scan throws, and
// std::runtime_error when there are no training cases.
Tree GrowTree(const Dataset& data, const Options& options);

// report.cpp

struct Results {
  std::string report;  // the columns (numbers and dates of the training cases), rules, accuracy
  std::string dot;     // the tree as a graph in the language of Graphviz
};
Results Report(const Tree& tree, const Dataset& data);

// `text` with blanks in the place of line ends and other control characters.
std::string OneLine(std::string text);

}  // namespace qxtree

#endif
