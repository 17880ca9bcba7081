// SPDX-FileCopyrightText: The qxutils authors
// SPDX-License-Identifier: Apache-2.0

// What holds whatever flags the project around the library and this program are compiled with.
#ifdef __SSE__
#include <xmmintrin.h>
#endif

#include <cstdio>
#include <cstring>

#include "qxutils/iterators/binencodercache.h"
#include "qxutils/numeric/randomizer.h"
#include "qxutils/text/localeutil.h"

int main() {
  unsigned long bits[] = {0xFFF0000000000001, 0x7FF0000000000000, 0xFFF0000000000000};
  double special[3];  // a signalling NaN and both infinities, which the flags may rule out
  std::memcpy(special, bits, sizeof bits);
  const auto [nan, infinity, lowest] = special;
  double records[][2] = {{lowest, 1}, {-0.0, 2}, {5e-324, 3}, {infinity, 4}, {nan, 5}};
  qxg_800::BinEncoderCache cache;
  for (const int i : {4, 3, 1, 2, 0}) cache.update(records[i]);
  const std::unique_ptr<Arbex_800::ADoubleRecordIterator> iterator(cache.createIterator());
  int found = 0;
  while (iterator->HasMore() == 0)
    found += std::memcmp(iterator->Next()->data, records[found % 5], 16) == 0;
#ifdef __SSE__
  if (_mm_getcsr() & 0x8040) return std::puts("denormals count as zero");
#endif
  if (found != 4) return std::printf("%d records in place of 4\n", found);
  if (!qxg_800::compare_record({lowest, 0}, {infinity, 0})) return std::puts("wrong order");
  if (qxg_800::Format(nan, false, nullptr) != "-nan") return std::puts("not the text of printf");
  return qxg_800::Randomizer(1, nan, true).GetRandomFreq(9) == 0 ? 0 : std::puts("cases drawn");
}
