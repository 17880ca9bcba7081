// SPDX-FileCopyrightText: The qxutils authors
// SPDX-License-Identifier: Apache-2.0

// Numbers, dates and code sets as text.
#include <iconv.h>

#include <array>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <ctime>

#include "bench.h"
#include "qxutils/text/localeutil.h"
#include "qxutils/text/mbtoutf8_unix.h"
#include "subjects.h"

namespace bench {
namespace {

using Values = std::vector<double>;
using Buffer = std::array<char, 64>;

// Ours returns strings, the peers fill a buffer.
template <class Print>
void AddPrinter(const std::string& row, const std::string& peer, const Values& values,
                Print print) {
  const auto work = [&values, print] {
    Buffer buffer;
    for (const double value : values) {
      const auto& text = print(value, buffer);
      benchmark::DoNotOptimize(text.data());
      benchmark::ClobberMemory();
    }
  };
  const auto result = [&values, print] {
    Buffer buffer;
    std::string all;
    for (const double value : values) all.append(print(value, buffer)) += ' ';
    return all;
  };
  Add(row, peer, static_cast<long>(values.size()), work, result);
}

std::string_view Filled(const Buffer& buffer, const char* end) {
  return {buffer.data(), static_cast<std::size_t>(end - buffer.data())};
}

std::string_view Snprintf(double value, Buffer& buffer) {
  return {buffer.data(),
          static_cast<std::size_t>(std::snprintf(buffer.data(), buffer.size(), "%.15g", value))};
}

std::string_view ToChars(double value, Buffer& buffer) {
  char* const end = buffer.data() + buffer.size();
  return Filled(buffer,
                std::to_chars(buffer.data(), end, value, std::chars_format::general, 15).ptr);
}

void AddNumberRow(const std::string& row, const Values& values) {
  AddPrinter(row, "ours", values,
             [](double value, Buffer&) { return qxg_800::Format(value, false, nullptr); });
  AddPrinter(row, "snprintf", values, Snprintf);
  AddPrinter(row, "to_chars", values, ToChars);
}

constexpr double kUnixEpoch = 12219379200.0;
const std::string kDateFormat = "%d-%^b-%Y %H:%M:%S";  // "^", for capitals, is GNU's own

std::string_view Strftime(double value, Buffer& buffer) {
  const auto seconds = static_cast<std::time_t>(value - kUnixEpoch);
  std::tm parts{};
  gmtime_r(&seconds, &parts);
  return {buffer.data(), std::strftime(buffer.data(), buffer.size(), kDateFormat.c_str(), &parts)};
}

std::string_view Iconv(const std::string& text, std::string& buffer) {
  const iconv_t converter = iconv_open("UTF-8", "UTF-8");
  Check(converter != reinterpret_cast<iconv_t>(-1), "no converter");
  char* from = const_cast<char*>(text.data());
  char* to = buffer.data();
  std::size_t fromLeft = text.size(), toLeft = buffer.size();
  iconv(converter, &from, &fromLeft, &to, &toLeft);
  iconv_close(converter);
  return {buffer.data(), static_cast<std::size_t>(to - buffer.data())};
}

void AddUtf8Row(std::size_t bytes) {
  static std::string buffer(1 << 18, '\0');
  std::string text;
  for (int i = 0; text.size() + 2 <= bytes; ++i) text += i % 4 == 3 ? "\u00E9" : "ab";
  const auto add = [&](const std::string& peer, auto convert) {
    const auto work = [=] { benchmark::DoNotOptimize(convert(text, buffer).data()); };
    const auto result = [=] { return std::string(convert(text, buffer)); };
    Add("utf8/" + std::to_string(bytes), peer, 1, work, result);
  };
  add("ours", [](const std::string& in, std::string&) { return xmlu_800::MbToUTF8(in); });
  add("iconv-fresh", Iconv);
}

}  // namespace

void AddNumbers() {
  static Values decimals, bits, wholes;
  Random random;
  while (static_cast<long>(decimals.size()) < Scaled(10'000)) {
    decimals.push_back(static_cast<double>(random.Below(10'000'000)) / 1000);
    wholes.push_back(static_cast<double>(random.Below(1'000'000)));
    double value = 0;
    do {
      const std::uint64_t drawn = random.Bits();
      std::memcpy(&value, &drawn, sizeof value);
    } while (!std::isfinite(value));
    bits.push_back(value);
  }
  AddNumberRow("number/decimals", decimals);
  AddNumberRow("number/bits", bits);
  AddNumberRow("number/whole", wholes);
}

void AddDates() {
  static Values dates;
  Random random;
  for (long i = 0; i < Scaled(10'000); ++i) dates.push_back(2 * kUnixEpoch * random.Uniform());
  for (double& date : dates) date = std::trunc(date);
  AddPrinter("date/text", "ours", dates,
             [](double value, Buffer&) { return qxg_800::FormatRulesDate(value, true); });
  AddPrinter("date/text", "strftime", dates, Strftime);
}

void AddUtf8() {
  for (const std::size_t bytes : {16UL, 65'536UL}) AddUtf8Row(bytes);
}

}  // namespace bench
