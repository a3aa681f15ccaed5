// What a second and a further detector of a process take in memory, used ones included.
//
//   memory_host MODELS PHOTOGRAPH.ppm MEGABYTES
//
// Each detector is loaded and searches the photograph. Exit status 1 where the resident memory
// grows by more than MEGABYTES for one of the detectors after the first.

#include <unistd.h>

#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "ozna.h"
#include "tests/host/photograph_file.h"

namespace {

using host::require;

double residentMegabytes() {
  std::ifstream file("/proc/self/statm");
  long size = 0;
  long resident = 0;
  require(static_cast<bool>(file >> size >> resident), "no /proc/self/statm");
  return static_cast<double>(resident) * static_cast<double>(sysconf(_SC_PAGESIZE)) / (1 << 20);
}

}  // namespace

int main(int argc, char** argv) {
  require(argc == 4, "memory_host MODELS PHOTOGRAPH.ppm MEGABYTES");
  const std::string root = std::string(argv[1]) + "/";
  const host::Photograph photograph = host::readPhotograph(argv[2]);
  const double most = std::atof(argv[3]);
  const oznalib::Image image = {photograph.width, photograph.height, 0, photograph.pixels.data()};

  std::vector<std::unique_ptr<oznalib::Detector>> detectors;
  bool held = true;
  for (int i = 1; i <= 5; ++i) {
    const double before = residentMegabytes();
    detectors.emplace_back(new oznalib::Detector);
    require(detectors.back()->load(oznalib::DetectorParams(root.c_str(), "stages.txt")) ==
                oznalib::StatusOk,
            "no cascade");
    std::vector<oznalib::Detection> faces;
    detect(image, *detectors.back(), faces, {2.0F, 640, 0.05F, 12, 1.26F, 13});
    require(!faces.empty(), "no face");
    const double grown = residentMegabytes() - before;
    std::printf("detector %d: %.1f MB\n", i, grown);
    held = held && (i == 1 || grown <= most);
  }
  std::fflush(stdout);
  require(held, "a further detector takes more than " + std::string(argv[3]) + " MB");
  return 0;
}
