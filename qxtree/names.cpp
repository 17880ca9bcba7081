// SPDX-FileCopyrightText: The qxutils authors
// SPDX-License-Identifier: Apache-2.0

#include "qxtree/names.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstddef>
#include <numeric>

#include "qxtree/cells.h"

namespace qxtree {
namespace {

constexpr std::size_t kMostCompared = 64;  // bytes
constexpr std::size_t kMostListed = 20;

// By V. I. Levenshtein (1966), row by row.
std::size_t Distance(const std::string& from, const std::string& to) {
  std::vector<std::size_t> row(to.size() + 1);
  std::iota(row.begin(), row.end(), std::size_t{0});
  for (const char byte : from) {
    std::size_t diagonal = row[0]++;
    for (std::size_t j = 0; j < to.size(); ++j) {
      const std::size_t replaced = diagonal + (byte != to[j]);
      diagonal = row[j + 1];
      row[j + 1] = std::min({replaced, row[j] + 1, diagonal + 1});
    }
  }
  return row.back();
}

std::string Shown(const std::string& name) { return ToLocale(ShownCell(name)); }

std::string Listed(const std::vector<std::string>& names) {
  std::string text;
  for (std::size_t i = 0; i < std::min(names.size(), kMostListed); ++i)
    text += (i == 0 ? "" : ", ") + Shown(names[i]);
  if (names.size() > kMostListed) text += fmt::format(" and {} more", names.size() - kMostListed);
  return text;
}

}  // namespace

bool Has(const std::vector<std::string>& names, const std::string& name) {
  return std::find(names.begin(), names.end(), name) != names.end();
}

std::string Nearest(const std::string& name, const std::vector<std::string>& names) {
  std::string nearest;
  std::size_t least = 2 * kMostCompared;  // above every distance
  for (const std::string& other : names) {
    const std::size_t distance =
        Distance(name.substr(0, kMostCompared), other.substr(0, kMostCompared));
    if (distance < least) nearest = other;
    least = std::min(least, distance);
  }
  return nearest;
}

std::string NoColumn(const std::string& name, const std::vector<std::string>& names) {
  return fmt::format("there is no column '{}'; the nearest is '{}' ({})", Shown(name),
                     Shown(Nearest(name, names)), Listed(names));
}

}  // namespace qxtree
