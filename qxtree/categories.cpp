// SPDX-FileCopyrightText: The qxutils authors
// SPDX-License-Identifier: Apache-2.0

#include "qxtree/categories.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "qxtree/cells.h"
#include "qxtree/column.h"

namespace qxtree {

void Categories::Add(const Categories& other) {
  std::vector<std::string> all;
  std::set_union(texts.begin(), texts.end(), other.texts.begin(), other.texts.end(),
                 std::back_inserter(all));
  if (whyNot.empty()) whyNot = other.whyNot;
  std::size_t bytes = 0;
  for (const std::string& text : all) bytes += text.size();
  if (all.size() > kMostCategories) whyNot = kTooManyCategories;
  if (bytes > mostBytes) whyNot = kTooMuchText;
  texts = whyNot.empty() ? std::move(all) : std::vector<std::string>();
}

Categories SortCategories(const Dictionary& dictionary, std::size_t mostBytes, Peers& peers) {
  std::vector<std::pair<std::string, int>> texts;
  dictionary.ForEach([&](std::string_view text, int code) {
    if (code >= Block::FirstValue) texts.emplace_back(*ToUtf8(text), code - Block::FirstValue);
  });
  std::sort(texts.begin(), texts.end());
  Categories categories;
  categories.mostBytes = mostBytes;
  for (const auto& known : texts) categories.texts.push_back(known.first);
  peers.Join(categories);
  categories.placeOf.resize(dictionary.Size());  // of texts that are missing, too
  auto at = categories.texts.begin();
  for (const auto& [text, code] : texts) {
    if (!categories.whyNot.empty()) break;
    at = std::lower_bound(at, categories.texts.end(), text);
    categories.placeOf[static_cast<std::size_t>(code)] =
        static_cast<std::uint16_t>(at - categories.texts.begin());
  }
  return categories;
}

}  // namespace qxtree
