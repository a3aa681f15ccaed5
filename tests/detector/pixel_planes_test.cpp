// The way of pixels into a network's input.

#include "detector/pixel_planes.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <vector>

#include "caffe/util/wide_loops.hpp"
#include "tests/detector/handmade_cascade.h"

namespace {

using FloatBlob = caffe::Blob<float>;

std::vector<float> valuesOf(const FloatBlob& blob) {
  return std::vector<float>(blob.cpu_data(), blob.cpu_data() + blob.count());
}

// What stands in the input before, so that it shows what was left alone.
void fillWithFives(FloatBlob& input) { std::fill_n(input.mutable_cpu_data(), input.count(), 5.0F); }

std::vector<float> meanOf(int count) {
  std::vector<float> mean(count);
  for (int i = 0; i < count; ++i) mean[i] = 0.37F * static_cast<float>(i % 101) - 9;
  return mean;
}

// Both functions by their definition, on input planes of the image's size.
std::vector<float> expectedPlanes(const cv::Mat& image, int planes, bool less_mean) {
  std::vector<float> values;
  const std::vector<float> mean = meanOf(planes * image.rows * image.cols);
  for (int plane = 0; plane < planes; ++plane) {
    for (int row = 0; row < image.rows; ++row) {
      for (int column = 0; column < image.cols; ++column) {
        float value = 5.0F;
        if (plane < 3) value = image.at<cv::Vec3b>(row, column)[2 - plane];
        values.push_back(less_mean ? value - mean[values.size()] : value);
      }
    }
  }
  return values;
}

TEST(PixelPlanes, HoldTheBytesInReverseOrderLessTheMeanIfThereIsOne) {
  const cv::Mat photograph = detector_test::noiseImage(60, 80, 4);
  const int sizes[][2] = {{1, 1}, {2, 3}, {24, 24}, {17, 33}, {48, 48}};
  for (const auto& size : sizes) {
    const cv::Mat image = photograph(cv::Rect(5, 7, size[1], size[0]));  // Rows have a gap.
    for (const int planes : {1, 2, 3, 4}) {
      for (const bool wide : {false, true}) {
        const bool former = caffe::SetWideLoops(wide);
        FloatBlob plain(1, planes, size[0], size[1]);
        FloatBlob less_mean(1, planes, size[0], size[1]);
        fillWithFives(plain);
        fillWithFives(less_mean);
        oznalib::writePixelPlanes(image, plain);
        oznalib::writePixelPlanesLessMean(image, meanOf(less_mean.count()).data(), less_mean);
        caffe::SetWideLoops(former);
        ASSERT_EQ(valuesOf(plain), expectedPlanes(image, planes, false));
        ASSERT_EQ(valuesOf(less_mean), expectedPlanes(image, planes, true));
      }
    }
  }
}

}  // namespace
