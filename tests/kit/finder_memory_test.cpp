// The memory of eight searches at once.

#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <cstdint>
#include <fstream>
#include <thread>
#include <vector>

#include "kit/oznakit.h"
#include "tests/kit/open_finder.h"

namespace {

constexpr int kThreads = 8;

double residentMegabytes() {
  std::ifstream file("/proc/self/statm");
  double total = 0, resident = 0;
  file >> total >> resident;
  return resident * static_cast<double>(sysconf(_SC_PAGESIZE)) / 1e6;
}

// Holds every search at its first question until all have a detector.
struct Gate {
  std::atomic<int> waiting{0};
};

std::int32_t waitForAll(float /*done*/, void* context) {
  auto* const gate = static_cast<Gate*>(context);
  static thread_local bool has_waited = false;
  if (!has_waited) {
    has_waited = true;
    ++gate->waiting;
    while (gate->waiting < kThreads) std::this_thread::yield();
  }
  return 1;
}

TEST(FinderMemory, EightSearchesAtOnceTakeADetectorEachAndShareTheWeights) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
  GTEST_SKIP() << "sanitizers take memory of their own";
#endif
  const kit_test::FinderPtr finder = kit_test::openCompact();
  const cv::Mat photo = kit_test::readSample("group");
  oznakit_search_options options = kit_test::defaultSearch();
  kit_test::find(finder.get(), kit_test::viewOf(photo), options);
  const double one = residentMegabytes();
  Gate gate;
  options.progress = waitForAll;
  options.context = &gate;
  std::vector<std::thread> threads;
  for (int i = 0; i < kThreads; ++i) {
    threads.emplace_back([&] { kit_test::find(finder.get(), kit_test::viewOf(photo), options); });
  }
  for (std::thread& thread : threads) thread.join();
  oznakit_finder_info info = OZNAKIT_FINDER_INFO_INIT;
  oznakit_finder_get_info(finder.get(), &info);
  EXPECT_EQ(info.detectors, kThreads);
  EXPECT_LT(residentMegabytes() - one, 16.0 * (kThreads - 1));
}

}  // namespace
