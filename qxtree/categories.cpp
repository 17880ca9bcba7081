// SPDX-FileCopyrightText: The qxutils authors
// SPDX-License-Identifier: Apache-2.0

#include "qxtree/categories.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "qxtree/cells.h"
#include "qxtree/column.h"

namespace qxtree {

std::size_t Categories::Bytes() const {
  std::size_t bytes = 0;
  for (const std::string& text : texts) bytes += sizeof(std::string) + text.size();
  return bytes;
}

void Categories::Add(Categories&& other) {
  std::vector<std::string> all;
  const auto moved = [](auto at) { return std::make_move_iterator(at); };
  std::set_union(moved(texts.begin()), moved(texts.end()), moved(other.texts.begin()),
                 moved(other.texts.end()), std::back_inserter(all));
  texts = std::move(all);
  if (whyNot.empty()) whyNot = other.whyNot;
  if (texts.size() > kMostCategories) whyNot = kTooManyCategories;
  if (Bytes() > mostBytes) whyNot = kTooMuchText;
  if (!whyNot.empty()) texts = {};
}

Categories SortCategories(const Dictionary& dictionary, std::size_t mostBytes, Peers& peers) {
  const auto forEach = [&](auto use) {
    dictionary.ForEach([&](std::string_view text, int code) {
      if (code >= Block::FirstValue)
        use(*ToUtf8(text), static_cast<std::size_t>(code - Block::FirstValue));
    });
  };
  Categories categories;
  categories.mostBytes = mostBytes;
  forEach([&](std::string text, std::size_t) { categories.texts.push_back(std::move(text)); });
  std::sort(categories.texts.begin(), categories.texts.end());
  peers.Join(categories);
  categories.placeOf.resize(dictionary.Size());  // of texts that are missing, too
  if (!categories.whyNot.empty()) return categories;
  const std::vector<std::string>& all = categories.texts;
  forEach([&](const std::string& text, std::size_t code) {
    const auto at = std::lower_bound(all.begin(), all.end(), text);
    categories.placeOf[code] = static_cast<std::uint16_t>(at - all.begin());
  });
  return categories;
}

}  // namespace qxtree
