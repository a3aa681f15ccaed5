// The square convention, its jitter and the matching of detector boxes.

#include "training/alignment/rectangles.h"

#include <gtest/gtest.h>

#include <cmath>
#include <fstream>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

#include "tests/temporary_folder.h"

namespace alignment_training {
namespace {

TEST(ConventionSquare, SpansFromAboveTheBrowsToTheChin) {
  Shape points(kCoordinates, 50.0F);
  points[0] = 10.0F;  // Width 80, from 10 to 90.
  points[2] = 90.0F;
  points[5] = 20.0F;  // Height 100, from 20 to 120.
  points[7] = 120.0F;
  const FaceRect square = conventionSquare(points);  // Side 118 about (50, 120 - 67.5).
  EXPECT_NEAR(square.left, -9.0F, 1e-4);
  EXPECT_NEAR(square.right, 109.0F, 1e-4);
  EXPECT_NEAR(square.top, -6.5F, 1e-4);
  EXPECT_NEAR(square.bottom, 111.5F, 1e-4);
}

TEST(ConventionSquare, OfAWideFaceFollowsTheWidth) {
  Shape points(kCoordinates, 50.0F);
  points[0] = 0.0F;  // Width 200 counts 180, more than the height of 100.
  points[2] = 200.0F;
  points[5] = 20.0F;
  points[7] = 120.0F;
  const FaceRect square = conventionSquare(points);
  EXPECT_NEAR(square.right - square.left, 212.4F, 1e-4);
}

TEST(JitterSquare, StaysASquareAndSpreadsAsAsked) {
  const unsigned seed = 5;
  SCOPED_TRACE(seed);
  std::mt19937_64 random(seed);
  const RectNoise noise{0.05F, 0.1F, 0.0F};
  double shift = 0;
  double growth = 0;
  constexpr int kDraws = 4000;
  for (int i = 0; i < kDraws; ++i) {
    const FaceRect rect = jitterSquare({0, 0, 100, 100}, noise, random);
    EXPECT_NEAR(rect.right - rect.left, rect.bottom - rect.top, 1e-3);
    shift += std::pow(0.005 * (rect.left + rect.right) - 0.5, 2);
    growth += std::pow(std::log((rect.right - rect.left) / 100), 2);
  }
  EXPECT_NEAR(std::sqrt(shift / kDraws), 0.05, 0.005);
  EXPECT_NEAR(std::sqrt(growth / kDraws), 0.1, 0.01);
}

TEST(Overlap, IsIntersectionOverUnion) {
  EXPECT_FLOAT_EQ(overlap({0, 0, 2, 2}, {1, 0, 3, 2}), 2.0F / 6);
  EXPECT_EQ(overlap({0, 0, 2, 2}, {2, 0, 4, 2}), 0.0F);
}

TEST(BestBox, IsTheOneThatOverlapsMost) {
  const std::vector<FaceRect> boxes{{0, 0, 5, 10}, {0, 0, 9, 10}, {20, 20, 30, 30}};
  const FaceRect* best = bestBox(boxes, {0, 0, 10, 10}, 0.35F);
  ASSERT_NE(best, nullptr);
  EXPECT_EQ(best->right, 9.0F);
  EXPECT_EQ(bestBox(boxes, {40, 40, 50, 50}, 0.35F), nullptr);
}

TEST(MirrorRect, SwapsTheEdges) {
  const FaceRect mirrored = mirrorRect({10, 5, 30, 25}, 100);
  EXPECT_EQ(mirrored.left, 70.0F);
  EXPECT_EQ(mirrored.right, 90.0F);
  EXPECT_EQ(mirrored.top, 5.0F);
}

TEST(ReadBoxes, KeysBoxesByPicture) {
  const ozna_test::TemporaryFolder folder;
  const std::string path = folder.file("boxes.jsonl");
  std::ofstream(path) << "{\"image\": \"a.jpg\", \"boxes\": [[1, 2, 3, 4], [5, 6, 7, 8.5]]}\n"
                         "{\"image\": \"b.jpg\", \"boxes\": []}\n";
  const BoxTable table = readBoxes(path);
  ASSERT_EQ(table.at("a.jpg").size(), 2U);
  EXPECT_EQ(table.at("a.jpg")[1].bottom, 8.5F);
  EXPECT_TRUE(table.at("b.jpg").empty());
  EXPECT_THROW(readBoxes(folder.file("none.jsonl")), std::runtime_error);
}

}  // namespace
}  // namespace alignment_training
