/// Cascades in which a face is a pixel whose third byte is bright: the dense stage looks at single
/// pixels, one in four, and its score is the logistic function of 0.04 * byte - 4 (the biases are 0
/// and -4, and the corrections 0 and 0, as 100 * 0.04 = 4).

#ifndef OZNA_TESTS_DETECTOR_BRIGHT_PIXELS_H_
#define OZNA_TESTS_DETECTOR_BRIGHT_PIXELS_H_

#include <opencv2/core.hpp>
#include <vector>

#include "detector/face_candidate.h"
#include "ozna.h"
#include "tests/detector/handmade_cascade.h"

namespace detector_test {

inline DenseNet brightPixelNet(int side) {
  DenseNet net;
  net.height = net.width = side;
  net.kernel = 1;
  net.stride = 4;
  net.weights = {0, 0, 0, 0.04F, 0, 0};
  net.bias = {0, -4};
  return net;
}

/// Scale 1, one level, window 4: on 21 by 21 pixels the cells are 6 by 6, over positions 0 to 16,
/// 3.2 apart: 0, 3, 6, 10, 13, 16.
inline oznalib::CascadeParameter plainScan() { return {1, 21, 4.5F / 21, 1, 2, 4}; }

inline cv::Mat blackImage() { return cv::Mat::zeros(21, 21, CV_8UC3); }

/// Gives the pixel of a cell that third byte.
inline void brighten(cv::Mat& image, int cell_row, int cell_column, int byte) {
  image.at<cv::Vec3b>(4 * cell_row, 4 * cell_column)[2] = static_cast<unsigned char>(byte);
}

/// Left, top, width and height of each.
inline std::vector<std::vector<int>> boxesOf(const oznalib::CandidateList& list) {
  std::vector<std::vector<int>> boxes;
  for (const oznalib::FaceCandidate& candidate : list.candidates) boxes.push_back(boxOf(candidate));
  return boxes;
}

}  // namespace detector_test

#endif  // OZNA_TESTS_DETECTOR_BRIGHT_PIXELS_H_
