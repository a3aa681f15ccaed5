// The sharpness of faces.

#include "kit/faces/sharpness.h"

#include <gtest/gtest.h>

#include <cmath>
#include <opencv2/imgproc.hpp>

#include "tests/kit/faces/real_faces.h"

namespace {

using kit::faceSharpness;
using kit::Picture;
using kit_test::photograph;
using kit_test::viewOf;

// Eyes, nose, mouth of the face in the photograph, by eye.
const std::vector<float> kFive = {213, 195, 293, 193, 257, 238, 225, 283, 292, 280};

float sharpnessOf(const cv::Mat& bgr, float scale = 1) {
  std::vector<float> points;
  for (const float coordinate : kFive) {
    points.push_back((coordinate + 0.5F) * scale - 0.5F);
  }
  return faceSharpness(Picture(viewOf(bgr)), points);
}

TEST(FaceSharpness, FallsWithBlur) {
  const float sharp = sharpnessOf(photograph());
  EXPECT_GT(sharp, 0.45F);
  EXPECT_LT(sharp, 0.9F);
  float last = sharp;
  for (const double sigma : {1.0, 2.0, 3.0, 5.0, 8.0}) {
    cv::Mat blurred;
    cv::GaussianBlur(photograph(), blurred, cv::Size(), sigma);
    const float less = sharpnessOf(blurred);
    EXPECT_LT(less, last) << sigma;
    last = less;
  }
  EXPECT_LT(last, 0.3F);
}

TEST(FaceSharpness, SeesABlurAlongOneWay) {
  cv::Mat moved;
  cv::blur(photograph(), moved, cv::Size(15, 1));
  EXPECT_LT(sharpnessOf(moved), 0.7F * sharpnessOf(photograph()));
}

TEST(FaceSharpness, DoesNotDependOnContrastAndBrightness) {
  cv::Mat pale;
  photograph().convertTo(pale, -1, 0.4, 90);
  EXPECT_NEAR(sharpnessOf(pale), sharpnessOf(photograph()), 0.01);
}

TEST(FaceSharpness, IsMuchTheSameAtEverySizeThatHasTheDetails) {
  const float full = sharpnessOf(photograph());  // The face is some 200 pixels wide.
  cv::Mat large;
  cv::resize(photograph(), large, cv::Size(), 3, 3, cv::INTER_LINEAR);
  EXPECT_NEAR(sharpnessOf(large, 3), full, 0.06);
  cv::Mat small;
  cv::resize(photograph(), small, cv::Size(), 0.5, 0.5, cv::INTER_AREA);
  EXPECT_NEAR(sharpnessOf(small, 0.5F), full, 0.08);
  // An eighth of the size does not have them.
  cv::resize(photograph(), small, cv::Size(), 0.125, 0.125, cv::INTER_AREA);
  EXPECT_LT(sharpnessOf(small, 0.125F), 0.75F * full);
}

TEST(FaceSharpness, OfAnEvenSurfaceIsNone) {
  const cv::Mat even(600, 512, CV_8UC3, cv::Scalar(90, 120, 150));
  EXPECT_EQ(sharpnessOf(even), 0);
  EXPECT_TRUE(std::isnan(faceSharpness(Picture(viewOf(even)), std::vector<float>(10, 3.0F))));
}

}  // namespace
