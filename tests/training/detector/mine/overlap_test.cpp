// How boxes lie on annotated faces.

#include "training/detector/mine/overlap.h"

#include <gtest/gtest.h>

#include <vector>

namespace detector_training {
namespace {

TEST(OverlapWithAFace, IsIntersectionOverUnion) {
  // The box covers 0 to 10, the square 5 to 15: 5 * 5 shared of 100 + 100 - 25.
  EXPECT_DOUBLE_EQ(overlap({0, 0, 10, 10, 0, 0}, {10, 10, 10, false}), 25.0 / 175.0);
  EXPECT_DOUBLE_EQ(overlap({0, 0, 10, 10, 0, 0}, {5, 5, 10, false}), 1);
  EXPECT_DOUBLE_EQ(overlap({0, 0, 10, 10, 0, 0}, {15, 5, 10, false}), 0);
}

TEST(BestFace, LooksAmongCountedOrIgnoredFacesOnly) {
  const std::vector<FaceSquare> faces{{5, 5, 10, true}, {10, 10, 10, false}};
  const oznalib::FaceCandidate box{0, 0, 10, 10, 0, 0};
  EXPECT_EQ(bestFace(box, faces, /*ignored=*/true).face, 0);
  EXPECT_EQ(bestFace(box, faces, /*ignored=*/true).overlap, 1);
  EXPECT_EQ(bestFace(box, faces, /*ignored=*/false).face, 1);
  EXPECT_EQ(bestFace({100, 100, 10, 10, 0, 0}, faces, false).face, -1);
}

}  // namespace
}  // namespace detector_training
