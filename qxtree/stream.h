// SPDX-FileCopyrightText: The qxutils authors
// SPDX-License-Identifier: Apache-2.0

// Streams of bytes on disk: single ones, and the cells of a column in compact form.
#ifndef QXTREE_STREAM_H
#define QXTREE_STREAM_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "examples/viewset.h"
#include "qxtree/cells.h"
#include "qxtree/dictionary.h"

namespace qxtree {

// A temporary file that is written from start to end, then read any number of times. All failures
// throw qxg_800::QxUtilsException.
class Stream {
 public:
  // A new file in the settings' folder, open for writing; removed with the object. The settings
  // must outlive it.
  explicit Stream(const Arbex_800::EnvironmentSettings& settings);
  // What is written already, in files one after the other.
  Stream(std::vector<examples::ViewFile> files, const Arbex_800::EnvironmentSettings& settings);

  void Write(const void* data, std::size_t bytes);
  void Rewind();  // to be called before the first Read; ends writing
  void Read(void* data, std::size_t bytes);
  void Close();

  // Writes numbers as another type, which they fit into.
  template <class To, class From>
  void WriteAs(const From* numbers, std::size_t count) {
    std::vector<To> converted(count);
    std::transform(numbers, numbers + count, converted.begin(),
                   [](From number) { return static_cast<To>(number); });
    Write(converted.data(), count * sizeof(To));
  }
  // Reads numbers that were written as the type `From`.
  template <class From, class To>
  void ReadAs(To* numbers, std::size_t count) {
    std::vector<From> read(count);
    Read(read.data(), count * sizeof(From));
    std::copy(read.begin(), read.end(), numbers);
  }

 private:
  void Open(std::size_t file, int mode);

  std::vector<examples::ViewFile> fFiles;
  std::size_t fCurrent = 0;  // of the files
  const Arbex_800::EnvironmentSettings* fpSettings;
};

// The cells of a column, block after block. A block says how many rows it has and in which form.
// Then come the values of codes that are new, and a code, a value or a text for each row. So a
// reader needs no other table.
struct Block {
  enum class Form : std::uint32_t { Bytes, Words, Values, Texts };  // codes of one or two bytes
  static constexpr std::uint32_t kMissing = 0xFFFFFFFF;             // in place of a text's length

  // Codes of what has no value.
  enum : std::uint16_t { Missing, Malformed, FirstValue };

  Form form = Form::Bytes;
  std::uint32_t rows = 0;
  std::vector<double> fresh;         // values of the next codes
  std::vector<std::uint16_t> codes;  // `rows` of them at least, in either form of codes
  std::vector<double> values;
  std::string texts;  // each its length in four bytes and its bytes

  std::size_t Bytes() const;
  std::string Packed() const;
};

// Reads the cells of one column back in order. A value is a number, seconds, or a category's code
// in the dictionary less Block::FirstValue; infinity where there is none. Throws as Stream does.
// Stream and dictionary must outlive it.
class ColumnReader {
 public:
  // Of texts `dictionary` gives the codes. It is not used for other kinds.
  ColumnReader(Stream& stream, Kind kind, const Dictionary* dictionary);

  // Some of the next cells, at most `most`: codes into Table(), or values.
  struct Cells {
    std::size_t count;
    const std::uint16_t* codes;  // null: there are values
    const double* values;
  };
  // REQUIRES: so many cells are left (not checked).
  Cells Next(std::size_t most);

  // The value of each code so far. It grows while cells are read.
  const std::vector<double>& Table() const { return fTable; }

 private:
  void ReadBlock();
  void ReadTexts();
  double ValueOf(std::string_view text);

  Stream& fStream;
  Kind fKind;
  const Dictionary* fpDictionary;
  std::vector<double> fTable;
  Block fBlock;
  std::size_t fNext = 0;  // row of the block
};

// The cells of a column mapped to another type. What a code stands for is worked out once.
template <class T>
class Mapped {
 public:
  // As a ColumnReader.
  Mapped(Stream& stream, Kind kind, const Dictionary* dictionary)
      : fReader(stream, kind, dictionary) {}

  // Maps the next `count` cells by of(values, their count, out). REQUIRES: so many are left (not
  // checked).
  template <class Of>
  void Next(std::size_t count, T* out, Of of) {
    while (count > 0) {
      const ColumnReader::Cells cells = fReader.Next(count);
      const std::vector<double>& table = fReader.Table();
      const std::size_t known = fOfCode.size();
      fOfCode.resize(table.size());
      of(table.data() + known, table.size() - known, fOfCode.data() + known);
      if (cells.codes) {
        const T* const ofCode = fOfCode.data();
        std::transform(cells.codes, cells.codes + cells.count, out,
                       [ofCode](std::uint16_t code) { return ofCode[code]; });
      } else {
        of(cells.values, cells.count, out);
      }
      out += cells.count;
      count -= cells.count;
    }
  }

 private:
  ColumnReader fReader;
  std::vector<T> fOfCode;
};

}  // namespace qxtree

#endif
