/// The models that come with the library and a photograph, for tests of whole placements.

#ifndef OZNA_TESTS_KIT_FACES_REAL_FACES_H_
#define OZNA_TESTS_KIT_FACES_REAL_FACES_H_

#include <fstream>
#include <iterator>
#include <memory>
#include <opencv2/imgcodecs.hpp>
#include <string>

#include "kit/models/landmark_model.h"
#include "kit/pixels/picture.h"
#include "ozna.h"

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
  static const cv::Mat bgr = cv::imread(OZNA_SOURCE_DIR "/samples/grace_hopper.jpg");
  return bgr;
}

inline oznakit_image imageOf(const cv::Mat& bgr) {
  oznakit_image image = OZNAKIT_IMAGE_INIT;
  image.pixels = bgr.data;
  image.width = bgr.cols;
  image.height = bgr.rows;
  image.row_bytes = static_cast<std::ptrdiff_t>(bgr.step[0]);
  image.format = OZNAKIT_BGR;
  return image;
}

}  // namespace kit_test

#endif  // OZNA_TESTS_KIT_FACES_REAL_FACES_H_
