// The road of a view set: items one by one into many streams, one case after the other, until every
// stream has a file of its own.
#include <hdf5.h>

#include <cstdlib>
#include <stxxl/vector>

#include "bench.h"
#include "subjects.h"
#include "viewpeers.h"

namespace bench {
namespace {

// An extendible dataset a view in one HDF5 file; a chunk is a buffer, so none needs a cache.
class Hdf5 {
 public:
  Hdf5(int views, std::size_t bytes) : fSizes(static_cast<std::size_t>(views)) {
    const hid_t newest = H5Pcreate(H5P_FILE_ACCESS);
    H5Pset_libver_bounds(newest, H5F_LIBVER_LATEST, H5F_LIBVER_LATEST);
    fFile = H5Fcreate(Name().c_str(), H5F_ACC_TRUNC, H5P_DEFAULT, newest);
    H5Pclose(newest);
    const hsize_t none = 0, chunk = bytes / kItemBytes, unlimited = H5S_UNLIMITED;
    const hid_t space = H5Screate_simple(1, &none, &unlimited);
    const hid_t creation = H5Pcreate(H5P_DATASET_CREATE);
    H5Pset_chunk(creation, 1, &chunk);
    H5Pset_fill_time(creation, H5D_FILL_TIME_NEVER);
    const hid_t access = H5Pcreate(H5P_DATASET_ACCESS);
    H5Pset_chunk_cache(access, 0, 0, 1.0);
    for (int view = 0; view < views; ++view) {
      fSets.push_back(H5Dcreate2(fFile, std::to_string(view).c_str(), H5T_NATIVE_UINT64, space,
                                 H5P_DEFAULT, creation, access));
      Check(fSets.back() >= 0, "no dataset");
    }
    H5Pclose(access);
    H5Pclose(creation);
    H5Sclose(space);
  }
  Hdf5(const Hdf5&) = delete;
  Hdf5& operator=(const Hdf5&) = delete;
  ~Hdf5() { std::remove(Name().c_str()); }

  void Append(int view, const char* data, std::size_t bytes) {
    const auto slot = static_cast<std::size_t>(view);
    const hsize_t start = fSizes[slot], count = bytes / kItemBytes, size = start + count;
    if (count == 0) return;
    Check(H5Dset_extent(fSets[slot], &size) >= 0, "not extended");
    const hid_t target = H5Dget_space(fSets[slot]);
    H5Sselect_hyperslab(target, H5S_SELECT_SET, &start, nullptr, &count, nullptr);
    const hid_t source = H5Screate_simple(1, &count, nullptr);
    Check(H5Dwrite(fSets[slot], H5T_NATIVE_UINT64, source, target, H5P_DEFAULT, data) >= 0,
          "not written");
    H5Sclose(source);
    H5Sclose(target);
    fSizes[slot] = size;
  }
  void Finish(char* /*scratch*/) {
    for (const hid_t set : fSets) Check(H5Dclose(set) >= 0, "not closed");
    Check(H5Fclose(fFile) >= 0, "not closed");
  }
  template <class Use>
  void ForEach(int view, Use use) const {
    const hid_t file = H5Fopen(Name().c_str(), H5F_ACC_RDONLY, H5P_DEFAULT);
    const hid_t set = H5Dopen2(file, std::to_string(view).c_str(), H5P_DEFAULT);
    std::vector<std::uint64_t> items(fSizes[static_cast<std::size_t>(view)]);
    Check(H5Dread(set, H5T_NATIVE_UINT64, H5S_ALL, H5S_ALL, H5P_DEFAULT, items.data()) >= 0,
          "not read");
    H5Dclose(set);
    H5Fclose(file);
    std::for_each(items.begin(), items.end(), use);
  }

 private:
  static std::string Name() { return Folder() + "/hdf5"; }

  hid_t fFile = H5I_INVALID_HID;
  std::vector<hid_t> fSets;
  std::vector<hsize_t> fSizes;  // items
};

// A vector of STXXL a view, with one page in memory: the power of two nearest to our buffer.
template <int kPageBytes>
class Stxxl {
 public:
  explicit Stxxl(int views) {
    for (int view = 0; view < views; ++view) fVectors.push_back(std::make_unique<Vector>());
  }
  void Write(int view, const char* item) {
    std::uint64_t value = 0;
    std::memcpy(&value, item, sizeof value);
    fVectors[static_cast<std::size_t>(view)]->push_back(value);
  }
  void CloseAllButLast() {}
  void CloseLast() {
    for (const auto& vector : fVectors) vector->flush();
  }
  template <class Use>
  void ForEach(int view, Use use) const {
    const Vector& vector = *fVectors[static_cast<std::size_t>(view)];
    std::for_each(vector.begin(), vector.end(), use);
  }

 private:
  using Vector = typename stxxl::VECTOR_GENERATOR<std::uint64_t, 1, 1, kPageBytes>::result;
  std::vector<std::unique_ptr<Vector>> fVectors;
};

constexpr long kAllBytes = 256'000'000;
constexpr int kRepetitions = 3;  // of what is held against a goal

template <class Sink>
void AddSink(const std::string& row, const std::string& peer, int views, int repetitions) {
  const long perView = Scaled(kAllBytes / kItemBytes / views);
  const auto make = [=] { return std::make_unique<std::unique_ptr<Sink>>(); };
  const auto work = [=](std::unique_ptr<Sink>& sink) {
    sink = std::make_unique<Sink>(views);
    Fill(*sink, views, perView);
    sink->CloseAllButLast();
    sink->CloseLast();
  };
  const auto check = [=](std::unique_ptr<Sink>& sink) { CheckItems(*sink, views, perView); };
  AddOnce(row, peer, perView * views, repetitions, make, work, check);
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

void AddSinks(int views) {
  const bool isFull = scale == Scale::kFull;
  const std::string row = "views/" + std::to_string(views);
  const int repetitions = views > 10'000 ? 1 : kRepetitions;  // seconds each
  AddSink<ViewSet>(row, "ours", views, repetitions);
  if (views <= 10'000 || isFull) AddSink<Buffered<OneFile<>>>(row, "floor", views, repetitions);
  if (views >= 10'000 || isFull) AddSink<Buffered<Reopening>>(row, "reopening", views, repetitions);
  if (!HasDescriptors(views) || (views > 1'000 && !isFull)) return;
  AddSink<Streams>(row, "stdio", views, repetitions);
  AddSink<Buffered<OwnDescriptors>>(row, "descriptors", views, repetitions);
}

// Rows of their own, since HDF5 leaves the heap of a process in small pieces.
void AddHdf5(int views) {
  const std::string row = "views-hdf5/" + std::to_string(views);
  AddSink<ViewSet>(row, "ours", views, kRepetitions);
  AddSink<Buffered<Hdf5>>(row, "hdf5", views, kRepetitions);
}

}  // namespace

void AddViews() {
  for (const int views : {10, 1'000, 10'000, 100'000}) AddSinks(views);
  for (const int views : {10, 1'000}) AddHdf5(views);
  if (scale == Scale::kFull) {
    AddSinks(100);
    for (const int views : {100, 10'000}) AddHdf5(views);
  }
  for (const long bytes : {1'600L, 16'384L, 1'600'000L}) {
    AddClose<ViewSet>("ours", bytes);
    AddClose<Buffered<OneFile<>>>("floor", bytes);
  }
  AddClose<Buffered<OneFile<true>>>("floor-2-opens", 1'600);
}

void AddViewsThreaded() {
  setenv("STXXLLOGFILE", (Folder() + "/stxxl.log").c_str(), 1);  // else in the working folder
  setenv("STXXLERRLOGFILE", (Folder() + "/stxxl.errlog").c_str(), 1);
  stxxl::config::get_instance()->add_disk(
      stxxl::disk_config(Folder() + "/stxxl", 1L << 30, "syscall unlink"));
  AddSink<ViewSet>("views-threaded/10", "ours", 10, kRepetitions);
  AddSink<Stxxl<1 << 21>>("views-threaded/10", "stxxl", 10, kRepetitions);
  AddSink<ViewSet>("views-threaded/1000", "ours", 1'000, kRepetitions);
  AddSink<Stxxl<1 << 14>>("views-threaded/1000", "stxxl", 1'000, kRepetitions);
}

}  // namespace bench
