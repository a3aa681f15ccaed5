// Where the landmarks of a face lie in the square around it.

#include "kit/faces/face_square.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstddef>
#include <limits>
#include <optional>
#include <vector>

namespace {

using kit::chipMap;

// The five places in a square of 100 pixels, from the centre of its first pixel.
const std::vector<float> kInHundred = {33.5F, 41.5F, 65.5F, 41.5F, 49.5F,
                                       59.5F, 36.5F, 75.5F, 62.5F, 75.5F};

void expectMap(const std::optional<kit::Similarity>& map, double a, double b, double tx,
               double ty) {
  ASSERT_TRUE(map);
  EXPECT_NEAR(map->a, a, 1e-5);
  EXPECT_NEAR(map->b, b, 1e-5);
  EXPECT_NEAR(map->tx, tx, 1e-4);
  EXPECT_NEAR(map->ty, ty, 1e-4);
}

TEST(ChipMap, IsTheIdentityForAFaceThatFillsItsChip) {
  expectMap(chipMap(kInHundred, {100, 100}, 0), 1, 0, 0, 0);
}

TEST(ChipMap, PutsTheSquareInTheMiddleOfTheChip) {
  // Padding of half the square on each side: the square has half the chip, 100 of 200 pixels.
  expectMap(chipMap(kInHundred, {200, 200}, 0.5), 1, 0, 50, 50);
  // Of a wide chip it takes the height.
  expectMap(chipMap(kInHundred, {300, 100}, 0), 1, 0, 100, 0);
  // Half the size: pixel centres at x + 0.5 become 0.5 x + 0.25.
  expectMap(chipMap(kInHundred, {50, 50}, 0), 0.5, 0, -0.25, -0.25);
}

TEST(ChipMap, TurnsAFaceUpright) {
  // The same face a quarter turn clockwise: (x, y) -> (99 - y, x).
  std::vector<float> turned;
  for (std::size_t i = 0; i < kInHundred.size(); i += 2) {
    turned.push_back(99 - kInHundred[i + 1]);
    turned.push_back(kInHundred[i]);
  }
  // Back: (x, y) -> (y, 99 - x).
  expectMap(chipMap(turned, {100, 100}, 0), 0, -1, 0, 99);
}

TEST(ChipMap, IsNoneForPointsThatMakeNoFace) {
  EXPECT_FALSE(chipMap(std::vector<float>(10, 5.0F), {100, 100}, 0));
  EXPECT_FALSE(chipMap({}, {100, 100}, 0));
  EXPECT_FALSE(chipMap(std::vector<float>(kInHundred.begin(), kInHundred.end() - 2), {9, 9}, 0));
  for (const float odd :
       {std::numeric_limits<float>::quiet_NaN(), std::numeric_limits<float>::infinity(), -1e6F}) {
    std::vector<float> points = kInHundred;
    points[7] = odd;
    EXPECT_FALSE(chipMap(points, {100, 100}, 0)) << odd;
  }
}

TEST(ChipMap, TakesTheMeansOf68Points) {
  // Eyes of six points each, all on one spot; tip of the nose 30, corners of the mouth 48 and 54.
  std::vector<float> all(136, 0.0F);
  const auto put = [&](std::size_t from, std::size_t to, std::size_t of_five) {
    for (std::size_t i = from; i < to; ++i) {
      all[2 * i] = kInHundred[2 * of_five];
      all[2 * i + 1] = kInHundred[2 * of_five + 1];
    }
  };
  put(36, 42, 0);
  put(42, 48, 1);
  put(30, 31, 2);
  put(48, 49, 3);
  put(54, 55, 4);
  expectMap(chipMap(all, {100, 100}, 0), 1, 0, 0, 0);
}

TEST(UsualPoints, LieInTheBoxAsInAFace) {
  const std::vector<float> points = kit::usualPoints({100, 200, 200, 400});
  ASSERT_EQ(points.size(), 10U);
  // Eyes above nose above mouth; left of right; half a pixel less than the edge's fractions.
  EXPECT_NEAR(points[0], 100 + 32.8 - 0.5, 1e-3);
  EXPECT_NEAR(points[1], 200 + 81 - 0.5, 1e-3);
  EXPECT_LT(points[0], points[4]);
  EXPECT_LT(points[4], points[2]);
  EXPECT_LT(points[1], points[5]);
  EXPECT_LT(points[5], points[7]);
}

}  // namespace
