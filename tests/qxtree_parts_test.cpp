// SPDX-FileCopyrightText: The qxutils authors
// SPDX-License-Identifier: Apache-2.0

// The parts of the tree engine, against models of them and by random checks.
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <zlib.h>

#include <cfenv>
#include <cmath>
#include <csignal>
#include <cstdlib>
#include <ctime>
#include <fstream>
#include <map>
#include <numeric>
#include <random>
#include <unordered_map>

#include "qxtree/bins.h"
#include "qxtree/column.h"
#include "qxtree/component.h"
#include "qxtree/csvreader.h"
#include "qxtree/nodes.h"
#include "qxtree/process.h"
#include "qxtree/score.h"
#include "qxtree/split.h"
#include "qxutils/platform/qxutilsexception.h"

namespace qxtree {
namespace {

using namespace std::literals;
constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr long kDaySeconds = 86400, kUnixEpoch = 141428 * kDaySeconds;

// Failures show the seed.
struct Random {
  explicit Random(unsigned seed) : engine(seed), trace(__FILE__, __LINE__, seed) {}
  long Below(long end) { return std::uniform_int_distribution<long>(0, end - 1)(engine); }
  double Share() { return std::uniform_real_distribution<double>(0, 1)(engine); }
  // Any finite number, or one of few digits.
  double Number() {
    if (Below(2) == 0) return std::ldexp(static_cast<double>(Below(2001) - 1000), int(Below(8)));
    for (;;) {
      const std::uint64_t bits = engine();
      double value = 0;
      std::memcpy(&value, &bits, sizeof value);
      if (std::isfinite(value)) return value;
    }
  }
  std::mt19937_64 engine;
  testing::ScopedTrace trace;
};

TEST(QxTreeCells, NumbersAreReadAsByTheCLibrary) {
  Random random(1);
  for (int i = 0; i < 200000; ++i) {
    const long digits = 1 + random.Below(20), point = random.Below(2 * digits);
    std::string text(random.Below(3), ' ');
    const long sign = random.Below(3);
    text += sign == 0 ? "-" : sign == 1 ? "+" : "";
    for (long digit = 0; digit < digits; ++digit) {
      if (digit == point) text += '.';
      text += static_cast<char>('0' + random.Below(10));
    }
    if (random.Below(3) == 0)
      text += (random.Below(2) ? "e" : "E-") + std::to_string(random.Below(330));
    text += std::string(random.Below(2), ' ');
    const double value = std::strtod(text.c_str(), nullptr);
    const auto read = ParseNumber(text);
    if (value == 0 && text.find_first_of("123456789") < text.find_first_of("eE")) continue;
    ASSERT_EQ(read.has_value(), std::isfinite(value)) << text;
    if (read) {
      ASSERT_TRUE(*read == value && (value != 0 || !std::signbit(*read))) << text;
    }
  }
  for (const std::string_view text :
       {""sv,          " "sv,   "."sv,   "-"sv,   "+"sv,       "-."sv,   "+-1"sv,
        "-+1"sv,       "--1"sv, "1e"sv,  "1e+"sv, "1.2.3"sv,   "0x10"sv, "inf"sv,
        "-infinity"sv, "nan"sv, "1 2"sv, "\t1"sv, "1,5"sv,     "1\0"sv,  "1e400"sv,
        "e5"sv,        "1_0"sv, "+ 1"sv, "1-"sv,  "\xC3\xA9"sv})
    EXPECT_FALSE(ParseNumber(text)) << text;
}

TEST(QxTreeCells, NumbersAreWrittenSoThatTheyReadBack) {
  Random random(2);
  for (int i = 0; i < 20000; ++i) {
    const double value = random.Number();
    ASSERT_EQ(ParseNumber(ValueText(Kind::Number, value)), value);
  }
  const double most = std::numeric_limits<double>::max();
  EXPECT_EQ(ParseNumber(ValueText(Kind::Number, most)), most);
  EXPECT_EQ(ValueText(Kind::Number, 0.1) + ValueText(Kind::Date, kInfinity), "0.1-");
}

TEST(QxTreeCells, DatesAreReadByTheCalendar) {
  Random random(3);
  const auto textOf = [](long seconds, const char* form) {
    const std::time_t time = seconds - kUnixEpoch;
    std::tm parts{};
    char text[40];
    return std::string(text, std::strftime(text, sizeof text, form, gmtime_r(&time, &parts)));
  };
  for (int i = 0; i < 50000; ++i) {
    const long seconds = random.Below(3074000 * kDaySeconds);  // into 9999
    const char* const form = i % 2 ? "%Y-%m-%d %H:%M:%S" : "%Y-%m-%dT%H:%M:%S";
    ASSERT_EQ(ParseDate(textOf(seconds, form)), seconds) << textOf(seconds, form);
    ASSERT_EQ(ParseDate(textOf(seconds, "%Y-%m-%d")), seconds / kDaySeconds * kDaySeconds);
  }
  // Each byte in each place of some dates.
  for (const std::string good : {"2024-02-29T23:59:59", "1900-03-01 00:00:00", "1582-10-14",
                                 "1999-12-31", "2000-02-29", "1700-02-28"})
    for (std::size_t at = 0; at < good.size(); ++at)
      for (int byte = 0; byte < 256; ++byte) {
        std::string text = good;
        text[at] = static_cast<char>(byte);
        const bool isDigit = std::isdigit(good[at]) != 0;
        bool fits = isDigit ? byte >= '0' && byte <= '9'
                            : text[at] == good[at] || (at == 10 && (byte == ' ' || byte == 'T'));
        std::tm parts{};
        std::sscanf(text.c_str(), "%4d-%2d-%2d%*c%2d:%2d:%2d", &parts.tm_year, &parts.tm_mon,
                    &parts.tm_mday, &parts.tm_hour, &parts.tm_min, &parts.tm_sec);
        parts.tm_year -= 1900;
        --parts.tm_mon;
        std::tm same = parts;
        const long seconds = timegm(&same) + kUnixEpoch;
        fits = fits && seconds >= 0 && same.tm_mon == parts.tm_mon &&
               same.tm_mday == parts.tm_mday && same.tm_hour == parts.tm_hour &&
               same.tm_min == parts.tm_min && same.tm_sec == parts.tm_sec;
        ASSERT_EQ(ParseDate(text), fits ? std::optional<double>(seconds) : std::nullopt) << text;
      }
  for (const char* const text : {"", "2024", "2024-1-01", "2024-01-01 ", "2024-01-01T00:00",
                                 "2024-01-01T00:00:00Z", " 2024-01-01", "24-01-01", "-024-01-01"})
    EXPECT_FALSE(ParseDate(text)) << text;
}

// The decimal number of so many digits that is next to `value`, by the rounding mode.
double Decimal(double value, int digits, int mode) {
  char text[60];
  std::fesetround(mode);
  std::snprintf(text, sizeof text, "%.*e", digits - 1, value);
  std::fesetround(FE_TONEAREST);
  return std::strtod(text, nullptr);
}

TEST(QxTreeCells, CutsAreTheShortestNumbers) {
  Random random(4);
  const double most = std::numeric_limits<double>::max(), least = 4.9406564584124654e-324;
  std::vector<std::pair<double, double>> pairs = {
      {-most, most}, {0, least},      {-least, 0}, {least, 2 * least},        {-1e308, 1e308},
      {1e308, most}, {-most, -1e308}, {0, 1e-310}, {1, std::nextafter(1, 2)}, {0.1, 0.2},
      {9.5, 10.5}};
  for (int i = 0; i < 20000; ++i) {
    const double a = random.Number(), step = a + std::abs(a) * std::pow(10, -random.Below(17));
    const double b = i % 3 == 0   ? std::nextafter(a, kInfinity)
                     : i % 3 == 1 ? step
                                  : random.Number();
    if (a != b && std::isfinite(b)) pairs.emplace_back(std::min(a, b), std::max(a, b));
  }
  for (const auto& [low, high] : pairs) {
    const double cut = CutBetween(Kind::Number, low, high);
    ASSERT_TRUE(cut >= low && cut < high) << low << ' ' << high << ' ' << cut;
    for (int digits = 1; digits < 17 && Decimal(cut, digits, FE_TONEAREST) != cut; ++digits)
      for (const int mode : {FE_TONEAREST, FE_UPWARD}) {
        const double shorter = Decimal(low, digits, mode);
        ASSERT_FALSE(shorter >= low && shorter < high) << low << ' ' << high << ' ' << cut;
      }
  }
}

TEST(QxTreeCells, CutsAreTheCoarsestDates) {
  Random random(5);
  // The start of a second (0), minute, hour, day, month or year (5), or the next one.
  const auto start = [](long seconds, int level, int next) {
    const std::time_t time = seconds - kUnixEpoch;
    std::tm parts{};
    gmtime_r(&time, &parts);
    int* const fields[] = {&parts.tm_sec,  &parts.tm_min, &parts.tm_hour,
                           &parts.tm_mday, &parts.tm_mon, &parts.tm_year};
    for (int field = 0; field < level; ++field) *fields[field] = field == 3 ? 1 : 0;
    *fields[level] += next;
    return timegm(&parts) + kUnixEpoch;
  };
  for (int i = 0; i < 20000; ++i) {
    const long low = kDaySeconds * 80 + random.Below(200000 * kDaySeconds);
    const long high = low + 1 + random.Below(static_cast<long>(std::pow(10, random.Below(10))));
    const auto cut = static_cast<long>(
        CutBetween(Kind::Date, static_cast<double>(low), static_cast<double>(high)));
    int level = 5;
    while (start(low, level, 0) != low && start(low, level, 1) >= high) --level;
    ASSERT_TRUE(cut >= low && cut < high && start(cut, level, 0) == cut) << low << ' ' << high;
    const long middle = (low + high) / 2;
    for (const int next : {0, 1}) {
      const long other = start(middle, level, next);
      if (other >= low && other < high) {
        ASSERT_LE(std::abs(2 * cut - low - high), std::abs(2 * other - low - high));
      }
    }
  }
}

TEST(QxTreeDictionary, IsAMapWithinItsShare) {
  for (unsigned seed = 0; seed < 30; ++seed) {
    Random random(seed);
    MemoryShare share{seed % 3 == 0 ? 1UL << 30 : static_cast<std::size_t>(random.Below(200000)),
                      0};
    Dictionary dictionary(share);
    std::unordered_map<std::string, int> model;
    std::vector<std::string> order;
    for (int i = 0; i < 5000; ++i) {
      std::string text(i % 2 ? 7 + random.Below(3) : random.Below(41), '\0');
      for (char& byte : text) byte = "\0a\xFF"[random.Below(3)];
      const auto known = model.find(text);
      ASSERT_EQ(dictionary.Find(text), known == model.end() ? Dictionary::kNone : known->second);
      if (known != model.end()) continue;
      const int code = static_cast<int>(random.Below(65536));
      const std::size_t used = share.used;
      if (dictionary.Add(text, code)) {
        model[text] = code;
        order.push_back(text);
      } else {
        ASSERT_TRUE(share.used == used && seed % 3 != 0);
      }
      ASSERT_TRUE(dictionary.Size() == model.size() && share.used <= share.limit);
      ASSERT_EQ(share.used, dictionary.Bytes());
    }
    std::size_t place = 0;
    dictionary.ForEach([&](std::string_view text, int code) {
      ASSERT_TRUE(text == order[place++] && code == model[std::string(text)]);
    });
    ASSERT_EQ(place, order.size());
    dictionary.Clear();
    EXPECT_TRUE(share.used == 0 && dictionary.Find("") == Dictionary::kNone);
  }
}

// Also checks what is told of them.
std::vector<Group> GroupsOf(const std::vector<std::pair<double, double>>& cases) {
  Distinct distinct;
  do {
    for (const auto& [value, weight] : cases) distinct.Add(value, weight);
    distinct.EndPass();
  } while (distinct.HasCoarse());
  long double total = 0, mean = 0, squares = 0;
  for (const auto& [value, weight] : cases) total += weight;
  for (const auto& [value, weight] : cases) mean += weight * value / total;
  for (const auto& [value, weight] : cases) squares += weight * (value - mean) * (value - mean);
  const Summary summary = distinct.Summarize();
  if (squares < 1e300 && total > 1) {
    EXPECT_NEAR(summary.mean, static_cast<double>(mean), 1e-9 * std::abs(summary.greatest));
    EXPECT_NEAR(summary.deviation, static_cast<double>(std::sqrt(squares / (total - 1))),
                1e-9 * summary.deviation);
  }
  return distinct.Groups();
}

TEST(QxTreeBins, GroupsAreThoseOfAMap) {
  for (unsigned seed = 0; seed < 12; ++seed) {
    Random random(seed);
    const long rows = seed < 8 ? random.Below(3000) : 200000, few = seed % 2 ? 40 : 1000000;
    std::map<double, double> model;  // takes -0 for 0
    std::vector<std::pair<double, double>> cases;
    for (long row = 0; row < rows; ++row) {
      double value = seed % 3 ? random.Number() : static_cast<double>(random.Below(few)) - 20;
      if (row % 3 == 1) value = 1e9 + static_cast<double>(row) / 1e6;  // many, close together
      if (value == 0) value = 0;                                       // as ParseNumber gives it
      cases.emplace_back(value, static_cast<double>(1 + random.Below(16)) / 8);
      model[value] += cases.back().second;
    }
    const std::vector<Group> groups = GroupsOf(cases);
    const double total =
        std::accumulate(model.begin(), model.end(), 0.0,
                        [](double sum, const auto& one) { return sum + one.second; });
    for (const Group& group : groups)
      ASSERT_TRUE(group.least == group.greatest ||
                  (model.size() > Distinct::kMost && group.weight < total / 1000));
    std::shuffle(cases.begin(), cases.end(), random.engine);
    const std::vector<Group> same = GroupsOf(cases);
    ASSERT_TRUE(std::equal(
        groups.begin(), groups.end(), same.begin(), same.end(), [](const Group& a, const Group& b) {
          return a.least == b.least && a.greatest == b.greatest && a.weight == b.weight;
        }));
    for (const std::size_t most : {std::min(groups.size() + 1, 65534UL), 1UL, 255UL}) {
      const std::vector<Group> joined = Join(groups, most);
      ASSERT_EQ(joined.size(), std::min(most, groups.size()));
      const Bins bins = MakeBins(Kind::Number, groups, most);
      ASSERT_EQ(bins.Count(), joined.size());
      const auto binOf = [&](double value) {
        std::uint16_t bin = 0;
        bins.Find(&value, 1, &bin);
        return bin;
      };
      auto at = model.begin();
      for (std::size_t bin = 0; bin < joined.size(); ++bin) {
        ASSERT_EQ(at->first, joined[bin].least);
        double weight = 0;
        for (; at != model.end() && at->first <= joined[bin].greatest; ++at) {
          weight += at->second;
          ASSERT_EQ(binOf(at->first), bin);
        }
        ASSERT_EQ(weight, joined[bin].weight);
        ASSERT_EQ(std::prev(at)->first, joined[bin].greatest);
      }
      ASSERT_EQ(at, model.end());
      for (int i = 0; i < 1000; ++i) {
        const double value = random.Number();
        const auto& cuts = bins.cuts;
        ASSERT_EQ(binOf(value), std::lower_bound(cuts.begin(), cuts.end(), value) - cuts.begin());
      }
    }
  }
  EXPECT_EQ(MakeBins(Kind::Number, {}, 5).Count(), 0U);
}

TEST(QxTreeBins, RoundedWeightsAddUpInAnyOrder) {
  for (unsigned seed = 0; seed < 200; ++seed) {
    Random random(seed);
    std::vector<double> weights(300);
    for (double& weight : weights)
      weight = std::ldexp(random.Share(), static_cast<int>(random.Below(60)) - 30);
    const double quantum = Quantum(std::accumulate(weights.begin(), weights.end(), 0.0));
    for (double& weight : weights) weight = std::nearbyint(weight / quantum) * quantum;
    const double sum = std::accumulate(weights.begin(), weights.end(), 0.0);
    std::shuffle(weights.begin(), weights.end(), random.engine);
    ASSERT_EQ(std::accumulate(weights.begin(), weights.end(), 0.0), sum);
  }
  EXPECT_GT(Quantum(0), 0);
}

TEST(QxTreeComponent, VariesMost) {
  for (unsigned seed = 0; seed < 200; ++seed) {
    Random random(seed);
    const std::size_t classes = 2 + random.Below(4), rows = 2 + random.Below(6);
    std::vector<std::vector<double>> groups(rows, std::vector<double>(classes));
    const bool isSymmetric = seed % 4 == 0;  // several components are equally long
    for (std::size_t row = 0; row < rows; ++row)
      for (std::size_t i = 0; i < classes; ++i)
        groups[row][i] =
            static_cast<double>(isSymmetric ? (row % classes == i ? 9 : 1) : 1 + random.Below(50));
    std::vector<double> mean(classes), cases;
    std::vector<const double*> pointers;
    for (const auto& group : groups) {
      cases.push_back(std::accumulate(group.begin(), group.end(), 0.0));
      pointers.push_back(group.data());
      for (std::size_t i = 0; i < classes; ++i) mean[i] += group[i];
    }
    const double all = std::accumulate(cases.begin(), cases.end(), 0.0);
    using Matrix = std::vector<std::vector<double>>;
    Matrix covariance(classes, std::vector<double>(classes));
    const auto trace = [&](const Matrix& a, const Matrix& b) {
      double sum = 0;
      for (std::size_t i = 0; i < classes; ++i)
        for (std::size_t j = 0; j < classes; ++j) sum += a[i][j] * b[j][i];
      return sum;
    };
    for (std::size_t row = 0; row < rows; ++row)
      for (std::size_t i = 0; i < classes; ++i)
        for (std::size_t j = 0; j < classes; ++j)
          covariance[i][j] += cases[row] * (groups[row][i] / cases[row] - mean[i] / all) *
                              (groups[row][j] / cases[row] - mean[j] / all);
    // Of a high power only the longest components are left, whose length it tells.
    Matrix power = covariance;
    for (int turn = 0; turn < 40; ++turn) {
      const Matrix last = power;
      const double scale = trace(last, last);
      if (!(scale > 0)) break;
      for (std::size_t i = 0; i < classes; ++i)
        for (std::size_t j = 0; j < classes; ++j) {
          power[i][j] = 0;
          for (std::size_t k = 0; k < classes; ++k) power[i][j] += last[i][k] * last[k][j] / scale;
        }
    }
    double length = 0, sum = 0, squares = 0;
    for (std::size_t i = 0; i < classes; ++i) length += power[i][i];
    if (length > 0) length = trace(covariance, power) / length;
    const std::vector<double> scores = ComponentScores(pointers, classes);
    for (std::size_t row = 0; row < rows; ++row) {
      sum += cases[row] * scores[row];
      squares += cases[row] * scores[row] * scores[row];
    }
    EXPECT_NEAR(squares, length, 1e-6 * length + 1e-12);
    EXPECT_NEAR(sum, 0, 1e-9 * all);
  }
}

TEST(QxTreeStream, HoldsTheCellsOfAColumn) {
  const TempFolder folder(testing::TempDir());
  const MissingTexts missing({"NA", "?"});
  for (unsigned seed = 0; seed < 60; ++seed) {
    Random random(seed);
    const unsigned mode = seed % 4;  // numbers, dates, texts, numbers that become texts
    const long rows = random.Below(4000), kinds = random.Below(2) ? 30 : 1000000;
    MemoryShare share{seed % 4 < 2 && seed % 3 == 0 ? 20000UL : 1UL << 24, 0};
    std::vector<examples::ViewFile> files;
    auto views = std::make_unique<examples::ViewSet>(40, std::vector<qxg_800::ViewInfo>{{1, 0}},
                                                     folder.Settings());
    ReadingContext context{views.get(),
                           missing,
                           share,
                           0,
                           1 + static_cast<std::size_t>(random.Below(seed % 2 ? 5 : 500)),
                           "",
                           [] { return false; }};
    Column column(std::nullopt, context, 0);
    std::vector<std::string> cells;
    long decisive = 0, countMissing = 0, countMalformed = 0;
    for (long row = 0; row < rows; ++row) {
      std::string cell = std::to_string(random.Below(kinds));
      if (mode == 1) cell = std::to_string(1900 + random.Below(kinds) % 200) + "-01-31";
      if (mode == 2 || (mode == 3 && row > 500)) cell += "x";
      const bool isMissing = random.Below(10) == 0;
      if (isMissing) cell = random.Below(2) ? "" : "NA";
      const bool isBad = !isMissing && mode < 2 && decisive >= 1000 && random.Below(20) == 0;
      if (isBad) cell = "bad" + std::to_string(random.Below(9));
      decisive += !isMissing;
      countMissing += isMissing;
      countMalformed += isBad;
      cells.push_back(cell);
      column.Take(cell, row + 2);
      if (row % 700 != 699) continue;  // another file
      views->Close(0);
      files.push_back(views->TakeFile(0));
      views = std::make_unique<examples::ViewSet>(40, std::vector<qxg_800::ViewInfo>{{1, 0}},
                                                  folder.Settings());
      context.views = views.get();
    }
    column.Finish();
    views->Close(0);
    files.push_back(views->TakeFile(0));
    ASSERT_EQ(column.Facts().whyLeftOut, "");
    EXPECT_EQ(column.Facts().missing, countMissing);
    EXPECT_EQ(column.Facts().malformed, countMalformed);
    const bool isText = column.Facts().kind == Kind::Text;
    EXPECT_TRUE(isText || share.used == 0);
    Stream stream(std::move(files), folder.Settings());
    for (int pass = 0; pass < 2; ++pass) {
      ColumnReader reader(stream, column.Facts().kind, &column.Texts());
      std::map<std::string, double> codes;
      for (std::size_t row = 0; row < cells.size();) {
        const ColumnReader::Cells some = reader.Next(1 + random.Below(cells.size() - row));
        for (std::size_t i = 0; i < some.count; ++i, ++row) {
          const std::string& cell = cells[row];
          double value = kInfinity;
          if (!missing.Has(cell) && isText)
            value = codes.emplace(cell, static_cast<double>(codes.size())).first->second;
          else if (!missing.Has(cell))
            value = (mode == 1 ? ParseDate(cell) : ParseNumber(cell)).value_or(kInfinity);
          ASSERT_EQ(some.codes ? reader.Table()[some.codes[i]] : some.values[i], value)
              << row << ' ' << cell;
        }
      }
      char byte = 0;
      EXPECT_THROW(stream.Read(&byte, 1), qxg_800::QxUtilsException) << "all is read";
    }
  }
}

TEST(QxTreeStream, TellsThatTheDiskIsFull) {
  const TempFolder folder(testing::TempDir());
  rlimit before{};
  getrlimit(RLIMIT_FSIZE, &before);
  const auto handler = std::signal(SIGXFSZ, SIG_IGN);
  const rlimit small{100000, before.rlim_max};
  setrlimit(RLIMIT_FSIZE, &small);
  EXPECT_THROW(
      {
        Stream stream(folder.Settings());
        for (int i = 0; i < 200; ++i) stream.Write(std::string(1000, 'x').data(), 1000);
        stream.Rewind();
      },
      qxg_800::QxUtilsException);
  setrlimit(RLIMIT_FSIZE, &before);
  std::signal(SIGXFSZ, handler);
}

// The best of all cuts, by trying them, and what the candidate says of itself.
TEST(QxTreeSplit, IsTheBestAndTheModelDoesTheSame) {
  const TempFolder folder(testing::TempDir());
  for (unsigned seed = 0; seed < 600; ++seed) {
    Random random(seed);
    Table table(folder.Settings());
    table.rows = 1000;
    table.isRegression = seed % 3 == 0;
    if (!table.isRegression) table.classes = {"a", "b"};
    const std::size_t known = 2 + random.Below(6), count = table.CountSums();
    TableColumn& column = table.columns.emplace_back();
    column.isInput = true;
    column.kind = seed % 2 ? Kind::Number : Kind::Text;
    column.distinct = known;
    column.bins.isEmpty = false;
    for (std::size_t i = 0; i < known; ++i) column.categories.push_back(std::to_string(i));
    for (std::size_t i = 1; i < known; ++i) column.bins.cuts.push_back(static_cast<double>(i * i));
    std::vector<double> cells;
    const bool hasOther = seed % 2 && seed % 5;
    for (std::size_t bin = 0; bin <= known; ++bin) {
      const bool isEmpty = bin == known && !hasOther;
      const auto a = static_cast<double>(isEmpty ? 0 : 1 + random.Below(30));
      const auto b = static_cast<double>(isEmpty ? 0 : random.Below(30));
      cells.insert(cells.end(), {a, b});
      if (table.isRegression) cells.insert(cells.end(), {b * b / std::max(a, 1.0) + b, 0, 0});
    }
    const Impurity impurity(table);
    const Candidate best = FindSplit({cells.data(), known + 1}, column, 0, impurity, 1);
    const auto sums = [&](unsigned long sides, bool isLeft) {  // a bit for each bin on the left
      Sums total(count);
      for (std::size_t bin = 0; bin <= known; ++bin)
        for (std::size_t i = 0; i < count && (sides >> bin & 1) == isLeft; ++i)
          total[i] += cells[bin * count + i];
      return total;
    };
    double most = 0;
    for (unsigned long sides = 1; sides < (2UL << known) - 1; ++sides) {
      const unsigned long values = sides & ((1UL << known) - 1);
      const bool isCut = (values & (values + 1)) == 0 && values != 0;  // from the first bin on
      const Sums left = sums(sides, true), right = sums(sides, false);
      if (impurity.CasesOf(left.data()) < 1 || impurity.CasesOf(right.data()) < 1) continue;
      const double gain = impurity.Gain(left.data(), right.data());
      const double all = impurity.Of(sums((2UL << known) - 1, true).data());
      const double other = all - impurity.Of(left.data()) - impurity.Of(right.data());
      if (column.kind == Kind::Text || isCut) {
        ASSERT_NEAR(gain, other, 1e-9 * (1 + all));
        most = std::max(most, gain);
      }
    }
    EXPECT_NEAR(best.gain, most, 1e-9 * most);
    if (best.gain == 0) continue;
    EXPECT_NEAR(impurity.Gain(best.children[0].data(), best.children[1].data()), best.gain,
                1e-9 * most);
    std::vector<GrownNode> nodes(3);
    nodes[0] = {sums(~0UL, true), true, 1, best};
    nodes[1].sums = best.children[0];
    nodes[2].sums = best.children[1];
    const Model model = MakeModel(table, {}, impurity, nodes);
    for (std::size_t bin = 0; bin <= known; ++bin) {
      double value = static_cast<double>(bin);
      if (column.kind == Kind::Number) value = static_cast<double>((bin + 1) * (bin + 1));
      if (bin == known) value = kInfinity;
      ASSERT_EQ(model.LeafOf({value}), best.GoesLeft(bin, known) ? 1U : 2U);
    }
  }
}

struct Recorder : CsvSink {
  void TakeHeader(const std::vector<std::string>& names) override {
    for (const std::string& name : names) text += name + '|';
    text += '#';
  }
  void TakeCell(std::size_t column, std::string_view cell, long line) {
    text += std::to_string(column) + std::to_string(line) + std::string(cell) + '|';
  }
  void EndRow() override { text += ';'; }
  std::string text;
};

// Each compressed file in the input is a block of its own.
TEST(QxTreeCsv, BlocksMayEndAnywhere) {
  const TempFolder folder(testing::TempDir());
  const std::string path = folder.Settings().GetTempDirectory() + "/file.gz";
  const std::pair<std::string, std::string> cases[] = {
      {"a,b\n1,2\n", "a|b|#021|122|;"},
      {"\xEF\xBB\xBF"
       "a,b\r\n 1 ,\"2\"\r\n",
       "a|b|#021|122|;"},
      {"a,b\r1,2\r3,4", "a|b|#011|112|;013|114|;"},
      {"a,b\r\n\r\n1,2\n\n3,4\n", "a|b|#031|132|;053|154|;"},
      {"a\n\n\n\"x\"\"y\n,z\"\n", "a|#05x\"y\n,z|;"},
      {"\"a\",\" b\"\n,\n", "a| b|#02|12|;"},
      {"\xEF\xBB", "\xEF\xBB|#"},
      {"", "line 1: no header"},
      {"a,b\n1\n", "line 2: 1 cells, not 2"},
      {"a,b\n1,2\n1,2,3\n", "line 3: more than 2 cells"},
      {"a,a\n", "two columns have the same name 'a'"},
      {"a\nx\"y\n", "line 2: a quotation mark is out of place"},
      {"a\n1\n\"x\ny\n", "line 3: a quotation mark is not closed"}};
  for (const auto& [bytes, expected] : cases)
    for (std::size_t cut = 0; cut <= bytes.size(); ++cut) {
      std::remove(path.c_str());
      for (const std::string& part : {bytes.substr(0, cut), bytes.substr(cut)}) {
        const gzFile file = gzopen(path.c_str(), "ab");
        gzwrite(file, part.data(), static_cast<unsigned>(part.size()));
        gzclose(file);
      }
      Recorder sink;
      std::string outcome;
      try {
        ReadCsv({{{path}}, {}}, ',', sink);
        outcome = sink.text;
      } catch (const std::runtime_error& error) {
        outcome = error.what();
      }
      if (expected.find('#') != expected.npos)
        EXPECT_EQ(outcome, expected) << cut;
      else
        EXPECT_NE(outcome.find(expected), outcome.npos) << cut << ' ' << outcome;
    }
}

TEST(QxTreeScore, IsThatOfARecount) {
  Random random(6);
  Model model;
  model.classes = {"a", "b", "c"};
  model.nodes.resize(1);
  model.nodes[0].classes = {1, 5, 2};
  Score classes(model);
  double right = 0, commonest = 0;
  for (int i = 0; i < 1000; ++i) {
    const std::size_t actual = random.Below(4), predicted = random.Below(3);
    classes.AddClass(actual, predicted, 2);
    right += actual == predicted ? 2 : 0;
    commonest += actual == 1 ? 2 : 0;
  }
  char line[200];
  std::snprintf(line, sizeof line, "accuracy %.4f (%.0f of 2000 cases), commonest class %.4f\n",
                right / 2000, right, commonest / 2000);
  EXPECT_EQ(classes.Line(""), line);
  model.isRegression = true;
  Score numbers(model);
  EXPECT_EQ(numbers.Line("held-out"), "held-out error unknown (no held-out cases)\n");
  std::vector<double> values(1000);
  double mean = 0, squares = 0, errors = 0;
  for (double& value : values) mean += (value = 1e6 + random.Share()) / 1000;
  for (const double value : values) {
    numbers.AddNumber(value, 1e6 + 0.25, 3);
    squares += (value - mean) * (value - mean);
    errors += (value - 1e6 - 0.25) * (value - 1e6 - 0.25);
  }
  std::snprintf(line, sizeof line,
                "error %.6g (root of the mean square), share explained %.4f (3000 cases)\n",
                std::sqrt(errors / 1000), 1 - errors / squares);
  EXPECT_EQ(numbers.Line(""), line);
}

}  // namespace
}  // namespace qxtree
