// SPDX-FileCopyrightText: The qxutils authors
// SPDX-License-Identifier: Apache-2.0

// Which part of the input each process reads.
#ifndef QXTREE_PARTS_H
#define QXTREE_PARTS_H

#include <string>
#include <vector>

#include "qxtree/csvreader.h"
#include "qxtree/options.h"
#include "qxtree/peers.h"

namespace qxtree {

// The files that an input stands for, those of all processes.
std::vector<std::string> ListFiles(const std::string& input, int processes);

// The parts of the input that are this process's. The rows of all processes together, in the order
// of ranks, are those of the input:
//
// - One file is cut at row ends, at about equal bytes. For that each process reads its bytes once
//   more, to know whether a line end lies within quotation marks. A cut counts the line feeds
//   before it, so that messages name lines of the whole file.
// - A pattern (`part-*.csv`) stands for the files that match it, in the order of their names. Each
//   process gets some in a row.
// - {rank} stands for the rank of the process, which reads one file.
//
// Throws std::system_error, and std::runtime_error when no file matches. Several processes can't
// share standard input, a pipe or a compressed file: std::runtime_error.
CsvInput FindParts(const Options& options, Peers& peers);

}  // namespace qxtree

#endif
