// The map of one stage: folds, weights and what they teach.

#include "training/alignment/stage_trainer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <random>
#include <sstream>
#include <vector>

#include "tests/training/alignment/small_training.h"

namespace alignment_training {
namespace {

/// One row a sample, with random descriptors. All shapes are 0; the truths have outer eye corners
/// that are 100 apart.
RegressionRows randomRows(const std::vector<Shape>& truths, unsigned seed) {
  std::mt19937 random(seed);
  RegressionRows rows;
  for (const Shape& truth : truths) {
    rows.first_row.push_back(static_cast<int>(rows.count()));
    rows.sample.push_back(static_cast<int>(rows.count()));
    rows.truths.insert(rows.truths.end(), truth.begin(), truth.end());
  }
  rows.first_row.push_back(static_cast<int>(rows.count()));
  rows.shapes.resize(rows.count() * kCoordinates);
  rows.features.resize(rows.count() * kFeatures);
  for (std::uint8_t& byte : rows.features) byte = static_cast<std::uint8_t>(random());
  return rows;
}

TEST(TrainStage, MovesAFoldByWhatTheOthersTeachOnly) {
  const unsigned seed = 7;
  SCOPED_TRACE(seed);
  std::mt19937 random(seed);
  std::normal_distribution<float> normal(0.0F, 10.0F);
  std::vector<AlignmentSample> samples(40);
  std::vector<Shape> truths(40, Shape(kCoordinates));
  for (int i = 0; i < 40; ++i) {
    samples[i].face = i;
    for (float& value : truths[i]) value = normal(random);  // Nothing in the descriptors shows it.
    truths[i][2 * 36] = -50.0F;
    truths[i][2 * 45] = 50.0F;
  }
  StageOptions options;
  options.ridges = {0.001};
  options.batch_rows = 16;
  std::ostringstream log;
  RegressionRows alone = randomRows(truths, seed);
  const double before = meanRowError(samples, alone, /*manual=*/false);
  options.folds = 1;
  trainStage(samples, options, alone, log);
  EXPECT_LT(meanRowError(samples, alone, /*manual=*/false), 0.1 * before);  // Learnt by heart.
  RegressionRows folded = randomRows(truths, seed);
  options.folds = 2;
  const TrainedStage stage = trainStage(samples, options, folded, log);
  EXPECT_GT(meanRowError(samples, folded, /*manual=*/false), 0.8 * before);  // Not transferable.
  // The stage itself comes from all rows, so it knows them by heart again.
  RegressionRows again = randomRows(truths, seed);
  applyTrainedStage(stage, options, again);
  EXPECT_LT(meanRowError(samples, again, /*manual=*/false), 0.1 * before);
}

TEST(TrainStage, WeighsFacesByHandMoreAndRowsAstrayLess) {
  // The near face moves by (10, 0) at every point, an error of 0.1; the far one by (30, 0), 0.3.
  Shape near(kCoordinates, 0.0F);
  Shape far(kCoordinates, 0.0F);
  for (int i = 0; i < kCoordinates; i += 2) {
    near[i] = 10.0F;
    far[i] = 30.0F;
  }
  std::vector<AlignmentSample> samples(2);
  samples[0].face = 0;
  samples[1].face = 1;
  samples[1].manual = true;
  for (Shape* truth : {&near, &far}) (*truth)[2 * 36 + 1] = 60.0F;
  for (Shape* truth : {&near, &far}) (*truth)[2 * 45 + 1] = -40.0F;
  RegressionRows rows = randomRows({near, far}, /*seed=*/1);
  // 66 points are 10 (30) off, the eye corners sqrt(10^2 + 60^2) and so on.
  const double near_error = (66 * 10 + std::hypot(10, 60) + std::hypot(10, 40)) / 68 / 100;
  const double far_error = (66 * 30 + std::hypot(30, 60) + std::hypot(30, 40)) / 68 / 100;
  StageOptions options;
  options.folds = 1;
  options.ridges = {1.0};
  options.batch_rows = 16;
  options.manual_weight = 3;
  options.error_knee = 0.2F;
  std::ostringstream log;
  const TrainedStage stage = trainStage(samples, options, rows, log);
  const double near_weight = 0.2 / (0.2 + near_error);
  const double far_weight = 3 * 0.2 / (0.2 + far_error);
  EXPECT_NEAR(stage.bias.data[0], (near_weight * 10 + far_weight * 30) / (near_weight + far_weight),
              1e-4);
}

TEST(TrainStage, LearnsFromNearDescriptorsWhereItHasAReach) {
  // The jaw moves by 5 pixels to one side or the other, and only a descriptor at an eye tells which.
  // The outer eye corners are 63 apart, so a jaw that stays costs 17 / 68 * 5 / 63 = 0.0198.
  const unsigned seed = 11;
  SCOPED_TRACE(seed);
  const Shape base = templateFace(0.05);
  std::vector<AlignmentSample> samples(60);
  std::vector<Shape> truths;
  std::vector<double> pushes;
  for (std::size_t i = 0; i < 60; ++i) {
    samples[i].face = static_cast<int>(i);
    pushes.push_back(i % 2 == 0 ? 5 : -5);
    Shape truth;
    for (const float value : base) truth.push_back(50 * value);
    for (std::size_t point = 0; point <= 16; ++point)
      truth[2 * point] += static_cast<float>(pushes[i]);
    truths.push_back(truth);
  }
  const auto errorWith = [&](float reach) {
    RegressionRows rows = randomRows(truths, seed);
    for (std::size_t i = 0; i < 60; ++i) {
      for (std::size_t k = 0; k < kCoordinates; ++k)
        rows.shapes[i * kCoordinates + k] = 50 * base[k];
      std::fill_n(rows.feature(i), kFeatures, std::uint8_t{0});
      rows.feature(i)[std::size_t{36} * 128] = pushes[i] > 0 ? 200 : 0;  // An eye's corner.
    }
    StageOptions options;
    options.folds = 1;
    options.ridges = {0.001};
    options.batch_rows = 16;
    options.reach = reach;
    std::ostringstream log;
    trainStage(samples, options, rows, log);
    return meanRowError(samples, rows, /*manual=*/false);
  };
  EXPECT_LT(errorWith(0.0F), 0.001);
  EXPECT_NEAR(errorWith(0.01F), 0.0198, 0.0005);
}

TEST(MeanPlainMove, LeavesMirroredRowsOut) {
  // Shapes are 0. The first row is 3 off at every coordinate, the second, by hand, 9, the last is
  // mirrored. Outer eye corners that stand 6 apart are added to both.
  std::vector<AlignmentSample> samples(3);
  samples[1].manual = true;
  samples[2].mirrored = true;
  std::vector<Shape> truths{Shape(kCoordinates, 3.0F), Shape(kCoordinates, 9.0F),
                            Shape(kCoordinates, 500.0F)};
  for (Shape& truth : truths) truth[std::size_t{2} * 36] += 6.0F;
  const RegressionRows rows = randomRows(truths, /*seed=*/3);
  StageOptions options;
  options.manual_weight = 2;
  const std::vector<float> move = meanPlainMove(samples, options, rows);
  ASSERT_EQ(move.size(), static_cast<std::size_t>(kCoordinates));
  EXPECT_NEAR(move[0], (3 + 2 * 9) / 3.0, 1e-5);
  EXPECT_NEAR(move[std::size_t{2} * 36], (9 + 2 * 15) / 3.0, 1e-5);
  for (AlignmentSample& sample : samples) sample.mirrored = true;
  EXPECT_EQ(meanPlainMove(samples, options, rows), std::vector<float>(kCoordinates, 0.0F));
}

}  // namespace
}  // namespace alignment_training
