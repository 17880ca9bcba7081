// SPDX-FileCopyrightText: The qxutils authors
// SPDX-License-Identifier: Apache-2.0

// The settings of a run, from the command line and a configuration file.
#ifndef QXTREE_OPTIONS_H
#define QXTREE_OPTIONS_H

#include <stdexcept>
#include <string>
#include <vector>

namespace qxtree {

struct Options {
  enum class Task { Automatic, Classes, Regression };

  bool isPrediction = false;  // `qxtree predict`: by `model`, from `input`
  std::string help;           // not empty: show this and do nothing else
  std::string input;          // a file, or "-" for standard input
  std::string model;          // grow: written, if not empty
  std::string target, temp;
  std::string weight;  // empty: each record is one case
  std::string dot;     // empty: none
  std::vector<std::string> missing{"NA", "NaN", "nan", "null", "?"};
  std::vector<std::string> texts, numbers, ignored;  // columns
  Task task = Task::Automatic;
  char delimiter = ',';
  bool showsProgress = false;  // even where standard error is no terminal
  long memory = 0;             // bytes
  long seed = 0;
  int depth = 0, bins = 0;
  double minCases = 0, minGain = 0, holdout = 0;

  // Those that processes of one run have to share.
  template <class Self, class Visitor>
  static void Visit(Self& self, Visitor& visit) {
    visit(self.isPrediction), visit(self.help.empty()), visit(self.input), visit(self.target);
    visit(self.weight), visit(self.missing), visit(self.texts), visit(self.numbers);
    visit(self.ignored), visit(self.task), visit(self.delimiter), visit(self.memory);
    visit(self.seed), visit(self.depth), visit(self.bins), visit(self.minCases);
    visit(self.minGain), visit(self.holdout);
  }
};

// Wrong use; the text says of which flag or key.
struct UsageError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// Throws UsageError, and std::runtime_error for a configuration file that can't be read.
Options ParseOptions(int argc, const char* const* argv);

}  // namespace qxtree

#endif
