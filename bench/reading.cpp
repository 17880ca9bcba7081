// Records of doubles read back one by one.
#include <sys/mman.h>

#include <cstdio>
#include <fstream>
#include <memory>
#include <numeric>

#include "bench.h"
#include "qxutils/iterators/binfileiterator.h"
#include "subjects.h"
#include "viewpeers.h"

namespace bench {
namespace {

constexpr long kDoubles = 4'000'000;

struct Records {
  std::string name;
  std::size_t length;  // of a record in doubles
  std::size_t Bytes() const { return length * sizeof(double); }
};

// What a measured reader looks at, so that the reading itself is measured, and what a checked one
// does.
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

template <std::size_t (*kRead)(void*, std::size_t, std::size_t, std::FILE*)>
const auto stdio = [](const Records& records, auto use) {
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(records.name.c_str(), "rb"),
                                                             &std::fclose);
  std::vector<double> record(records.length);
  double sum = 0;
  while (kRead(record.data(), 1, records.Bytes(), file.get()) == records.Bytes()) {
    sum += use(record.data(), records.length);
  }
  return sum;
};

const auto stream = [](const Records& records, auto use) {
  std::ifstream file(records.name, std::ios::binary);
  std::vector<double> record(records.length);
  double sum = 0;
  while (file.read(reinterpret_cast<char*>(record.data()), static_cast<long>(records.Bytes()))) {
    sum += use(record.data(), records.length);
  }
  return sum;
};

const auto mapped = [](const Records& records, auto use) {
  const Descriptor file(records.name, O_RDONLY);
  const auto bytes = static_cast<std::size_t>(lseek(*file, 0, SEEK_END));
  void* const map = mmap(nullptr, bytes, PROT_READ, MAP_PRIVATE, *file, 0);
  Check(map != MAP_FAILED, "not mapped");
  const auto* record = static_cast<const double*>(map);
  double sum = 0;
  for (std::size_t left = bytes; left >= records.Bytes(); left -= records.Bytes()) {
    sum += use(record, records.length);
    record += records.length;
  }
  munmap(map, bytes);
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
    add("fread", stdio<std::fread>);
    add("fread_unlocked", stdio<fread_unlocked>);
    add("ifstream", stream);
    add("mmap", mapped);
  }
}

}  // namespace

void AddReading() { AddReaders("read"); }

void AddReadingThreaded() { AddReaders("read-threaded"); }

}  // namespace bench
