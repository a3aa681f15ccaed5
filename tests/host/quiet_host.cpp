// A host that sets nothing and links nothing but the library: it counts the threads of its process
// before, during and after the work of one thread.
//
//   quiet_host MODELS PHOTOGRAPH.ppm
//
// The photograph is also searched at three times its side, since image libraries share out large
// pictures alone.

#include <dirent.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>
#include <thread>
#include <vector>

#include "ozna.h"
#include "tests/host/photograph_file.h"

namespace {

using host::Photograph;
using host::require;

// The threads of this process, by the system's own list.
int countThreads() {
  DIR* const tasks = opendir("/proc/self/task");
  require(tasks != nullptr, "no /proc/self/task");
  int count = 0;
  while (const dirent* const entry = readdir(tasks)) count += entry->d_name[0] != '.';
  closedir(tasks);
  return count;
}

Photograph enlarged(const Photograph& photograph, int factor) {
  Photograph large;
  large.width = photograph.width * factor;
  large.height = photograph.height * factor;
  large.pixels.resize(3 * static_cast<std::size_t>(large.width) *
                      static_cast<std::size_t>(large.height));
  std::size_t next = 0;
  for (int y = 0; y < large.height; ++y) {
    for (int x = 0; x < large.width; ++x) {
      const std::size_t source =
          3 * (static_cast<std::size_t>(y / factor) * photograph.width + x / factor);
      for (std::size_t c = 0; c < 3; ++c) large.pixels[next++] = photograph.pixels[source + c];
    }
  }
  return large;
}

std::size_t findFaces(const oznalib::Detector& detector, const Photograph& photograph) {
  const oznalib::Image image = {photograph.width, photograph.height, 0, photograph.pixels.data()};
  std::vector<oznalib::Detection> faces;
  require(detect(image, detector, faces, {2.0F, 640, 0.05F, 12, 1.26F, 13}) == oznalib::StatusOk,
          "not loaded");
  for (const oznalib::Detection& face : faces) {
    std::vector<float> points;
    align68Points(image, face.rect, points);
    align5Points(image, face.rect, points);
  }
  return faces.size();
}

void work(const std::string& models, const Photograph& photograph) {
  const std::string root = models + "/";
  oznalib::Detector detector;
  require(detector.load(oznalib::DetectorParams(root.c_str(), "stages.txt")) == oznalib::StatusOk,
          "no cascade");
  require(oznalib::loadSDMModel(root + "models", "face68.sdm") == oznalib::StatusOk,
          "no landmark model");
  require(findFaces(detector, photograph) > 0, "no face");
  require(findFaces(detector, enlarged(photograph, 3)) > 0, "no face in the large photograph");
}

}  // namespace

int main(int argc, char** argv) {
  require(argc == 3, "quiet_host MODELS PHOTOGRAPH.ppm");
  const int before = countThreads();
  const Photograph photograph = host::readPhotograph(argv[2]);

  std::atomic<bool> done{false};
  std::atomic<int> most{0};
  std::thread watcher([&] {
    while (!done) {
      most = std::max(most.load(), countThreads());
      std::this_thread::sleep_for(std::chrono::microseconds(500));
    }
  });
  work(argv[1], photograph);
  done = true;
  watcher.join();
  const int after = countThreads();

  std::printf("threads before %d, most during %d (one of them watches), after %d\n", before,
              most.load(), after);
  require(before == 1, "the library started a thread when it was loaded");
  require(most == 2, "the library started a thread while it worked");
  require(after == 1, "the library left a thread behind");
  return 0;
}
