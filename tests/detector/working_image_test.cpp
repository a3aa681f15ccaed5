// The sizing of the working image.

#include "detector/working_image.h"

#include <gtest/gtest.h>

namespace {

using oznalib::CascadeParameter;
using oznalib::workingScale;

CascadeParameter sizing(float max_upscale, int max_side, float fraction, int window) {
  return {max_upscale, max_side, fraction, /*pyramidLevels=*/1, /*pyramidFactor=*/2, window};
}

// 640 * 0.034 is 21.76, and the fraction is cut: 640 * 13 / 21 is 396 and not 382.
TEST(WorkingImage, LongerSideFollowsTheSmallestFaceInWholePixels) {
  const cv::Mat square = cv::Mat::zeros(640, 640, CV_8UC3);
  EXPECT_EQ(oznalib::makeWorkingImage(square, sizing(2, 640, 0.034F, 13)).pixels.cols, 396);
  for (const int side : {1, 300, 320, 640, 641, 3000}) {
    const cv::Mat image = cv::Mat::zeros(1, side, CV_8UC3);
    EXPECT_LE(static_cast<int>(side * workingScale(1, side, sizing(2, 640, 0.05F, 13))), 260);
  }
}

TEST(WorkingScale, IsOneWhereTheSmallestFaceIsTheWindowAndNothingMayGrow) {
  // 200 * 0.1 = 20.
  EXPECT_EQ(workingScale(50, 100, sizing(1, 200, 0.1F, 20)), 1.0F);
}

TEST(WorkingScale, BringsALargeImageToTheSideAndTheSmallestFaceToTheWindow) {
  // 10 / 20 for the face, 200 / 400 for the side, which is the longer one of either kind.
  EXPECT_EQ(workingScale(300, 400, sizing(2, 200, 0.1F, 10)), 0.25F);
  EXPECT_EQ(workingScale(400, 300, sizing(2, 200, 0.1F, 10)), 0.25F);
}

TEST(WorkingScale, EnlargesASmallImageByNoMoreThanAllowed) {
  EXPECT_EQ(workingScale(50, 40, sizing(2, 200, 0.1F, 10)), 1.0F);      // 0.5 * min(2, 4).
  EXPECT_EQ(workingScale(50, 40, sizing(8, 200, 0.1F, 10)), 2.0F);      // 0.5 * min(8, 4).
  EXPECT_EQ(workingScale(200, 40, sizing(2, 200, 0.1F, 10)), 0.5F);     // At the side itself.
  EXPECT_EQ(workingScale(50, 40, sizing(0.5F, 200, 0.1F, 10)), 0.25F);  // May even shrink.
}

TEST(WorkingScale, TreatsAnImageOfExactlyTheSideAsASmallOne) {
  EXPECT_EQ(workingScale(200, 40, sizing(0.5F, 200, 0.1F, 10)), 0.25F);
  EXPECT_EQ(workingScale(400, 40, sizing(0.5F, 200, 0.1F, 10)), 0.25F);  // By the side alone.
}

TEST(WorkingScale, CutsTheSmallestFaceToWholePixels) {
  // 50 * 0.05 = 2.5, so 2.
  EXPECT_EQ(workingScale(100, 50, sizing(1, 50, 0.05F, 6)), 3.0F * 0.5F);
}

TEST(WorkingScale, IsThatOfTheUsualParameters) {
  // 640 * 0.05 = 32, 13 / 32 and 640 / 1600: 0.1625, a working image of 260 by 195.
  const CascadeParameter usual = {2.0F, 640, 0.05F, 12, 1.26F, 13};
  EXPECT_FLOAT_EQ(workingScale(1200, 1600, usual), 0.1625F);
}

TEST(WorkingImage, TellsTheScaleItWasMadeAt) {
  const cv::Mat image = cv::Mat::zeros(50, 40, CV_8UC3);
  const oznalib::WorkingImage working = makeWorkingImage(image, sizing(2, 200, 0.1F, 10));
  EXPECT_EQ(working.scale, 1.0F);
  EXPECT_EQ(working.pixels.size(), image.size());
  EXPECT_NE(working.pixels.data, image.data);  // A copy of its own.
}

TEST(MapToImage, CutsTowardsZero) {
  oznalib::CandidateList list;
  list.candidates.push_back({3, -3, 19, 19, 0.5F, 0});
  mapToImage(list, 0.4F);  // By 2.5: 7.5, -7.5 and 47.5.
  EXPECT_EQ(list.candidates[0].x, 7);
  EXPECT_EQ(list.candidates[0].y, -7);
  EXPECT_EQ(list.candidates[0].width, 47);
  EXPECT_EQ(list.candidates[0].height, 47);
}

}  // namespace
