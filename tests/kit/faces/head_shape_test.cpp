// The average head.

#include "kit/faces/head_shape.h"

#include <gtest/gtest.h>

#include <array>
#include <cstddef>
#include <utility>

namespace {

using kit::kHeadShape;

TEST(HeadShape, IsSymmetric) {
  // Landmarks that mirror each other: outline, brows, nostrils, eyes, lips; the others lie in the
  // middle.
  const std::array<std::pair<std::size_t, std::size_t>, 29> pairs = {
      {{0, 16},  {1, 15},  {2, 14},  {3, 13},  {4, 12},  {5, 11},  {6, 10},  {7, 9},
       {17, 26}, {18, 25}, {19, 24}, {20, 23}, {21, 22}, {31, 35}, {32, 34}, {36, 45},
       {37, 44}, {38, 43}, {39, 42}, {40, 47}, {41, 46}, {48, 54}, {49, 53}, {50, 52},
       {59, 55}, {58, 56}, {60, 64}, {61, 63}, {67, 65}}};
  for (const auto& [left, right] : pairs) {
    EXPECT_LT(kHeadShape[left][0], 0) << left;
    EXPECT_EQ(kHeadShape[left][0], -kHeadShape[right][0]) << left;
    EXPECT_EQ(kHeadShape[left][1], kHeadShape[right][1]) << left;
    EXPECT_EQ(kHeadShape[left][2], kHeadShape[right][2]) << left;
  }
  for (const std::size_t middle : {8, 27, 28, 29, 30, 33, 51, 57, 62, 66}) {
    EXPECT_EQ(kHeadShape[middle][0], 0) << middle;
  }
}

TEST(HeadShape, HasTheMeasuresOfAnAverageAdult) {
  EXPECT_EQ(kHeadShape[27], cv::Vec3d(0, 0, 0));  // The origin, at the root of the nose.
  EXPECT_NEAR(kHeadShape[45][0] - kHeadShape[36][0], 89,
              0.5);                          // Between outer corners of the eyes.
  EXPECT_NEAR(kHeadShape[30][2], -19, 0.5);  // The tip of the nose.
  for (std::size_t i = 0; i < kHeadShape.size(); ++i) {
    EXPECT_LE(kHeadShape[30][2], kHeadShape[i][2]) << "The nose is nearest to the viewer.";
    EXPECT_GE(kHeadShape[8][1], kHeadShape[i][1]) << "The chin is lowest.";
  }
}

}  // namespace
