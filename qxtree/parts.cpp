// SPDX-FileCopyrightText: The qxutils authors
// SPDX-License-Identifier: Apache-2.0

#include "qxtree/parts.h"

#include <fmt/format.h>
#include <glob.h>

#include <algorithm>
#include <array>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <stdexcept>
#include <utility>

#include "qxtree/input.h"
#include "qxtree/process.h"

namespace qxtree {
namespace {

namespace fs = std::filesystem;

constexpr std::string_view kRank = "{rank}";

// Where a row begins.
struct Start {
  std::uint64_t byte;
  std::size_t feeds;  // of the range, before it
};

// Finds the first row that begins in a range of bytes.
class Range {
 public:
  Range(const std::string& path, std::uint64_t begin, std::uint64_t end) : fByte(begin) {
    // The byte before tells whether a row begins at the first one.
    std::size_t before = begin > 0 ? 1 : 0;
    Input input(path, begin - before, end);
    for (std::string_view block = input.Next(); !block.empty(); block = input.Next()) {
      ShowProgress("cutting", input.Share());
      if (before > 0 && IsLineEnd(block[0])) fStarts[0] = Start{begin, 0};
      Take(block.substr(std::exchange(before, 0)));
    }
  }

  std::size_t Quotes() const { return fQuotes; }
  std::size_t Feeds() const { return fFeeds; }
  // With so many quotation marks before the range. Nothing: no row begins in it.
  const std::optional<Start>& Find(std::size_t quotesBefore) const {
    return fStarts[quotesBefore % 2];
  }

 private:
  static bool IsLineEnd(char byte) { return byte == '\n' || byte == '\r'; }

  // From one quotation mark to the next, until both starts are found.
  void Take(std::string_view block) {
    while (!block.empty() && !(fStarts[0] && fStarts[1])) {
      const std::string_view text = block.substr(0, block.find('"'));
      // Outside of quotation marks their number is even, with those before.
      std::optional<Start>& start = fStarts[fQuotes % 2];
      const std::size_t end = start ? text.npos : text.find_first_of("\n\r");
      if (end != text.npos)
        start = Start{fByte + end + 1, fFeeds + CountOf('\n', text.substr(0, end + 1))};
      fFeeds += CountOf('\n', text);
      const bool hasMark = text.size() < block.size();
      fQuotes += hasMark;
      fByte += text.size() + hasMark;
      block.remove_prefix(text.size() + hasMark);
    }
    fByte += block.size();
    fQuotes += CountOf('"', block);
    fFeeds += CountOf('\n', block);
  }

  static std::size_t CountOf(char byte, std::string_view text) {
    return static_cast<std::size_t>(std::count(text.begin(), text.end(), byte));
  }

  std::uint64_t fByte;
  std::size_t fQuotes = 0, fFeeds = 0;  // so far
  std::array<std::optional<Start>, 2> fStarts;
};

std::uint64_t SizeToCut(const std::string& path, int processes) {
  const bool isFile = path != "-" && fs::is_regular_file(path);
  if (isFile) {
    Input input(path);
    input.Next();
    if (!input.IsCompressed()) return fs::file_size(path);
  } else if (path != "-" && !fs::exists(path)) {
    Input input(path);  // says why
  }
  throw std::runtime_error(fmt::format(
      "{} {}: {} processes can't share it; name a file for each, as in part-{{rank}}.csv",
      path == "-" ? "standard input" : fmt::format("'{}'", path),
      isFile ? "is compressed" : "is no file", processes));
}

CsvInput CutFile(const Options& options, Peers& peers) {
  const std::string& path = options.input;
  const std::uint64_t size = SizeToCut(path, peers.Count());
  for (const std::uint64_t other : peers.GatherEach(size))
    if (other != size)
      throw std::runtime_error(
          fmt::format("'{}' has {} bytes here and {} elsewhere", path, size, other));
  const CsvHeader header = ReadCsvHeader(path, options.delimiter);
  const auto rank = static_cast<std::uint64_t>(peers.Rank());
  const auto count = static_cast<std::uint64_t>(peers.Count());
  const std::uint64_t step = (size - header.bytes) / count, begin = header.bytes + rank * step;
  const Range range(path, begin, rank + 1 < count ? begin + step : size);
  const std::size_t quotes = peers.SumBefore(range.Quotes());
  const std::size_t feeds = peers.SumBefore(range.Feeds());
  const std::optional<Start> start = rank == 0 ? Start{begin, 0} : range.Find(quotes);
  std::vector<std::uint64_t> starts = peers.GatherEach(start ? start->byte : size);
  starts.push_back(size);
  const std::uint64_t end = *std::min_element(starts.begin() + peers.Rank() + 1, starts.end());
  CsvInput input{{}, header.names};
  const auto line = static_cast<long>(feeds + (start ? start->feeds : 0)) + header.lineFeeds + 1;
  if (start && start->byte < end) input.parts = {{path, start->byte, end, line}};
  return input;
}

std::vector<std::string> Match(const std::string& pattern) {
  glob_t found{};
  const std::unique_ptr<glob_t, void (*)(glob_t*)> owner(&found, globfree);
  const int result = glob(pattern.c_str(), GLOB_ERR, nullptr, &found);
  if (result == GLOB_NOSPACE) throw std::bad_alloc();
  if (result == GLOB_ABORTED)
    throw std::runtime_error(fmt::format("cannot read the folder of '{}'", pattern));
  if (result == GLOB_NOMATCH)
    throw std::runtime_error(fmt::format("no file matches '{}'", pattern));
  std::vector<std::string> paths(found.gl_pathv, found.gl_pathv + found.gl_pathc);
  std::sort(paths.begin(), paths.end());  // by bytes, in any locale
  return paths;
}

// Where a host has other files, rows would be lost, or read twice.
void CheckSame(const std::vector<std::string>& paths, Peers& peers) {
  std::string list;
  for (const std::string& path : paths)
    list += fmt::format("{}\n{}\n", path, fs::is_regular_file(path) ? fs::file_size(path) : 0);
  const std::size_t hash = std::hash<std::string>()(list);
  for (const std::size_t other : peers.GatherEach(hash))
    if (other != hash) throw std::runtime_error("the processes see different files");
}

}  // namespace

std::vector<std::string> ListFiles(const std::string& input, int processes) {
  const std::size_t at = input.find(kRank);
  std::error_code ignored;
  if (at == input.npos && input.find_first_of("*?[") != input.npos && !fs::exists(input, ignored))
    return Match(input);
  std::vector<std::string> paths;
  for (int rank = 0; at != input.npos && rank < processes; ++rank)
    paths.push_back(std::string(input).replace(at, kRank.size(), std::to_string(rank)));
  return paths.empty() ? std::vector<std::string>{input} : paths;
}

CsvInput FindParts(const Options& options, Peers& peers) {
  const std::vector<std::string> paths = ListFiles(options.input, peers.Count());
  const auto rank = static_cast<std::size_t>(peers.Rank());
  const auto count = static_cast<std::size_t>(peers.Count());
  if (options.input.find(kRank) != options.input.npos) return {{{paths[rank]}}, {}};
  if (paths[0] == options.input)
    return count == 1 ? CsvInput{{{paths[0]}}, {}} : CutFile(options, peers);
  CheckSame(paths, peers);
  CsvInput input{{}, ReadCsvHeader(paths[0], options.delimiter).names};
  for (std::size_t i = paths.size() * rank / count; i < paths.size() * (rank + 1) / count; ++i)
    input.parts.push_back({paths[i]});
  return input;
}

}  // namespace qxtree
