// How far the landmarks of a face can be trusted.

#include "kit/faces/point_quality.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "alignment/align68_points.h"

namespace {

TEST(FitSpread, IsTheMeanDistanceOverTheSizeOfTheFace) {
  // Four points at the corners of a square of side 2: sqrt(2) from the centre. Of two fits one is
  // 0.5 off to the right, the other one 1.5 below: a mean of 1.
  oznalib::Placement68 placement;
  placement.points = {0, 0, 2, 0, 2, 2, 0, 2};
  placement.outcomes = {{0.5F, 0, 2.5F, 0, 2.5F, 2, 0.5F, 2}, {0, 1.5F, 2, 1.5F, 2, 3.5F, 0, 3.5F}};
  EXPECT_NEAR(kit::fitSpread(placement), 1 / std::sqrt(2.0), 1e-6);
}

TEST(PointQuality, FallsFromOneToNothing) {
  EXPECT_EQ(kit::pointQuality(0, 0.1F), 1);
  EXPECT_GT(kit::pointQuality(0.01F, 0.1F), kit::pointQuality(0.02F, 0.1F));
  EXPECT_GT(kit::pointQuality(0.01F, 0.1F), kit::pointQuality(0.01F, 0.2F));
  EXPECT_LT(kit::pointQuality(0.5F, 0.2F), 0.05F);
  EXPECT_EQ(kit::pointQuality(std::numeric_limits<float>::quiet_NaN(), 0.1F), 0);
}

}  // namespace
