// What the trained weights of the first network must keep to.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <opencv2/core.hpp>
#include <random>
#include <string>
#include <vector>

#include "detector/model_store.h"
#include "detector/pixel_planes.h"

namespace {

void loadDefault(oznalib::DetectorImpl& detector) {
  const char* const root = OZNA_SOURCE_DIR "/public/";
  const char* const list = "stages.txt";
  ASSERT_EQ(loadFromFiles(oznalib::DetectorParams(root, list), detector), oznalib::StatusOk);
}

// The fast path adds 100 times a channel's weights and its bias, but takes the channel from a flat
// index that changes with the size of the level. Only equal sums make that harmless.
TEST(FirstNetworkWeights, CorrectAllChannelsAlike) {
  oznalib::DetectorImpl detector;
  loadDefault(detector);
  const auto& blobs = detector.stages[0].net->layers()[0]->blobs();
  const int channels = blobs[0]->num();
  const int each = blobs[0]->count() / channels;
  std::vector<double> corrections(channels);
  double least_effect = INFINITY;  // Of one grey level in all pixels, on the least channel.
  for (int c = 0; c < channels; ++c) {
    double sum = 0;
    double absolute = 0;
    for (int i = 0; i < each; ++i) {
      sum += blobs[0]->cpu_data()[c * each + i];
      absolute += std::abs(blobs[0]->cpu_data()[c * each + i]);
    }
    corrections[c] = 100 * sum + blobs[1]->cpu_data()[c];
    least_effect = std::min(least_effect, absolute);
  }
  const auto range = std::minmax_element(corrections.begin(), corrections.end());
  EXPECT_LT(*range.second - *range.first, 1e-3 * least_effect);
}

// The spread of both logits over one map: a softmax takes one maximum for all of its cells, and a
// cell 88 below it has no probabilities left.
double logitSpread(oznalib::DetectorImpl& detector, const cv::Mat& image) {
  caffe::Net<float>& net = *detector.stages[0].net;
  net.AlterInputShape(image.cols, image.rows);
  oznalib::writePixelPlanes(image, *net.input_blobs()[0]);
  net.FF();
  const auto logits = net.blob_by_name("fcf-conv");
  const auto range = std::minmax_element(logits->cpu_data(), logits->cpu_data() + logits->count());
  return static_cast<double>(*range.second) - *range.first;
}

TEST(FirstNetworkWeights, KeepLogitsOfExtremeImagesTogether) {
  oznalib::DetectorImpl detector;
  loadDefault(detector);
  const cv::Size size(240, 180);
  cv::Mat board(size, CV_8UC3);
  cv::Mat coarse(size, CV_8UC3);
  cv::Mat noise(size, CV_8UC3);
  std::mt19937 random(1);
  for (int y = 0; y < size.height; ++y) {
    for (int x = 0; x < size.width; ++x) {
      board.at<cv::Vec3b>(y, x) = cv::Vec3b::all((x + y) % 2 == 0 ? 255 : 0);
      coarse.at<cv::Vec3b>(y, x) = cv::Vec3b::all((x / 8 + y / 8) % 2 == 0 ? 255 : 0);
      for (int c = 0; c < 3; ++c) noise.at<cv::Vec3b>(y, x)[c] = random() % 256;
    }
  }
  EXPECT_LT(logitSpread(detector, cv::Mat(size, CV_8UC3, cv::Scalar::all(0))), 40);
  EXPECT_LT(logitSpread(detector, cv::Mat(size, CV_8UC3, cv::Scalar::all(255))), 40);
  EXPECT_LT(logitSpread(detector, board), 40);
  EXPECT_LT(logitSpread(detector, coarse), 40);
  EXPECT_LT(logitSpread(detector, noise), 40);
}

}  // namespace
