// Plots and sheets of the evaluations.

#include "training/common/drawing.h"

#include <gtest/gtest.h>

namespace training {
namespace {

TEST(PlotArea, PlacesItsCornersWithinTheMargin) {
  constexpr PlotArea area{/*width=*/300, /*height=*/200, /*margin=*/40};
  EXPECT_EQ(area.picture().size(), cv::Size(380, 280));
  EXPECT_EQ(area.at(0, 0), cv::Point(40, 240));
  EXPECT_EQ(area.at(1, 1), cv::Point(340, 40));
  EXPECT_EQ(area.at(0.5, 0.25), cv::Point(190, 190));
}

TEST(DrawCurve, JoinsNeighboursAndLeavesOnePointOut) {
  cv::Mat picture(20, 20, CV_8UC3, kBlack);
  drawCurve(picture, {{3, 10}}, inkOf(0));
  EXPECT_EQ(cv::norm(picture), 0);
  drawCurve(picture, {{3, 10}, {16, 10}}, cv::Scalar(255, 255, 255));
  EXPECT_EQ(picture.at<cv::Vec3b>(10, 9), cv::Vec3b(255, 255, 255));
  EXPECT_EQ(picture.at<cv::Vec3b>(3, 9), cv::Vec3b(0, 0, 0));
}

TEST(ContactSheet, FillsRowsAndLeavesTheRestBlack) {
  const std::vector<cv::Mat> cells(3, cv::Mat(4, 4, CV_8UC3, cv::Scalar(1, 2, 3)));
  const cv::Mat sheet = contactSheet(cells, /*columns=*/2, /*side=*/4);
  ASSERT_EQ(sheet.size(), cv::Size(8, 8));
  EXPECT_EQ(sheet.at<cv::Vec3b>(7, 3), cv::Vec3b(1, 2, 3));
  EXPECT_EQ(sheet.at<cv::Vec3b>(7, 4), cv::Vec3b(0, 0, 0));
  EXPECT_EQ(contactSheet({}, 2, 4).size(), cv::Size(8, 4));
}

}  // namespace
}  // namespace training
