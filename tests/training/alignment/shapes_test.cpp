// Mirroring, extents and errors of landmark shapes.

#include "training/alignment/shapes.h"

#include <gtest/gtest.h>

#include <vector>

#include "tests/training/alignment/small_training.h"

namespace alignment_training {
namespace {

TEST(MirroredLandmark, PairsLeftWithRight) {
  EXPECT_EQ(mirroredLandmark(0), 16);   // Ends of the jaw.
  EXPECT_EQ(mirroredLandmark(8), 8);    // Chin.
  EXPECT_EQ(mirroredLandmark(17), 26);  // Outer ends of the brows.
  EXPECT_EQ(mirroredLandmark(30), 30);  // Tip of the nose.
  EXPECT_EQ(mirroredLandmark(31), 35);  // Nostrils.
  EXPECT_EQ(mirroredLandmark(36), 45);  // Outer corners of the eyes,
  EXPECT_EQ(mirroredLandmark(39), 42);  // inner corners,
  EXPECT_EQ(mirroredLandmark(41), 46);  // lower lids, outer point,
  EXPECT_EQ(mirroredLandmark(40), 47);  // lower lids, inner point.
  EXPECT_EQ(mirroredLandmark(48), 54);  // Corners of the mouth.
  EXPECT_EQ(mirroredLandmark(59), 55);
  EXPECT_EQ(mirroredLandmark(60), 64);
  EXPECT_EQ(mirroredLandmark(67), 65);
  EXPECT_EQ(mirroredLandmark(66), 66);
}

TEST(MirrorShape, OfASymmetricFaceIsTheFaceItself) {
  Shape face = templateFace(0.1);
  for (std::size_t i = 0; i < face.size(); i += 2) face[i] += 9.5F;  // Centred in 20 columns.
  const Shape mirrored = mirrorShape(face, 20);
  for (int i = 0; i < kCoordinates; ++i) EXPECT_NEAR(mirrored[i], face[i], 1e-5) << i;
}

TEST(MirrorShape, MovesTheFirstColumnToTheLast) {
  Shape shape(kCoordinates, 0.0F);
  shape[2 * 36] = 3.0F;
  const Shape mirrored = mirrorShape(shape, 10);
  EXPECT_EQ(mirrored[2 * 45], 6.0F);
  EXPECT_EQ(mirrored[2 * 36], 9.0F);
}

TEST(NormalisedError, IsTheMeanDistanceOverTheOuterEyeDistance) {
  Shape truth(kCoordinates, 0.0F);
  truth[2 * 45] = 30.0F;  // The outer corners are 30 and 40 apart: 50.
  truth[2 * 45 + 1] = 40.0F;
  Shape found = truth;
  found[0] += 3.0F;  // One point of 68 is 5 off.
  found[1] -= 4.0F;
  EXPECT_FLOAT_EQ(normalisedError(found, truth), 5.0F / 68 / 50);
}

TEST(ExtentOf, HoldsAllPointsAndNoMore) {
  const Extent extent = extentOf({3.0F, 7.0F, -2.0F, 8.5F, 1.0F, 6.0F});
  EXPECT_EQ(extent.left, -2.0F);
  EXPECT_EQ(extent.right, 3.0F);
  EXPECT_EQ(extent.top, 6.0F);
  EXPECT_EQ(extent.bottom, 8.5F);
}

}  // namespace
}  // namespace alignment_training
