// A host of libozna that does what its standard input asks for and prints the processor time that
// it took.
//
// compare_builds.py compiles it once per build and drives both in turn. A line in, lines out, the
// last one "done":
//
//   load MODELS          loads one more detector from MODELS/, after which it is the one that
//                        detects
//   landmarks MODELS     loads MODELS/models/face68.sdm
//   read PHOTO.ppm       the photograph of what follows
//   detect               "face LEFT TOP RIGHT BOTTOM SCORE" per face
//   align L T R B        "points X0 Y0 ... X67 Y67"
//   threads N ROUNDS     N threads with a detector of their own each search the photograph ROUNDS
//                        times
//   memory               "resident BYTES", after free memory went back to the system
//
// "done SECONDS": the processor time of the whole process for that command. For "threads" it is the
// time of one search.

#include <malloc.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <ctime>
#include <fstream>
#include <iostream>
#include <memory>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "ozna.h"
#include "tests/host/photograph_file.h"

namespace {

const oznalib::CascadeParameter kParameter{2.0F, 640, 0.05F, 12, 1.26F, 13};

// With the library's own threads, should it start any: the time of all is what the user pays.
double processSeconds() {
  timespec time;
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
  return static_cast<double>(time.tv_sec) + 1e-9 * static_cast<double>(time.tv_nsec);
}

std::unique_ptr<oznalib::Detector> loadDetector(const std::string& models) {
  auto detector = std::make_unique<oznalib::Detector>();
  const std::string root = models + "/";
  const oznalib::DetectorParams params(root.c_str(), "stages.txt");
  if (detector->load(params) != oznalib::StatusOk) return nullptr;
  return detector;
}

std::size_t residentBytes() {
  malloc_trim(0);
  std::size_t pages = 0, resident = 0;
  std::ifstream("/proc/self/statm") >> pages >> resident;
  return resident * static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
}

class Host {
 public:
  // Returns whether the command was understood and went well; seconds is what "done" prints.
  bool run(const std::string& line, double& seconds) {
    std::istringstream words(line);
    std::string command, path;
    words >> command;
    const double start = processSeconds();
    if (command == "load") {
      words >> path;
      models_ = path;
      detectors_.push_back(loadDetector(path));
      seconds = processSeconds() - start;
      return detectors_.back() != nullptr;
    }
    if (command == "landmarks") {
      words >> path;
      const bool ok = oznalib::loadSDMModel(path + "/models", "face68.sdm") == oznalib::StatusOk;
      seconds = processSeconds() - start;
      return ok;
    }
    if (command == "read") {
      words >> path;
      photograph_ = host::readPhotograph(path);
      return true;
    }
    if (command == "detect") return detect(seconds);
    if (command == "align") {
      oznalib::Rectangle<float> rect;
      words >> rect.left >> rect.top >> rect.right >> rect.bottom;
      return words && align(rect, seconds);
    }
    if (command == "threads") {
      int count = 0, rounds = 0;
      words >> count >> rounds;
      return words && searchInThreads(count, rounds, seconds);
    }
    if (command == "memory") {
      std::printf("resident %zu\n", residentBytes());
      return true;
    }
    return false;
  }

 private:
  oznalib::Image view() const {
    return {photograph_.width, photograph_.height, /*stride=*/0, photograph_.pixels.data()};
  }

  bool detect(double& seconds) {
    if (detectors_.empty()) return false;
    std::vector<oznalib::Detection> faces;
    const double start = processSeconds();
    const oznalib::Status status = oznalib::detect(view(), *detectors_.back(), faces, kParameter);
    seconds = processSeconds() - start;
    for (const oznalib::Detection& face : faces) {
      std::printf("face %.9g %.9g %.9g %.9g %.9g\n", face.rect.left, face.rect.top, face.rect.right,
                  face.rect.bottom, face.score);
    }
    return status == oznalib::StatusOk;
  }

  bool align(const oznalib::Rectangle<float>& rect, double& seconds) {
    std::vector<float> points;
    const double start = processSeconds();
    oznalib::align68Points(view(), rect, points);
    seconds = processSeconds() - start;
    std::printf("points");
    for (const float value : points) std::printf(" %.9g", value);
    std::printf("\n");
    return points.size() == 136;
  }

  bool searchInThreads(int count, int rounds, double& seconds) {
    std::vector<std::unique_ptr<oznalib::Detector>> detectors;
    for (int i = 0; i < count; ++i) detectors.push_back(loadDetector(models_));
    const auto search = [&](int index, int times) {
      for (int round = 0; round < times; ++round) {
        std::vector<oznalib::Detection> faces;
        oznalib::detect(view(), *detectors[index], faces, kParameter);
      }
    };
    for (int i = 0; i < count; ++i) search(i, 1);  // The first search of a detector allocates.
    std::vector<std::thread> threads;
    const double start = processSeconds();
    for (int i = 0; i < count; ++i) threads.emplace_back(search, i, rounds);
    for (std::thread& thread : threads) thread.join();
    seconds = (processSeconds() - start) / (static_cast<double>(count) * rounds);
    return true;
  }

  std::string models_;
  std::vector<std::unique_ptr<oznalib::Detector>> detectors_;
  host::Photograph photograph_;
};

}  // namespace

int main() {
  Host host;
  std::string line;
  while (std::getline(std::cin, line)) {
    double seconds = 0;
    if (!host.run(line, seconds)) {
      std::cerr << "timed_host: failed: " << line << '\n';
      return 1;
    }
    std::printf("done %.9f\n", seconds);
    std::fflush(stdout);
  }
}
