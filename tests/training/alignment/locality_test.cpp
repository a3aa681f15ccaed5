// Parts of a face and what the ridge weighs far from them.

#include "training/alignment/locality.h"

#include <gtest/gtest.h>

#include <cmath>
#include <set>
#include <vector>

namespace alignment_training {
namespace {

TEST(LandmarkParts, HoldEachLandmarkOnce) {
  std::multiset<int> landmarks;
  for (const LandmarkGroup& part : landmarkParts()) landmarks.insert(part.begin(), part.end());
  ASSERT_EQ(landmarks.size(), 68U);
  int expected = 0;
  for (const int landmark : landmarks) EXPECT_EQ(landmark, expected++);
}

TEST(LandmarkParts, AreThePartsOfTheMirroredFace) {
  std::set<std::set<int>> parts;
  std::set<std::set<int>> mirrored;
  for (const LandmarkGroup& part : landmarkParts()) {
    parts.insert(std::set<int>(part.begin(), part.end()));
    std::set<int> image;
    for (const int landmark : part) image.insert(mirroredLandmark(landmark));
    mirrored.insert(image);
  }
  EXPECT_EQ(parts, mirrored);
}

// The landmarks lie on a line, 10 apart, so that the outer eye corners, 36 and 45, are 90 apart.
Shape lineOfLandmarks() {
  Shape shape;
  for (int i = 0; i < kLandmarks; ++i) {
    shape.push_back(10.0F * static_cast<float>(i));
    shape.push_back(5.0F);
  }
  return shape;
}

TEST(RidgeFactors, GrowWithTheSquareOfTheDistanceFromTheNearestLandmark) {
  const std::vector<float> factors = ridgeFactors({20, 22}, lineOfLandmarks(), 0.5F);
  ASSERT_EQ(factors.size(), 68U);
  EXPECT_FLOAT_EQ(factors[20], 1.0F);
  EXPECT_NEAR(factors[21], 1 + 100.0 / 2025, 1e-5);   // 10 of 45 away.
  EXPECT_NEAR(factors[16], 1 + 1600.0 / 2025, 1e-5);  // 40 from landmark 20.
  EXPECT_NEAR(factors[31], 1 + 8100.0 / 2025, 1e-5);  // 90 from landmark 22.
}

TEST(RidgeFactors, LeaveOutWhatHardlyCounts) {
  const std::vector<float> factors = ridgeFactors({0}, lineOfLandmarks(), 0.5F);
  EXPECT_NEAR(factors[28], 1 + 78400.0 / 2025, 1e-4);  // 39.7.
  EXPECT_TRUE(std::isinf(factors[29]));                // It would be 42.5.
}

TEST(RidgeFactors, AreOneWithoutAReach) {
  EXPECT_EQ(ridgeFactors({0}, lineOfLandmarks(), 0.0F), std::vector<float>(68, 1.0F));
}

}  // namespace
}  // namespace alignment_training
