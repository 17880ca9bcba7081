// SPDX-FileCopyrightText: The qxutils authors
// SPDX-License-Identifier: Apache-2.0

// One item of 8 bytes into a view's buffer, without a flush: what every written value costs.
#include <stdio_ext.h>

#include <cstdio>
#include <map>
#include <memory>

#include "bench.h"
#include "subjects.h"
#include "views.h"

namespace bench {
namespace {

constexpr long kItems = 256;  // a view
constexpr std::size_t kBytes = kItems * kItemBytes;

using Order = std::vector<int>;  // the view of each item

struct Ours : ViewSet {
  explicit Ours(int number) : ViewSet(number, kItems * kItemBytes * number), views(number) {}
  std::string_view Bytes(int view) { return {Buffer(view).GetBuffer(), kBytes}; }
  void Empty() {
    for (int view = 0; view < views; ++view) Buffer(view).Reset();
  }

  int views;
};

// A stream a view, with room for all of its items.
struct Stdio {
  explicit Stdio(int views)
      : buffers(static_cast<std::size_t>(views), std::string(kBytes + kItemBytes, '\0')) {
    for (std::string& buffer : buffers) {
      streams.emplace_back(std::fopen("/dev/null", "wb"), &std::fclose);
      Check(streams.back() != nullptr, "no stream");
      std::setvbuf(streams.back().get(), buffer.data(), _IOFBF, buffer.size());
    }
  }
  void Write(int view, const char* item) {
    std::FILE* const stream = streams[static_cast<std::size_t>(view)].get();
    Check(std::fwrite(item, 1, kItemBytes, stream) == kItemBytes, "a short write");
  }
  std::string_view Bytes(int view) const {
    return {buffers[static_cast<std::size_t>(view)].data(), kBytes};
  }
  void Empty() {
    for (const auto& stream : streams) __fpurge(stream.get());
  }

  std::vector<std::string> buffers;
  std::vector<std::unique_ptr<std::FILE, int (*)(std::FILE*)>> streams;
};

template <class Writer>
void AddWriter(const std::string& row, const std::string& peer, const Order& order, int views) {
  const auto writer = std::make_shared<Writer>(views);
  const auto fill = [=, &order] {
    std::uint64_t item = 0;
    for (const int view : order) {
      ++item;
      writer->Write(view, reinterpret_cast<const char*>(&item));
    }
  };
  const auto work = [=] {
    fill();
    writer->Empty();
  };
  const auto result = [=] {
    fill();
    std::string all;
    for (int view = 0; view < views; ++view) all += writer->Bytes(view);
    writer->Empty();
    return all;
  };
  Add(row, peer, static_cast<long>(order.size()), work, result);
}

}  // namespace

void AddStore() {
  for (const int views : {1, 1000}) {
    const std::string row = "store/" + std::to_string(views);
    static std::map<int, Order> orders;
    Order& order = orders[views];
    for (int item = 0; item < kItems * views; ++item) order.push_back(item % views);
    Shuffle(order);
    AddWriter<Ours>(row, "ours", order, views);
    if (HasDescriptors(views)) AddWriter<Stdio>(row, "fwrite", order, views);
  }
}

}  // namespace bench
