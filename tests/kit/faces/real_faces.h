/// The models that come with the library and a photograph, for tests of whole placements.

#ifndef OZNA_TESTS_KIT_FACES_REAL_FACES_H_
#define OZNA_TESTS_KIT_FACES_REAL_FACES_H_

#include <fstream>
#include <iterator>
#include <memory>
#include <opencv2/core.hpp>
#include <string>

#include "kit/models/landmark_model.h"
#include "kit/pixels/picture.h"
#include "ozna.h"
#include "tests/kit/open_finder.h"

namespace kit_test {

inline const oznalib::SDMModel& faceModel() {
  static const auto model = [] {
    std::ifstream file(OZNA_SOURCE_DIR "/public/models/face68.sdm", std::ios::binary);
    const std::string bytes((std::istreambuf_iterator<char>(file)), {});
    return kit::readLandmarkModel("face68.sdm", bytes);
  }();
  return *model;
}

/// In the order of blue, green, red.
inline const cv::Mat& photograph() {
  static const cv::Mat bgr = readSample("grace_hopper");
  return bgr;
}

}  // namespace kit_test

#endif  // OZNA_TESTS_KIT_FACES_REAL_FACES_H_
