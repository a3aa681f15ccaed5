// Whole small trainings on drawn faces.

#include "training/alignment/model_trainer.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

#include "alignment/sdm_model.h"
#include "ozna.h"
#include "tests/temporary_folder.h"
#include "tests/training/alignment/small_training.h"
#include "training/alignment/evaluation.h"
#include "training/alignment/model_writer.h"

namespace alignment_training {
namespace {

ModelOptions smallOptions(const std::vector<int>& levels) {
  ModelOptions options;
  options.stage_levels = levels;
  options.face_width = smallSampler().face_width;
  options.starts_per_sample = 3;
  options.reaches = {0.0F, 0.0F, 0.1F};
  options.error_knees = {0.0F};
  options.stage.folds = 1;
  options.stage.ridges = {0.3};
  options.stage.batch_rows = 64;
  return options;
}

TEST(TrainModel, LowersTheErrorAtEveryStageAndAlignsUnseenFaces) {
  const ozna_test::TemporaryFolder folder;
  drawDataset(folder.path(), "train", 50, /*seed=*/11);
  drawDataset(folder.path(), "dev", 12, /*seed=*/12);
  const auto faces = readLandmarkFaces(folder.path(), "train");
  const auto dev_faces = readLandmarkFaces(folder.path(), "dev");
  const auto train = makeTrainingSamples(folder.path(), faces, BoxTable(), smallSampler(), 2);
  const auto dev = makeMeasuringSamples(folder.path(), dev_faces, BoxTable(), kMeasuringNoise,
                                        smallSampler().face_width, /*seed=*/1, 2);
  std::ostringstream log;
  const auto [model, errors] = trainModel(train, dev, smallOptions({3, 2, 1}), log);
  ASSERT_EQ(errors.size(), 4U) << log.str();
  for (std::size_t stage = 1; stage <= 3; ++stage) {
    EXPECT_LT(errors[stage].train_manual, errors[stage - 1].train_manual) << log.str();
    EXPECT_LT(errors[stage].train_tracked, errors[stage - 1].train_tracked) << log.str();
    EXPECT_LT(errors[stage].dev_manual, errors[stage - 1].dev_manual) << log.str();
  }
  writeModel(model, folder.file("m.sdm"));
  ASSERT_EQ(oznalib::loadSDMModel(folder.path(), "m.sdm"), oznalib::StatusOk);
  const auto measured = measureFaces(folder.path(), dev_faces, BoxTable(), kMeasuringNoise,
                                     /*seed=*/1, /*threads=*/2);
  const ErrorSummary manual = summarise(onlyQuality(measured, /*manual=*/true));
  // What the trainer measures on the rows is what the public call gives.
  EXPECT_NEAR(manual.mean68, errors.back().dev_manual, 1e-3);
  EXPECT_LT(manual.mean68, 0.5 * errors.front().dev_manual);
  EXPECT_GT(manual.mean5, 0);
  EXPECT_EQ(manual.faces, 8);
  oznalib::unloadSDMModel();
}

TEST(TrainModel, EndsWherePhotographsAsTheyStandHaveTheirPoints) {
  // Points that lie 4 pixels to the right of what is drawn, in the mirror too: maps that see both
  // cannot tell, and only the photographs as they stand say where the points belong.
  const ozna_test::TemporaryFolder folder;
  drawDataset(folder.path(), "train", 30, /*seed=*/31);
  auto faces = readLandmarkFaces(folder.path(), "train");
  for (LandmarkFace& face : faces) {
    for (int i = 0; i < kCoordinates; i += 2) face.points[i] += 4.0F;
  }
  const auto train = makeTrainingSamples(folder.path(), faces, BoxTable(), smallSampler(), 2);
  std::ostringstream log;
  ModelOptions options = smallOptions({3, 1});
  options.stage.folds = 2;
  writeModel(trainModel(train, {}, options, log).model, folder.file("m.sdm"));
  ASSERT_EQ(oznalib::loadSDMModel(folder.path(), "m.sdm"), oznalib::StatusOk);
  const auto measured = measureFaces(folder.path(), faces, BoxTable(), kMeasuringNoise, /*seed=*/1,
                                     /*threads=*/1);
  double right = 0;
  for (std::size_t face = 0; face < faces.size(); ++face) {
    for (int i = 0; i < kCoordinates; i += 2) {
      right += (measured[face].points[i] - faces[face].points[i]) / kLandmarks;
    }
  }
  EXPECT_NEAR(right / static_cast<double>(faces.size()), 0, 1.5) << log.str();
  oznalib::unloadSDMModel();
}

TEST(TrainModel, ContinuesFromACheckpointToTheSameFile) {
  const ozna_test::TemporaryFolder folder;
  drawDataset(folder.path(), "train", 9, /*seed=*/21);
  const auto faces = readLandmarkFaces(folder.path(), "train");
  const auto train = makeTrainingSamples(folder.path(), faces, BoxTable(), smallSampler(), 2);
  std::ostringstream log;
  writeModel(trainModel(train, {}, smallOptions({3, 1}), log).model, folder.file("a.sdm"));
  ModelOptions options = smallOptions({3});
  options.checkpoint_folder = folder.path();
  trainModel(train, {}, options, log);
  options.stage_levels = {3, 1};
  writeModel(trainModel(train, {}, options, log).model, folder.file("b.sdm"));
  EXPECT_NE(log.str().find("continuing from"), std::string::npos);
  const std::string bytes = bytesOf(folder.file("a.sdm"));
  EXPECT_GT(bytes.size(), 9000000U);
  EXPECT_TRUE(bytes == bytesOf(folder.file("b.sdm")));
}

}  // namespace
}  // namespace alignment_training
