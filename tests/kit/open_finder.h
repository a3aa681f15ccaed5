/// Finders and pictures for the tests of the C interface.

#ifndef OZNA_TESTS_KIT_OPEN_FINDER_H_
#define OZNA_TESTS_KIT_OPEN_FINDER_H_

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <fstream>
#include <memory>
#include <opencv2/core.hpp>
#include <string>
#include <utility>
#include <vector>

#include "kit/oznakit.h"

namespace kit_test {

struct CloseFinder {
  void operator()(oznakit_finder* finder) const { oznakit_finder_close(finder); }
};
using FinderPtr = std::unique_ptr<oznakit_finder, CloseFinder>;

/// parts  As in oznakit_model_options.
inline FinderPtr openDirectory(const std::string& directory, std::int32_t parts) {
  oznakit_model_options options = OZNAKIT_MODEL_OPTIONS_INIT;
  options.directory = directory.c_str();
  options.parts = parts;
  oznakit_finder* finder = nullptr;
  EXPECT_EQ(oznakit_finder_open(&options, &finder), OZNAKIT_OK) << oznakit_last_message();
  return FinderPtr(finder);
}

/// With the quickest cascade of the tree.
inline FinderPtr openCompact() {
  return openDirectory(OZNA_SOURCE_DIR "/public/compact", OZNAKIT_DETECTION);
}

/// A photograph of samples/, named without its ending, in blue, green, red. Read from plain pixels:
/// the libraries that decode files take locks which ThreadSanitizer complains of.
inline cv::Mat readSample(const std::string& name) {
  std::ifstream file(OZNA_PPM_DIR "/" + name + ".ppm", std::ios::binary);
  std::string magic;
  int width = 0, height = 0, maximum = 0;
  file >> magic >> width >> height >> maximum;
  file.get();
  cv::Mat image(std::max(height, 1), std::max(width, 1), CV_8UC3);
  file.read(reinterpret_cast<char*>(image.data),
            static_cast<std::streamsize>(image.total() * image.elemSize()));
  EXPECT_TRUE(file.good()) << name;
  for (int i = 0; i < image.rows * image.cols; ++i) {
    std::swap(image.data[3 * i], image.data[3 * i + 2]);
  }
  return image;
}

/// A view of three channels in blue, green, red.
inline oznakit_image viewOf(const cv::Mat& bgr) {
  oznakit_image image = OZNAKIT_IMAGE_INIT;
  image.pixels = bgr.data;
  image.width = bgr.cols;
  image.height = bgr.rows;
  image.row_bytes = static_cast<std::ptrdiff_t>(bgr.step);
  image.format = OZNAKIT_BGR;
  return image;
}

/// The faces of a call, copied out of their list.
struct Found {
  oznakit_status status = OZNAKIT_INTERNAL;
  std::vector<oznakit_face> faces;
};

inline Found copyOut(oznakit_status status, oznakit_faces* list) {
  Found found;
  found.status = status;
  for (std::int32_t i = 0; i < oznakit_faces_count(list); ++i) {
    oznakit_face face = OZNAKIT_FACE_INIT;
    EXPECT_EQ(oznakit_faces_get(list, i, &face), OZNAKIT_OK);
    found.faces.push_back(face);
  }
  oznakit_faces_free(list);
  return found;
}

inline Found find(oznakit_finder* finder, const oznakit_image& image,
                  const oznakit_search_options& options) {
  oznakit_faces* list = nullptr;
  const oznakit_status status = oznakit_finder_find(finder, &image, &options, &list);
  return copyOut(status, list);
}

inline oznakit_search_options defaultSearch() {
  const oznakit_search_options options = OZNAKIT_SEARCH_OPTIONS_INIT;
  return options;
}

}  // namespace kit_test

#endif  // OZNA_TESTS_KIT_OPEN_FINDER_H_
