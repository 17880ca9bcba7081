// SPDX-FileCopyrightText: The qxutils authors
// SPDX-License-Identifier: Apache-2.0

// A view set from start to end. Items go one by one into many streams, until every stream has a
// file of its own.
#include "views.h"

#include "bench.h"
#include "subjects.h"
#include "viewpeers.h"

namespace bench {
namespace {

constexpr long kAllBytes = 256'000'000;
constexpr int kRepetitions = 3;

template <class Sink>
void AddSink(const std::string& peer, int views) {
  const long perView = Scaled(kAllBytes / kItemBytes / views);
  const int repetitions = views > 10'000 ? 1 : kRepetitions;  // seconds each
  const auto make = [=] { return std::make_unique<std::unique_ptr<Sink>>(); };
  const auto work = [=](std::unique_ptr<Sink>& sink) {
    sink = std::make_unique<Sink>(views);
    Fill(*sink, views, perView);
    sink->CloseAllButLast();
    sink->CloseLast();
  };
  const auto check = [=](std::unique_ptr<Sink>& sink) { CheckItems(*sink, views, perView); };
  AddOnce("views/" + std::to_string(views), peer, perView * views, repetitions, make, work, check);
}

// The last close alone, of as many views as have segments of this size within the budget.
template <class Sink>
void AddClose(const std::string& peer, long segmentBytes) {
  const int views = static_cast<int>(kBudget / segmentBytes);
  const long perView = Scaled(kAllBytes / segmentBytes / views) * (segmentBytes / kItemBytes);
  const auto make = [=] {
    auto sink = std::make_unique<Sink>(views, views * segmentBytes);
    Fill(*sink, views, perView);
    sink->CloseAllButLast();
    return sink;
  };
  const auto check = [=](Sink& sink) { CheckItems(sink, views, perView); };
  AddOnce(
      "close/" + std::to_string(segmentBytes), peer, perView * views, kRepetitions, make,
      [](Sink& sink) { sink.CloseLast(); }, check);
}

}  // namespace

void AddViews() {
  for (const int views : {10, 1'000, 10'000, 100'000}) {
    AddSink<ViewSet>("ours", views);
    if (views <= 10'000) AddSink<Buffered<OneFile>>("floor", views);
    if (views >= 10'000) AddSink<Buffered<Reopening>>("reopening", views);
    if (views <= 1'000 && HasDescriptors(views)) AddSink<Streams>("stdio", views);
  }
  for (const long bytes : {1'600L, 16'384L, 1'600'000L}) {
    AddClose<ViewSet>("ours", bytes);
    AddClose<Buffered<OneFile>>("floor", bytes);
  }
}

}  // namespace bench
