// Landmarks of a face, or none.

#include "kit/faces/placement.h"

#include <gtest/gtest.h>

#include <cmath>

#include "tests/kit/faces/real_faces.h"

namespace {

using Rect = oznalib::Rectangle<float>;

const Rect kDetectorBox = {150, 110, 356, 316};  // Of the face in the photograph.

oznalib::Placement68 placed(const Rect& rect) {
  return kit::placeLandmarks(kit_test::faceModel(),
                             kit::Picture(kit_test::viewOf(kit_test::photograph())), rect);
}

TEST(PlaceLandmarks, GivesTheMedianOfNineFits) {
  const oznalib::Placement68 placement = placed(kDetectorBox);
  ASSERT_EQ(placement.points.size(), 136U);
  ASSERT_EQ(placement.outcomes.size(), 9U);
  for (const auto& outcome : placement.outcomes) EXPECT_EQ(outcome.size(), 136U);
  // The tip of the nose is at (257, 238), by eye.
  EXPECT_LT(std::hypot(placement.points[60] - 257, placement.points[61] - 238), 12);
}

TEST(PlaceLandmarks, GivesNoneWhereLessThanAQuarterLiesInThePicture) {
  const float width = static_cast<float>(kit_test::photograph().cols);
  EXPECT_FALSE(placed({width - 26, 110, width + 74, 210}).points.empty());
  EXPECT_TRUE(placed({width - 24, 110, width + 76, 210}).points.empty());
  EXPECT_TRUE(placed({100, -76, 200, 24}).points.empty());
  EXPECT_TRUE(placed({width + 100, 110, width + 200, 210}).points.empty());
}

}  // namespace
