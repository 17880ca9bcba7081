#ifndef QXTREE_REPORT_H
#define QXTREE_REPORT_H

#include <string>

#include "qxtree/dataset.h"

namespace qxtree {

// A table of the columns, read back from their files, and a line of totals. Throws what ReadColumn
// throws.
std::string Report(const Dataset& data, const WorkFolder& folder);

// `text` with blanks in the place of line ends and other control characters.
std::string OneLine(std::string text);

}  // namespace qxtree

#endif
