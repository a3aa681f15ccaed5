// Samples: their scale, their variants and what they depend on.

#include "training/alignment/sampler.h"

#include <gtest/gtest.h>

#include <opencv2/core.hpp>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "alignment/align68_points.h"
#include "alignment/regression.h"
#include "tests/temporary_folder.h"
#include "tests/training/alignment/small_training.h"
#include "training/alignment/face_boxes.h"
#include "training/common/photograph.h"

namespace alignment_training {
namespace {

TEST(MakeSample, ScalesTheFaceBoxAndKeepsThePointsOnIt) {
  std::mt19937 random(3);
  const DrawnFace face = drawFace(random);
  const FaceRect square = conventionSquare(face.points);
  const AlignmentSample sample = makeSample(face.picture, square, face.points, 100);
  EXPECT_NEAR(sample.box.width, 100, 1);
  // The way that found landmarks go back to the photograph undoes the way of the true ones here.
  const auto window = oznalib::cutAlignmentWindow(viewOf(face.picture), square);
  SDMCore::GeneralUnit unit = oznalib::makeGreyUnit(window);
  unit.normalize(100);
  unit.shape = sample.truth;
  unit.unscaleShapes();
  std::vector<float> back;
  oznalib::mapToPhotograph(window, unit.shape, kCoordinates, back);
  for (int i = 0; i < kCoordinates; ++i) EXPECT_NEAR(back[i], face.points[i], 1e-3) << i;
}

TEST(CropScene, LeavesAMarginAroundThePointsAndMovesThem) {
  // Points from (40, 30) to (80, 90) of 200 by 100 pixels, whose blue is the column and red the row.
  Scene scene;
  scene.rgb.create(100, 200, CV_8UC3);
  for (int y = 0; y < 100; ++y) {
    for (int x = 0; x < 200; ++x) scene.rgb.at<cv::Vec3b>(y, x) = cv::Vec3b(y, 0, x);
  }
  scene.points.assign(kCoordinates, 60.0F);
  scene.points[0] = 40.0F;
  scene.points[2] = 80.0F;
  scene.points[1] = 30.0F;
  scene.points[3] = 90.0F;
  scene.boxes.push_back({40, 30, 80, 90});
  const unsigned seed = 8;
  SCOPED_TRACE(seed);
  std::mt19937_64 random(seed);
  std::set<int> lefts;
  for (int i = 0; i < 50; ++i) {
    const Scene cropped = cropScene(scene, random);
    ASSERT_TRUE(cropped.rgb.isContinuous());
    EXPECT_TRUE(cropped.boxes.empty());
    const int left = cropped.rgb.at<cv::Vec3b>(0, 0)[2];
    const int top = cropped.rgb.at<cv::Vec3b>(0, 0)[0];
    lefts.insert(left);
    EXPECT_TRUE(left >= 24 && left <= 40) << left;  // Up to 0.4 of 40 columns,
    EXPECT_TRUE(top >= 6 && top <= 30) << top;      // and of 60 rows.
    EXPECT_TRUE(left + cropped.rgb.cols >= 80 && left + cropped.rgb.cols <= 96);
    EXPECT_TRUE(top + cropped.rgb.rows >= 90 && top + cropped.rgb.rows <= 100);
    EXPECT_EQ(cropped.points[0], 40.0F - left);
    EXPECT_EQ(cropped.points[3], 90.0F - top);
  }
  EXPECT_GT(lefts.size(), 8U);
}

TEST(MakeTrainingSamples, AreTheSameOnOneThreadAndOnThree) {
  const ozna_test::TemporaryFolder folder;
  drawDataset(folder.path(), "train", 6, /*seed=*/2);
  const auto faces = readLandmarkFaces(folder.path(), "train");
  const auto one =
      makeTrainingSamples(folder.path(), faces, BoxTable(), smallSampler(), /*threads=*/1);
  const auto three =
      makeTrainingSamples(folder.path(), faces, BoxTable(), smallSampler(), /*threads=*/3);
  ASSERT_EQ(one.size(), 10U);  // Four faces by hand, twice; two tracked ones, once.
  ASSERT_EQ(three.size(), one.size());
  for (std::size_t i = 0; i < one.size(); ++i) {
    EXPECT_EQ(one[i].truth, three[i].truth);
    EXPECT_EQ(cv::norm(one[i].grey, three[i].grey, cv::NORM_INF), 0) << i;
  }
}

TEST(MakeTrainingSamples, StartFromDetectorBoxesWhereAsked) {
  const ozna_test::TemporaryFolder folder;
  drawDataset(folder.path(), "train", 1, /*seed=*/2);
  const auto faces = readLandmarkFaces(folder.path(), "train");
  FaceRect box = conventionSquare(faces[0].points);
  box.right += 20;  // So the scaled face is smaller than under the square.
  box.bottom += 20;
  const BoxTable boxes{{faces[0].image, {box}}};
  SamplerOptions options = smallSampler();
  options.manual_variants = 1;
  options.rotated_share = 0;
  options.box_share = 1;
  options.noise = {0, 0, 0};
  const auto samples = makeTrainingSamples(folder.path(), faces, boxes, options, 1);
  const AlignmentSample expected = makeSample(
      training::readPhotoRgb(folder.path() + "/" + faces[0].image), box, faces[0].points, 100);
  ASSERT_EQ(samples.size(), 1U);
  for (int i = 0; i < kCoordinates; ++i) EXPECT_NEAR(samples[0].truth[i], expected.truth[i], 0.01);
}

TEST(MakeTrainingSamples, CutThePhotographWhereAsked) {
  const ozna_test::TemporaryFolder folder;
  drawDataset(folder.path(), "train", 1, /*seed=*/2);
  const auto faces = readLandmarkFaces(folder.path(), "train");
  SamplerOptions options = smallSampler();
  options.manual_variants = 1;
  options.rotated_share = 0;
  options.noise = {0, 0, 0};
  // Columns of the photograph that the sample holds.
  options.cropped_share = 0;
  const auto whole = makeTrainingSamples(folder.path(), faces, BoxTable(), options, 1);
  options.cropped_share = 1;
  const auto cut = makeTrainingSamples(folder.path(), faces, BoxTable(), options, 1);
  ASSERT_EQ(cut.size(), 1U);
  const float columns_whole = static_cast<float>(whole[0].grey.cols) / whole[0].units_x;
  const float columns_cut = static_cast<float>(cut[0].grey.cols) / cut[0].units_x;
  EXPECT_LT(columns_cut, 0.95F * columns_whole);
}

TEST(EvaluationRect, IsTheBoxThatFitsOrAJitteredSquare) {
  std::mt19937 random(3);
  LandmarkFace face;
  face.points = drawFace(random).points;
  const FaceRect square = conventionSquare(face.points);
  FaceRect close = square;
  close.right += 3;
  const MeasuringRect fitting = evaluationRect({close}, face, kMeasuringNoise, 1, 0);
  EXPECT_EQ(fitting.rect.right, close.right);
  EXPECT_TRUE(fitting.is_detected);
  const FaceRect away{square.right, square.bottom, square.right + 50, square.bottom + 50};
  const MeasuringRect drawn = evaluationRect({away}, face, kMeasuringNoise, 1, 0);
  EXPECT_FALSE(drawn.is_detected);
  EXPECT_GT(overlap(drawn.rect, square), 0.5F);
  EXPECT_EQ(evaluationRect({}, face, kMeasuringNoise, 1, 0).rect.left, drawn.rect.left);
  EXPECT_NE(evaluationRect({}, face, kMeasuringNoise, 1, 1).rect.left, drawn.rect.left);
}

}  // namespace
}  // namespace alignment_training
