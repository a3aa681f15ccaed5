// What a host's threads lose to each other: processor time of one detect, by the clock of its
// thread, with one thread at work and with several, each with a detector of its own. The rounds
// alternate, and nothing is set in the environment.
//
//   host_threads MODELS PHOTOGRAPH.ppm...
//
// Prints for 2 and 8 threads the median over the photographs of the time beside others and of its
// ratio to the time alone. More than 1.1 for 2 threads on an idle machine of two processors, and
// the exit status is 1.

#include <time.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <iostream>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "ozna.h"
#include "tests/host/photograph_file.h"

namespace {

using host::Photograph;

constexpr int kRounds = 3;
constexpr double kMostLost = 1.1;

double threadMilliseconds() {
  timespec now{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
  return 1e3 * static_cast<double>(now.tv_sec) + 1e-6 * static_cast<double>(now.tv_nsec);
}

double median(std::vector<double> values) {
  std::nth_element(values.begin(), values.begin() + values.size() / 2, values.end());
  return values[values.size() / 2];
}

using Times = std::vector<std::vector<double>>;  // By photograph.

// One pass over the photographs in each of the first threads detectors, side by side.
void searchAll(const std::vector<std::unique_ptr<oznalib::Detector>>& detectors,
               std::size_t threads, const std::vector<Photograph>& photographs, Times& times) {
  std::vector<Times> own(threads, Times(photographs.size()));
  std::vector<std::thread> workers;
  for (std::size_t t = 0; t < threads; ++t) {
    workers.emplace_back([&, t] {
      for (std::size_t i = 0; i < photographs.size(); ++i) {
        const Photograph& photograph = photographs[i];
        const oznalib::Image image = {photograph.width, photograph.height, 0,
                                      photograph.pixels.data()};
        std::vector<oznalib::Detection> faces;
        const double start = threadMilliseconds();
        detect(image, *detectors[t], faces, {2.0F, 640, 0.05F, 12, 1.26F, 13});
        own[t][i].push_back(threadMilliseconds() - start);
      }
    });
  }
  for (std::thread& worker : workers) worker.join();
  for (const Times& one : own) {
    for (std::size_t i = 0; i < one.size(); ++i) {
      times[i].insert(times[i].end(), one[i].begin(), one[i].end());
    }
  }
}

}  // namespace

int main(int argc, char** argv) {
  std::vector<Photograph> photographs;
  for (int i = 2; i < argc; ++i) {
    photographs.push_back(host::readPhotograph(argv[i]));
    if (photographs.back().pixels.empty()) {
      std::cerr << "host_threads: " << argv[i] << " is no PPM file\n";
      return 2;
    }
  }
  if (photographs.empty()) {
    std::cerr << "host_threads MODELS PHOTOGRAPH.ppm...\n";
    return 2;
  }
  const std::string root = std::string(argv[1]) + "/";
  std::vector<std::unique_ptr<oznalib::Detector>> detectors;
  for (int i = 0; i < 8; ++i) {
    detectors.emplace_back(new oznalib::Detector);
    if (detectors.back()->load(oznalib::DetectorParams(root.c_str(), "stages.txt")) !=
        oznalib::StatusOk) {
      std::cerr << "host_threads: no cascade in " << root << "\n";
      return 2;
    }
  }
  Times warm(photographs.size());
  searchAll(detectors, detectors.size(), photographs, warm);

  bool lost = false;
  for (const std::size_t threads : {std::size_t{2}, std::size_t{8}}) {
    Times alone(photographs.size());
    Times beside(photographs.size());
    for (int round = 0; round < kRounds; ++round) {
      searchAll(detectors, 1, photographs, alone);
      searchAll(detectors, threads, photographs, beside);
    }
    std::vector<double> times;
    std::vector<double> ratios;
    for (std::size_t i = 0; i < photographs.size(); ++i) {
      times.push_back(median(beside[i]));
      ratios.push_back(median(beside[i]) / median(alone[i]));
    }
    std::printf("%zu threads: %.1f ms a detect, %.3f of one thread's\n", threads, median(times),
                median(ratios));
    lost = lost || (threads == 2 && median(ratios) > kMostLost);
  }
  return lost ? 1 : 0;
}
