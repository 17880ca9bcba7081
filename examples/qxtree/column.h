#ifndef QXTREE_COLUMN_H
#define QXTREE_COLUMN_H

#include <deque>
#include <limits>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>

namespace qxtree {

// The value of a cell that is empty, or not of its column's kind.
constexpr double kMissing = std::numeric_limits<double>::infinity();

// What a column holds, settled by its first cell that is not empty.
enum class Kind { Empty, Number, Text };

// A column's name and kind, and how its cells become numbers and are shown again.
//
// A number stands for itself, a text for its code: 0, 1, 2 and so on in the order in which the
// distinct texts appeared. Memory grows with the number of distinct texts, not with that of cells.
class Column {
 public:
  explicit Column(std::string name) : fName(std::move(name)) {}
  Column(Column&&) = default;
  Column& operator=(Column&&) = default;
  Column(const Column&) = delete;
  Column& operator=(const Column&) = delete;

  // The value of a cell: a finite double, or kMissing, which is counted.
  double Encode(std::string_view cell);

  // The text of a value that Encode gave.
  std::string Decode(double value) const;

  const std::string& Name() const { return fName; }
  Kind GetKind() const { return fKind; }
  long CountMissing() const { return fMissing; }

 private:
  double CodeOf(std::string_view text);

  std::string fName;
  Kind fKind = Kind::Empty;
  long fMissing = 0;                                    // cells
  std::deque<std::string> fTexts;                       // by code; a deque never moves them
  std::unordered_map<std::string_view, double> fCodes;  // the keys lie in fTexts
};

}  // namespace qxtree

#endif
