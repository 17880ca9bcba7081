// SPDX-FileCopyrightText: The qxutils authors
// SPDX-License-Identifier: Apache-2.0

// Records of doubles read back one by one.
#include <cstdio>
#include <memory>
#include <numeric>

#include "bench.h"
#include "qxutils/iterators/binfileiterator.h"
#include "subjects.h"
#include "views.h"

namespace bench {
namespace {

constexpr long kDoubles = 4'000'000;

struct Records {
  std::string name;
  std::size_t length;  // of a record in doubles
  std::size_t Bytes() const { return length * sizeof(double); }
};

// A measured reader looks at little, so that the reading itself is measured. A checked one looks at
// everything.
constexpr auto kEnds = [](const double* record, std::size_t length) {
  return record[0] + record[length - 1];
};
constexpr auto kAll = [](const double* record, std::size_t length) {
  return std::accumulate(record, record + length, 0.0);
};

const auto ours = [](const Records& records, auto use) {
  static const Arbex_800::EnvironmentSettings settings(Folder());
  qxg_800::BinFileIterator iterator(records.name.c_str(), static_cast<int>(records.length),
                                    settings, -1);
  double sum = 0;
  while (iterator.HasMore() == 0) sum += use(iterator.Next()->data, records.length);
  return sum;
};

const auto stdio = [](const Records& records, auto use) {
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(records.name.c_str(), "rb"),
                                                             &std::fclose);
  std::vector<double> record(records.length);
  double sum = 0;
  while (std::fread(record.data(), 1, records.Bytes(), file.get()) == records.Bytes()) {
    sum += use(record.data(), records.length);
  }
  return sum;
};

void WriteRecords(const std::string& name, std::size_t doubles) {
  std::vector<double> values(doubles);
  Random random;
  for (double& value : values) value = random.Uniform();
  const Descriptor file(name, O_WRONLY | O_CREAT | O_TRUNC);
  file.Write(reinterpret_cast<const char*>(values.data()), values.size() * sizeof(double));
}

void AddReaders(const std::string& subject) {
  for (const std::size_t length : {1, 4, 1024}) {
    const long count = Scaled(kDoubles / static_cast<long>(length));
    const Records records{Folder() + "/records" + std::to_string(length), length};
    WriteRecords(records.name, static_cast<std::size_t>(count) * length);
    const std::string row = subject + '/' + std::to_string(length);
    const auto add = [&](const std::string& peer, auto read) {
      Add(
          row, peer, count, [=] { benchmark::DoNotOptimize(read(records, kEnds)); },
          [=] { return Text(read(records, kAll)); });
    };
    add("ours", ours);
    add("fread", stdio);
  }
}

}  // namespace

void AddReading() { AddReaders("read"); }

void AddReadingThreaded() { AddReaders("read-threaded"); }

}  // namespace bench
