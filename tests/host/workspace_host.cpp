// A host of many threads whose memory is short: the mathematics library inside liboznakit.so takes
// its workspaces from what the kit has ready and nothing else, and where there is no memory for
// another workspace, a call reports so.
//
//   workspace_host MODELS PHOTOGRAPH.ppm
//
// The library around asks the host's operator new for what the kit did not have ready. Here that
// one refuses always, with which the mathematics library would end the process.

#include <sys/resource.h>
#include <unistd.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <new>
#include <string>
#include <thread>
#include <vector>

#include "oznakit.h"
#include "tests/host/photograph_file.h"

namespace {

using host::Photograph;
using host::require;

constexpr int kThreads = 12;
constexpr int kMoreThreads = 24;

// Holds searches until those of all threads have begun, or have ended without beginning.
struct Gate {
  explicit Gate(int count) : threads(count) {}
  int threads;
  std::atomic<int> came{0};
};

std::int32_t waitForAll(float /*done*/, void* context) {
  auto* const gate = static_cast<Gate*>(context);
  static thread_local const Gate* waited_at = nullptr;
  if (waited_at != gate) {
    waited_at = gate;
    ++gate->came;
    while (gate->came < gate->threads) std::this_thread::yield();
  }
  return 1;
}

struct Result {
  oznakit_status status = OZNAKIT_INTERNAL;
  std::vector<float> numbers;
};

// gate  Where searches wait for each other; null for a search alone.
Result search(oznakit_finder* finder, const Photograph& photograph, Gate* gate) {
  oznakit_image image = OZNAKIT_IMAGE_INIT;
  image.pixels = photograph.pixels.data();
  image.width = photograph.width;
  image.height = photograph.height;
  oznakit_search_options options = OZNAKIT_SEARCH_OPTIONS_INIT;
  options.with = OZNAKIT_WITH_POINTS_68;
  if (gate != nullptr) {
    options.progress = waitForAll;
    options.context = gate;
  }
  oznakit_faces* faces = nullptr;
  Result result;
  result.status = oznakit_finder_find(finder, &image, &options, &faces);
  for (std::int32_t i = 0; i < oznakit_faces_count(faces); ++i) {
    oznakit_face face = OZNAKIT_FACE_INIT;
    require(oznakit_faces_get(faces, i, &face) == OZNAKIT_OK, "no face");
    result.numbers.insert(result.numbers.end(), {face.left, face.top, face.right, face.bottom});
    result.numbers.insert(result.numbers.end(), face.points, face.points + 2 * face.point_count);
  }
  oznakit_faces_free(faces);
  return result;
}

// Searches in so many threads at once. The threads are there before begin is called, and take no
// memory for themselves then.
template <class Begin>
std::vector<Result> searchAtOnce(oznakit_finder* finder, const Photograph& photograph, int count,
                                 const Begin& begin) {
  Gate gate(count);
  std::atomic<bool> begins{false};
  std::vector<Result> results(static_cast<std::size_t>(count));
  std::vector<std::thread> threads;
  for (Result& result : results) {
    threads.emplace_back([&] {
      while (!begins) std::this_thread::yield();
      Result found = search(finder, photograph, &gate);
      if (found.status != OZNAKIT_OK) ++gate.came;
      result = std::move(found);
    });
  }
  begin();
  begins = true;
  for (std::thread& thread : threads) thread.join();
  return results;
}

rlim_t addressSpace() {
  std::ifstream file("/proc/self/statm");
  rlim_t pages = 0;
  require(static_cast<bool>(file >> pages), "no /proc/self/statm");
  return pages * static_cast<rlim_t>(sysconf(_SC_PAGESIZE));
}

void limitAddressSpace(rlim_t bytes) {
  rlimit limit = {};
  require(getrlimit(RLIMIT_AS, &limit) == 0, "no limit");
  limit.rlim_cur = bytes;
  require(setrlimit(RLIMIT_AS, &limit) == 0, "the limit is refused");
}

}  // namespace

void* operator new(std::size_t, const std::nothrow_t&) noexcept { return nullptr; }
void* operator new[](std::size_t, const std::nothrow_t&) noexcept { return nullptr; }

int main(int argc, char** argv) {
  require(argc == 3, "workspace_host MODELS PHOTOGRAPH.ppm");
  const Photograph photograph = host::readPhotograph(argv[2]);
  oznakit_model_options options = OZNAKIT_MODEL_OPTIONS_INIT;
  options.directory = argv[1];
  oznakit_finder* finder = nullptr;
  require(oznakit_finder_open(&options, &finder) == OZNAKIT_OK, oznakit_last_message());
  const Result alone = search(finder, photograph, nullptr);
  require(alone.status == OZNAKIT_OK && !alone.numbers.empty(), "no face");

  for (const Result& result : searchAtOnce(finder, photograph, kThreads, [] {})) {
    require(result.status == OZNAKIT_OK, "a search failed");
    require(result.numbers == alone.numbers, "a search beside others found something else");
  }

  // A little for what searches take besides.
  constexpr rlim_t kRoom = rlim_t{16} << 20;
  int short_of_memory = 0;
  const auto limit = [&] { limitAddressSpace(addressSpace() + kRoom); };
  for (const Result& result : searchAtOnce(finder, photograph, kMoreThreads, limit)) {
    require(result.status == OZNAKIT_OK || result.status == OZNAKIT_NO_MEMORY, "another status");
    if (result.status == OZNAKIT_NO_MEMORY) ++short_of_memory;
    if (result.status == OZNAKIT_OK) {
      require(result.numbers == alone.numbers, "a search without memory found something else");
    }
  }
  limitAddressSpace(RLIM_INFINITY);
  std::printf("%d of %d searches had no memory\n", short_of_memory, kMoreThreads);
  std::fflush(stdout);
  require(short_of_memory > 0, "there was memory for all: this test tests nothing");
  for (const Result& result : searchAtOnce(finder, photograph, kMoreThreads, [] {})) {
    require(result.status == OZNAKIT_OK && result.numbers == alone.numbers,
            "a later search failed");
  }
  oznakit_finder_close(finder);
  return 0;
}
