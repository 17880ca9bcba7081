#ifndef QXTREE_DATASET_H
#define QXTREE_DATASET_H

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "qxtree/column.h"
#include "qxtree/workfolder.h"
#include "qxutils/storage/tempfilestorage.h"

namespace qxtree {

// Who takes a view file from a view set removes it: here that goes with the ownership.
struct RemoveFile {
  void operator()(TempFileStorage* file) const;
};
using ViewFile = std::unique_ptr<TempFileStorage, RemoveFile>;

// A table whose values lie on disk, column by column.
struct Dataset {
  std::vector<Column> columns;
  std::vector<ViewFile> files;  // per column, one double a row
  long rows = 0;
  long openFiles = 0;  // the most temporary files found open while the columns were written
};

// Reads the CSV file at `path` into files in `folder`, which outlives the result; `memory` in
// bytes is for buffers. Throws what ReadCsv and a view set throw.
Dataset ReadDataset(const std::string& path, long memory, const WorkFolder& folder);

// Hands the values in a column's file to `use`, row by row. Throws std::runtime_error unless there
// are `rows` of them.
void ReadColumn(const TempFileStorage& file, long rows, const WorkFolder& folder,
                const std::function<void(double)>& use);

}  // namespace qxtree

#endif
