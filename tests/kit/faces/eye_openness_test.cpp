// How far eyes are open.

#include "kit/faces/eye_openness.h"

#include <gtest/gtest.h>

#include <cmath>

namespace {

using kit::eyeOpenness;

TEST(EyeOpenness, IsHeightOverWidth) {
  std::vector<float> points(136, 0.0F);
  const auto put = [&](std::size_t i, float x, float y) {
    points[2 * i] = x;
    points[2 * i + 1] = y;
  };
  // 10 wide; lids 3 and 5 apart: a height of 4.
  put(36, 0, 0);
  put(37, 3, -1);
  put(38, 7, -2);
  put(39, 10, 0);
  put(40, 7, 3);
  put(41, 3, 2);
  EXPECT_NEAR(eyeOpenness(points, kit::kLeftEye), 0.4, 1e-6);
  // Closed, and lying: 5 wide, no height.
  for (std::size_t i = 42; i < 48; ++i) {
    put(i, 3, 0);
  }
  put(42, 3, 0);
  put(45, 3, 5);
  EXPECT_EQ(eyeOpenness(points, kit::kRightEye), 0);
  put(45, 3, 0);
  EXPECT_TRUE(std::isnan(eyeOpenness(points, kit::kRightEye)));
}

}  // namespace
