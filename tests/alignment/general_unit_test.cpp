// Tests of the scaling of a face image with its box and shapes.

#include "alignment/general_unit.h"

#include <gtest/gtest.h>

#include <opencv2/imgproc.hpp>
#include <vector>

#include "tests/alignment/synthetic_model.h"

namespace {

using SDMCore::GeneralUnit;

TEST(GeneralUnit, IsEmptyAtFirst) {
  const GeneralUnit unit;
  EXPECT_TRUE(unit.image.empty());
  EXPECT_EQ(unit.box, cv::Rect());
  EXPECT_EQ(unit.scale, 0);
  EXPECT_TRUE(unit.shape.empty());
  EXPECT_TRUE(unit.startShape.empty());
}

TEST(GeneralUnit, RescaleBringsTheBoxToTheWidth) {
  GeneralUnit unit;
  unit.image = synthetic::texturedImage(250, 201, 1, 1);
  const cv::Mat original = unit.image.clone();
  unit.box = cv::Rect(-11, 31, 200, 150);
  unit.shape = {10, 20};
  unit.startShape = {2};
  unit.rescale(100);
  EXPECT_EQ(unit.scale, 0.5F);
  EXPECT_EQ(unit.image.cols, 125);
  EXPECT_EQ(unit.image.rows, 100);                 // 100.5 is cut.
  EXPECT_EQ(unit.box, cv::Rect(-5, 15, 100, 75));  // -5.5 and 15.5 are cut towards 0.
  EXPECT_EQ(unit.shape, (std::vector<float>{5, 10}));
  EXPECT_EQ(unit.startShape, std::vector<float>{1});
  cv::Mat expected;
  cv::resize(original, expected, cv::Size(125, 100), 0, 0, cv::INTER_LINEAR);
  EXPECT_EQ(cv::norm(unit.image, expected, cv::NORM_INF), 0);
}

TEST(GeneralUnit, NormalizeIsRescale) {
  GeneralUnit unit;
  unit.image = cv::Mat(40, 60, CV_8UC1, cv::Scalar(7));
  unit.box = cv::Rect(4, 4, 20, 10);
  unit.normalize(30);
  EXPECT_EQ(unit.scale, 1.5F);
  EXPECT_EQ(unit.image.size(), cv::Size(90, 60));
  EXPECT_EQ(unit.box, cv::Rect(6, 6, 30, 15));
}

TEST(GeneralUnit, UnscaleShapesDividesBoth) {
  GeneralUnit unit;
  unit.scale = 2;
  unit.shape = {4, 6};
  unit.startShape = {1};
  unit.unscaleShapes();
  EXPECT_EQ(unit.shape, (std::vector<float>{2, 3}));
  EXPECT_EQ(unit.startShape, std::vector<float>{0.5F});
}

TEST(GeneralUnit, ImageThatShrinksToNothingIsRefused) {
  GeneralUnit unit;
  unit.image = cv::Mat(10, 10, CV_8UC1, cv::Scalar(0));
  unit.box = cv::Rect(0, 0, 5000, 5000);
  EXPECT_THROW(unit.rescale(100), cv::Exception);
}

}  // namespace
