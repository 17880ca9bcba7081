// SPDX-FileCopyrightText: The qxutils authors
// SPDX-License-Identifier: Apache-2.0

#include "qxutils/iterators/binencodercache.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <new>
#include <type_traits>
#include <utility>

#include "qxutils/iterators/iteratorstatus.h"

namespace qxg_800 {
namespace {

using Record = Arbex_800::TRecord<double>;

constexpr int kDoubles = 2;  // of one record

// What the C library's heap takes for a value in a std::map<double, double>: a node of 48 bytes,
// and 16 of its own.
constexpr std::size_t kMapBytes = 64;

// Multiplicative hashing by the golden ratio (D. E. Knuth, The Art of Computer Programming 3, 6.4).
constexpr std::uint64_t kGoldenRatio = 0x9E3779B97F4A7C15;

// How many of `count` things `isBefore` holds for; they are the first ones. There is no branch that
// the processor could predict wrongly.
template <class Predicate>
std::size_t CountBefore(std::size_t count, Predicate isBefore) {
  std::size_t before = 0;
  for (std::size_t half = 0; count > 1; count -= half) {
    half = count / 2;
    before += half * static_cast<std::size_t>(isBefore(before + half - 1));
  }
  return before + static_cast<std::size_t>(count == 1 && isBefore(before));
}

}  // namespace

static_assert(std::is_standard_layout_v<record> && sizeof(record) == kDoubles * sizeof(double) &&
                  offsetof(record, weight) == sizeof(double),
              "the host library's record reads value and weight as two doubles in a row");

ValueWeights& ValueWeights::operator=(const ValueWeights& other) {
  ValueWeights copy(other);  // the list's own assignment may stop half-way
  Swap(copy);
  return *this;
}

void ValueWeights::Swap(ValueWeights& other) noexcept {
  fLeaves.swap(other.fLeaves);
  std::swap(fSize, other.fSize);
}

double& ValueWeights::operator[](double value) {
  const std::size_t place = Search(value);
  return (Has(place, value) ? At(place) : Insert(place, value)).weight;
}

// The place of the value, or where it belongs. The greatest value and greater ones need no search.
std::size_t ValueWeights::Search(double value) const {
  if (fLeaves.empty()) return 0;
  std::size_t leaf = fLeaves.size() - 1;
  const double greatest = fLeaves[leaf].back().value;
  if (greatest <= value)
    return leaf * kStride + fLeaves[leaf].size() - static_cast<std::size_t>(greatest == value);
  leaf = CountBefore(leaf, [&](std::size_t i) { return fLeaves[i + 1].front().value <= value; });
  const Leaf& records = fLeaves[leaf];
  return leaf * kStride +
         CountBefore(records.size(), [&](std::size_t i) { return records[i].value < value; });
}

bool ValueWeights::Has(std::size_t place, double value) const {
  return place < End() && place % kStride < fLeaves[place / kStride].size() &&
         At(place).value == value;
}

// Whether Insert needs memory, where there is a leaf. A vector may have more room than it was asked
// for, and is split all the same.
bool ValueWeights::IsFullAt(std::size_t place) const {
  const Leaf& records = fLeaves[place / kStride];
  return records.size() >= std::min(records.capacity(), std::size_t{kLeafSize});
}

// The first leaf gets room for 1, 3, 7, ... 255 records. The heap adds 16 bytes to each block, so
// the one for 2^k - 1 records takes 16 * 2^k. All blocks up to it and the list of leaves take 32 *
// 2^k. It is needed for the 2^(k-1)th value, and a map of so many takes the same.
record& ValueWeights::Insert(std::size_t place, double value) {
  std::size_t leaf = place / kStride;
  std::size_t number = place % kStride;
  if (fLeaves.empty()) {
    fLeaves.push_back({{value, 0}});
    fSize = 1;
    return fLeaves[0][0];
  }
  if (fLeaves[leaf].size() == kLeafSize) {
    // Ascending values leave all leaves full, others leave them half full at least.
    const bool isAscending = leaf + 1 == fLeaves.size() && number == kLeafSize;
    const std::size_t kept = isAscending ? kLeafSize : kLeafSize / 2;
    Split(leaf, kept);
    if (isAscending || number > kept) {
      ++leaf;
      number -= kept;
    }
  }
  Leaf& records = fLeaves[leaf];
  if (records.size() == records.capacity()) {
    std::size_t capacity = 1;
    while (capacity <= records.size()) capacity = 2 * capacity + 1;
    records.reserve(capacity);
  }
  ++fSize;
  return *records.insert(records.begin() + static_cast<std::ptrdiff_t>(number), {value, 0});
}

void ValueWeights::Split(std::size_t leaf, std::size_t kept) {
  const auto from = static_cast<std::ptrdiff_t>(kept);
  Leaf upper;
  upper.reserve(kLeafSize);
  upper.assign(fLeaves[leaf].begin() + from, fLeaves[leaf].end());
  fLeaves.insert(fLeaves.begin() + static_cast<std::ptrdiff_t>(leaf) + 1, std::move(upper));
  fLeaves[leaf].erase(fLeaves[leaf].begin() + from, fLeaves[leaf].end());
}

// What makes updates fast: the last record, and an index of slots with the places of records. The
// bits of a value choose its slot. A record there that has the value needs no search. Values that
// share a slot take turns.
struct BinEncoderCache::Shortcuts {
  explicit Shortcuts(record* pRecord) : pLast(pRecord) {}

  // Of repeated values every other weight waits for the next one. A total that was just stored is
  // slow to load again: loaded half as often, a value costs four tenths less.
  void AddToLast(double weight) {
    if (isWaiting) {
      pLast->weight = pLast->weight + waiting + weight;
      isWaiting = false;
    } else {
      waiting = weight;
      isWaiting = true;
    }
  }

  // From here on the map has all weights.
  void Settle() {
    if (!isWaiting) return;
    pLast->weight += waiting;
    isWaiting = false;
  }

  std::size_t SlotOf(double value) const {
    std::uint64_t bits = 0;
    std::memcpy(&bits, &value, sizeof bits);
    return (bits * factor >> 32) * slots >> 32;
  }

  // The record that the slot leads to; without an index the last one. It may be another value's.
  record* Guess(double value, ValueWeights& map) const {
    if (pBytes) return &map.At(pBytes[SlotOf(value)]);
    if (pWords) return &map.At(pWords[SlotOf(value)]);
    return pLast;
  }

  void Found(double value, std::size_t place, const ValueWeights& map);
  void DropIndex();
  void MakeIndex(const ValueWeights& map);
  void ChooseSlots(const ValueWeights& map);
  template <class Place>
  std::size_t Fill(Place* pPlaces, const ValueWeights& map) const;

  record* pLast;                            // that of the last update
  double waiting = 0;                       // when isWaiting: a weight that *pLast has yet to get
  std::unique_ptr<std::uint8_t[]> pBytes;   // the index of a single leaf; null: there is none
  std::unique_ptr<std::uint16_t[]> pWords;  // that of several
  std::uint64_t factor = kGoldenRatio;
  std::uint32_t slots = 0;
  std::uint32_t searches = 0;  // without an index
  bool isWaiting = false;
};

// Puts a record that was searched for into its slot. An index is made once searches have cost about
// as much as making it does.
void BinEncoderCache::Shortcuts::Found(double value, std::size_t place, const ValueWeights& map) {
  constexpr std::size_t kSearches = 4;  // for each value
  if (pBytes) {
    pBytes[SlotOf(value)] = static_cast<std::uint8_t>(place);
  } else if (pWords) {
    pWords[SlotOf(value)] = static_cast<std::uint16_t>(place);
  } else if (++searches > kSearches * map.size()) {
    MakeIndex(map);
  }
}

void BinEncoderCache::Shortcuts::DropIndex() {
  pBytes.reset();
  pWords.reset();
  searches = 0;
}

// The index may take what a map would take beyond the blocks of these values. Blocks given back
// count too, because glibc keeps those of up to 1040 bytes for the thread. A small index reuses
// one: that of the leaf before it grew. It had 8 bytes for each record that the leaf has room for
// now.
void BinEncoderCache::Shortcuts::MakeIndex(const ValueWeights& map) {
  constexpr std::size_t kMostBytes = 120'000;  // the heap maps larger blocks anew each time
  constexpr std::size_t kKeptBytes = 1100;
  constexpr std::size_t kMostLeaves = 256;  // that places of 16 bits can tell apart
  const std::size_t leaves = map.fLeaves.size();
  const std::size_t capacity = map.fLeaves[0].capacity();
  // See ValueWeights::Insert. A leaf takes 4096 bytes, and up to 100 in the list.
  const std::size_t taken = leaves == 1 ? 32 * (capacity + 1) : 2200 + 4200 * leaves;
  const std::size_t limit = kMapBytes * map.size();
  std::size_t bytes = limit < taken + kKeptBytes ? 0 : std::min(limit - taken - 24, kMostBytes);
  if (leaves == 1 && capacity > 7) bytes = std::max(bytes, 8 * capacity);
  searches = 0;
  slots = static_cast<std::uint32_t>(leaves == 1 ? bytes : bytes / sizeof pWords[0]);
  if (slots < map.size() || leaves > kMostLeaves) return;
  if (leaves == 1) {
    pBytes.reset(new (std::nothrow) std::uint8_t[slots]);
    if (pBytes) ChooseSlots(map);
  } else {
    pWords.reset(new (std::nothrow) std::uint16_t[slots]);
    if (pWords) Fill(pWords.get(), map);
  }
}

// Tries some factors and takes the one with the fewest values that share a slot: each needs a
// search about every other time. Among many values all factors are alike.
void BinEncoderCache::Shortcuts::ChooseSlots(const ValueWeights& map) {
  constexpr int kTries = 64;
  std::uint64_t best = factor;
  std::size_t fewest = Fill(pBytes.get(), map);
  for (int i = 1; i < kTries && fewest > 0; ++i) {
    factor *= kGoldenRatio;
    const std::size_t shared = Fill(pBytes.get(), map);
    if (shared < fewest) {
      fewest = shared;
      best = factor;
    }
  }
  factor = best;
  Fill(pBytes.get(), map);
}

// Returns how many values share the slot of an earlier one.
template <class Place>
std::size_t BinEncoderCache::Shortcuts::Fill(Place* pPlaces, const ValueWeights& map) const {
  std::size_t shared = 0;
  std::fill_n(pPlaces, slots, Place{0});
  for (std::size_t place = 0; place < map.End(); place = map.After(place)) {
    Place& slot = pPlaces[SlotOf(map.At(place).value)];
    shared += static_cast<std::size_t>(slot != 0);
    slot = static_cast<Place>(place);
  }
  return shared;
}

BinEncoderCache::BinEncoderCache() = default;

BinEncoderCache::BinEncoderCache(const BinEncoderCache& other)
    : fValueWeights(other.fValueWeights) {
  const Shortcuts* const theirs = other.fpShortcuts.get();
  if (theirs && theirs->isWaiting) fValueWeights[theirs->pLast->value] += theirs->waiting;
}

BinEncoderCache& BinEncoderCache::operator=(const BinEncoderCache& other) {
  if (this == &other) return *this;
  BinEncoderCache copy(other);
  fValueWeights.Swap(copy.fValueWeights);
  fpShortcuts.reset();
  return *this;
}

BinEncoderCache::~BinEncoderCache() = default;

// In as few cache lines as there can be: elsewhere repeated values take a sixth longer.
[[gnu::aligned(64)]] void BinEncoderCache::update(double* rec) {
  if (!rec) return;
  const double value = rec[0];
  if (Shortcuts* const shortcuts = fpShortcuts.get()) {
    if (shortcuts->pLast->value == value) return shortcuts->AddToLast(rec[1]);
    shortcuts->Settle();
    record* const guess = shortcuts->Guess(value, fValueWeights);
    if (guess->value == value) {
      guess->weight += rec[1];
      shortcuts->pLast = guess;
      return;
    }
  }
  UpdateSearched(value, rec[1]);
}

void BinEncoderCache::UpdateSearched(double value, double weight) {
  constexpr std::size_t kFewestValues = 4;  // for shortcuts: of fewer a map takes no more
  if (std::isnan(value)) return;            // would pass for equal to another one
  const std::size_t place = fValueWeights.Search(value);
  const bool isNew = !fValueWeights.Has(place, value);
  if (isNew && fpShortcuts && fValueWeights.IsFullAt(place)) fpShortcuts->DropIndex();
  record& found = isNew ? fValueWeights.Insert(place, value) : fValueWeights.At(place);
  found.weight += weight;
  if (fpShortcuts) {
    fpShortcuts->pLast = &found;
    fpShortcuts->Found(value, place, fValueWeights);
  } else if (fValueWeights.size() >= kFewestValues) {
    fpShortcuts.reset(new (std::nothrow) Shortcuts(&found));
  }
}

Arbex_800::ADoubleRecordIterator* BinEncoderCache::createIterator() {
  if (fpShortcuts) fpShortcuts->Settle();
  return std::make_unique<BinEncoderIterator>(fValueWeights).release();
}

BinEncoderIterator::BinEncoderIterator(std::size_t numRecords)
    : fpRecords(new record[numRecords]), fNumRecords(static_cast<long>(numRecords)) {
  fpRecord = std::make_unique<Record>(reinterpret_cast<double*>(fpRecords.get()), kDoubles);
}

// The order of the maps is that of compare_record already: there is nothing to sort.
BinEncoderIterator::BinEncoderIterator(const ValueWeights& pairs)
    : BinEncoderIterator(pairs.size()) {
  record* to = fpRecords.get();
  for (const record& pair : pairs) *to++ = pair;
}

BinEncoderIterator::BinEncoderIterator(const std::map<double, double>& pairs)
    : BinEncoderIterator(pairs.size()) {
  record* to = fpRecords.get();
  for (const auto& [value, weight] : pairs) *to++ = {value, weight};
}

BinEncoderIterator::~BinEncoderIterator() = default;

int BinEncoderIterator::HasMore() const {
  return fFailReason = fPos >= kDoubles * fNumRecords ? kEndOfData : kReady;
}

Record* BinEncoderIterator::Next() {
  if (fPos >= kDoubles * fNumRecords) return nullptr;
  // The first record is read first, so nothing that is still to come is overwritten.
  fpRecords[0] = fpRecords[static_cast<std::size_t>(fPos / kDoubles)];
  fPos += kDoubles;
  return fpRecord.get();
}

int BinEncoderIterator::GetFailReason() const { return fFailReason; }

}  // namespace qxg_800
