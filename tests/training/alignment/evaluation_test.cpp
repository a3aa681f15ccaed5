// Figures of measured faces, and the rectangles that they start from.

#include "training/alignment/evaluation.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include "kit/faces/head_shape.h"
#include "tests/temporary_folder.h"
#include "tests/training/alignment/small_training.h"

namespace alignment_training {
namespace {

MeasuredFace faceWithError(float error68, float error5 = 0, bool manual = false) {
  MeasuredFace face;
  face.error68 = error68;
  face.error5 = error5;
  face.manual = manual;
  return face;
}

TEST(Summarise, TakesMeansTheMedianAndShares) {
  std::vector<MeasuredFace> faces{faceWithError(0.02F, 0.01F), faceWithError(0.2F, 0.05F),
                                  faceWithError(0.09F, 0.03F), faceWithError(0.05F, 0.03F)};
  faces[1].detected = true;
  const ErrorSummary summary = summarise(faces);
  EXPECT_EQ(summary.faces, 4);
  EXPECT_EQ(summary.detected, 1);
  EXPECT_NEAR(summary.mean68, 0.09, 1e-7);
  EXPECT_NEAR(summary.mean5, 0.03, 1e-7);
  EXPECT_NEAR(summary.median68, 0.09, 1e-7);  // The upper one of 0.05 and 0.09.
  EXPECT_DOUBLE_EQ(summary.under8, 0.5);
  EXPECT_DOUBLE_EQ(summary.under10, 0.75);
}

TEST(Summarise, OfNoFaceIsZeros) {
  EXPECT_EQ(summarise({}).faces, 0);
  EXPECT_EQ(summarise({}).mean68, 0);
  EXPECT_EQ(shareUnder({}, 0.1), 0);
}

TEST(ShareUnder, LeavesTheLimitItselfOut) {
  EXPECT_DOUBLE_EQ(shareUnder({faceWithError(0.125F), faceWithError(0.0625F)}, 0.125), 0.5);
}

TEST(OnlyQuality, KeepsTheOrder) {
  const std::vector<MeasuredFace> faces{faceWithError(1, 0, true), faceWithError(2),
                                        faceWithError(3, 0, true)};
  const auto manual = onlyQuality(faces, /*manual=*/true);
  ASSERT_EQ(manual.size(), 2U);
  EXPECT_EQ(manual[0].error68, 1);
  EXPECT_EQ(manual[1].error68, 3);
  EXPECT_EQ(onlyQuality(faces, /*manual=*/false).size(), 1U);
}

TEST(MeasureFaces, StartsFromTheDetectorsBoxWhereItFits) {
  const ozna_test::TemporaryFolder folder;
  drawDataset(folder.path(), "dev", 3, /*seed=*/4);
  const auto faces = readLandmarkFaces(folder.path(), "dev");
  FaceRect close = conventionSquare(faces[1].points);
  close.bottom += 4;
  const BoxTable boxes{{faces[0].image, {{0, 0, 9, 9}}}, {faces[1].image, {close}}};
  const auto measured =
      measureFaces(folder.path(), faces, boxes, kMeasuringNoise, 1, /*threads=*/2);
  ASSERT_EQ(measured.size(), 3U);
  EXPECT_FALSE(measured[0].detected) << "a box beside the face";
  EXPECT_TRUE(measured[1].detected);
  EXPECT_EQ(measured[1].rect.bottom, close.bottom);
  EXPECT_FALSE(measured[2].detected) << "no box at all";
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(measured[i].face, i);
    EXPECT_EQ(measured[i].manual, i < 2);
    EXPECT_EQ(measured[i].points.size(), static_cast<std::size_t>(kCoordinates));
  }
}

TEST(OnlyYaw, TakesBothSides) {
  std::vector<MeasuredFace> faces(6);
  const float yaws[] = {-15, 14.9F, 29.9F, -30, 45, std::numeric_limits<float>::quiet_NaN()};
  for (int i = 0; i < 6; ++i) {
    faces[i].face = i;
    faces[i].yaw = yaws[i];
  }
  const auto some = onlyYaw(faces, 15, 30);
  ASSERT_EQ(some.size(), 2U);
  EXPECT_EQ(some[0].face, 0);
  EXPECT_EQ(some[1].face, 2);
  EXPECT_EQ(onlyYaw(faces, 30, 91).size(), 2U);
}

TEST(MeasureFaces, TellsTheYawOfTheTruePoints) {
  // The average head, half a pixel per mm, turned to the right and seen from far away: what is near the
  // viewer, at negative z, goes to the right.
  const ozna_test::TemporaryFolder folder;
  drawDataset(folder.path(), "dev", 2, /*seed=*/4);
  auto faces = readLandmarkFaces(folder.path(), "dev");
  const double angles[] = {40, -20};
  for (int i = 0; i < 2; ++i) {
    const double angle = angles[i] * CV_PI / 180;
    faces[i].points.clear();
    for (const cv::Vec3d& place : kit::kHeadShape) {
      addPoint(faces[i].points,
               100 + 0.5 * (place[0] * std::cos(angle) - place[2] * std::sin(angle)),
               80 + 0.5 * place[1]);
    }
  }
  const auto measured = measureFaces(folder.path(), faces, {}, kMeasuringNoise, 1, /*threads=*/1);
  ASSERT_EQ(measured.size(), 2U);
  EXPECT_NEAR(measured[0].yaw, 40, 0.1);
  EXPECT_NEAR(measured[1].yaw, -20, 0.1);
}

}  // namespace
}  // namespace alignment_training
