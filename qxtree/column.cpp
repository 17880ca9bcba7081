// SPDX-FileCopyrightText: The qxutils authors
// SPDX-License-Identifier: Apache-2.0

#include "qxtree/column.h"

#include <fmt/format.h>

#include <algorithm>
#include <limits>

#include "qxutils/platform/qxutilsexception.h"
#include "qxutils/text/infinityport.h"
#include "qxutils/viewset/qxviewbuffer.h"

namespace qxtree {
namespace {

constexpr int kDecisive = 1000;
constexpr int kFewTexts = 4096;  // before their share of the cells is looked at
constexpr int kMostCodes = static_cast<int>(kMostCategories) + Block::FirstValue;
constexpr std::size_t kSegmentBytes = 48;  // two in a vector that grows

}  // namespace

void Clue::Take(Kind kind) {
  if (seen == 0) first = kind;
  ++seen;
  run += kind == first && kind != Kind::Text;
}

void Clue::Add(const Clue& next) {
  if (seen == 0) {
    *this = next;
  } else if (run == seen && next.seen > 0) {
    const bool goesOn = next.first == first;
    seen += goesOn ? next.seen : 1;
    run += goesOn ? next.run : 0;
  }
}

bool Clue::IsDecided() const { return seen >= kDecisive; }

Kind Clue::Decide() const { return run < std::min(seen, kDecisive) ? Kind::Text : first; }

void ColumnFacts::Add(const ColumnFacts& next) {
  clue.Add(next.clue);
  isEmpty = isEmpty && next.isEmpty;
  missing += next.missing;
  malformed += next.malformed;
  if (placeOfMalformed.empty()) {
    placeOfMalformed = next.placeOfMalformed;
    firstMalformed = next.firstMalformed;
  }
  if (whyLeftOut.empty()) whyLeftOut = next.whyLeftOut;
}

Column::Column(std::optional<Kind> kind, ReadingContext& context, int view)
    : fContext(context), fView(view), fDictionary(context.dictionaries) {
  if (kind) Decide(*kind);
}

void Column::TakeSlowly(std::string_view cell, long line) {
  if (!fFacts.whyLeftOut.empty()) return;
  if (!fKind) return TakeUndecided(cell, line);
  if (fIsCoded && cell.size() > Dictionary::kMostShort) {
    const int code = fDictionary.Find(cell);
    if (code != Dictionary::kNone) return PutCode(static_cast<std::uint16_t>(code));
  }
  const bool isMissing = fContext.missing.Has(cell);
  if (fIsCoded) {
    if (!isMissing) return TakeNewText(cell, line);
    if (!cell.empty()) fDictionary.Add(cell, Block::Missing);  // if there is room, to be faster
    return PutCode(Block::Missing);
  }
  if (!isMissing) {
    double plain = 0;
    if (fKind == Kind::Number && ParsePlain(cell, plain)) return PutValue(plain);
    if (const auto value = ParseCell(*fKind, cell)) return PutValue(*value);
    NoteMalformed(cell, line);
  }
  ++fCounts[isMissing ? Block::Missing : Block::Malformed];
  PutValue(qxg_800::GetInfinity());
}

// All cells before are of one kind. A cell that is not decides for texts.
void Column::TakeUndecided(std::string_view cell, long line) {
  const bool isMissing = fContext.missing.Has(cell);
  if (!isMissing) {
    fFacts.clue.Take(ParseNumber(cell) ? Kind::Number : ParseDate(cell) ? Kind::Date : Kind::Text);
    if (fFacts.clue.run < fFacts.clue.seen) {
      Decide(Kind::Text);
      return Take(cell, line);
    }
    if (fDictionary.Find(cell) == Dictionary::kNone && !fIsShort) {
      fIsShort = !fDictionary.Add(cell, fNextCode);
      fNextCode += !fIsShort;
    }
  }
  const std::uint32_t bytes = isMissing ? Block::kMissing : static_cast<std::uint32_t>(cell.size());
  fCounts[Block::Missing] += isMissing;
  fBlock.texts.append(reinterpret_cast<const char*>(&bytes), sizeof bytes);
  if (!isMissing) fBlock.texts.append(cell);
  ++fBlock.rows;
  if (fBlock.rows == fContext.blockRows || fBlock.texts.size() > BlockBytes())
    Flush(Block::Form::Texts);
  if (fFacts.clue.IsDecided()) Decide(fFacts.clue.Decide());
}

void Column::Decide(Kind kind) {
  Flush(Block::Form::Texts);
  fKind = kind;
  fIsCoded = true;
  fBlock.codes.resize(fContext.blockRows);
  if (kind == Kind::Text) {
    if (fIsShort) LeaveOut(kTooMuchText);
    return;
  }
  if (fIsShort) return FreeDictionary();  // what is left of it
  fDictionary.ForEach(
      [&](std::string_view text, int) { fBlock.fresh.push_back(*ParseCell(kind, text)); });
}

// The first cell of its text.
void Column::TakeNewText(std::string_view cell, long line) {
  const bool isText = fKind == Kind::Text;
  const std::optional<double> value = isText ? std::nullopt : ParseCell(*fKind, cell);
  const bool isFit = isText ? ToUtf8(cell).has_value() : value.has_value();
  if (!isFit) NoteMalformed(cell, line);
  if (!isFit && isText) {
    fDictionary.Add(cell, Block::Malformed);  // if there is room
    return PutCode(Block::Malformed);
  }
  const bool isFull = isFit && fNextCode == kMostCodes;
  const long cells = fCoded + static_cast<long>(fBlock.rows);
  const bool isUseless = !isText && fNextCode > kFewTexts && fNextCode > cells / 4 * 3;
  const int code = isFit ? fNextCode : static_cast<int>(Block::Malformed);
  if (isFull && isText) return LeaveOut(kTooManyCategories);
  if (isFull || isUseless || !AddText(cell, code)) {
    if (isText) return LeaveOut(kTooMuchText);
    FreeDictionary();
    return TakeSlowly(cell, line);
  }
  fNextCode += isFit;
  if (value) fBlock.fresh.push_back(*value);
  PutCode(static_cast<std::uint16_t>(code));
}

bool Column::AddText(std::string_view cell, int code) {
  while (!fDictionary.Add(cell, code))
    if (fKind != Kind::Text || !fContext.freeDictionary()) return false;
  return true;
}

void Column::FreeDictionary() {
  if (fIsCoded && fBlock.rows > 0) Flush(Block::Form::Words);
  fIsShort = !fKind;
  fIsCoded = false;
  fIsCodedThroughout = false;
  fDictionary.Clear();
}

void Column::LeaveOut(const std::string& why) {
  fFacts.whyLeftOut = why;
  fIsCoded = false;
  fDictionary.Clear();
  fBlock = {};
}

void Column::NoteMalformed(std::string_view cell, long line) {
  if (!fFacts.placeOfMalformed.empty()) return;
  fFacts.placeOfMalformed = fmt::format("line {}{}", line, fContext.file);
  fFacts.firstMalformed = ShownCell(cell);
}

void Column::PutValue(double value) {
  fBlock.values.push_back(value);
  if (++fBlock.rows == fContext.blockRows) Flush(Block::Form::Values);
}

void Column::Finish() {
  const bool isUndecided = fFacts.whyLeftOut.empty() && !fKind && fFacts.clue.seen > 0;
  if (isUndecided) Decide(fFacts.clue.Decide());
  fFacts.isEmpty = !fKind;
  fFacts.kind = fKind.value_or(Kind::Number);
  fFacts.missing = fCounts[Block::Missing];
  fFacts.malformed = fCounts[Block::Malformed];
  if (!fFacts.whyLeftOut.empty()) return;
  Flush(!fKind ? Block::Form::Texts : fIsCoded ? Block::Form::Words : Block::Form::Values);
  if (fKind != Kind::Text) fDictionary.Clear();
  fBlock = {};
}

void Column::Flush(Block::Form form) {
  if (fBlock.rows == 0) return;
  const bool isNarrow = fNextCode - 1 <= std::numeric_limits<std::uint8_t>::max();
  fBlock.form = form == Block::Form::Words && isNarrow ? Block::Form::Bytes : form;
  const std::string bytes = fBlock.Packed();
  qxg_800::QxViewBuffer* const buffer = fContext.views->manager.GetViewBuffer(fView, 1);
  for (std::size_t done = 0; done < bytes.size();) {
    // A write that finds the buffer full empties it first.
    const long room = buffer->GetCapacity() - buffer->GetSize();
    if (room == 0) fContext.segmentBytes += kSegmentBytes;
    const auto most = static_cast<std::size_t>(room > 0 ? room : buffer->GetCapacity());
    const int count = static_cast<int>(std::min(most, bytes.size() - done));
    if (fContext.views->Write(fView, bytes.data() + done, count) != count)
      throw qxg_800::QxUtilsException(QxUtils_800::FileWriteError);
    done += static_cast<std::size_t>(count);
  }
  if (form == Block::Form::Words) fCoded += fBlock.rows;
  fBlock.rows = 0;
  fBlock.fresh.clear();
  fBlock.values.clear();
  fBlock.texts.clear();
  if (fBlock.texts.capacity() > 2 * BlockBytes()) fBlock.texts.shrink_to_fit();
}

}  // namespace qxtree
