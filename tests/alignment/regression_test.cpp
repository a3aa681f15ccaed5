// Tests of the regression: its steps by hand, the whole against a plain loop, and models that do
// not fit.

#include "alignment/regression.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>

#include "alignment/descriptor_pyramid.h"
#include "tests/alignment/synthetic_model.h"

namespace {

using oznalib::applyStage;
using oznalib::boxShape;
using oznalib::fitShape;
using oznalib::isUsable;
using oznalib::padImage;
using oznalib::regressShapes;
using oznalib::SDMModel;
using oznalib::startShapes;
using Shape = std::vector<float>;

void expectNear(const Shape& a, const Shape& b, float tolerance) {
  ASSERT_EQ(a.size(), b.size());
  for (std::size_t i = 0; i < a.size(); ++i) {
    EXPECT_NEAR(a[i], b[i], tolerance) << i;
  }
}

TEST(BoxShape, ScalesAndMovesEachPair) {
  EXPECT_EQ(boxShape({0, 0, 1, 1, 0.5F, 0.25F}, cv::Rect(-10, 20, 100, 40)),
            (Shape{-10, 20, 90, 60, 40, 30}));
  EXPECT_TRUE(boxShape({}, cv::Rect(1, 2, 3, 4)).empty());
}

TEST(PadImage, BorderIsFortyPercentOfTheColumnsAndBlack) {
  const cv::Mat image(20, 29, CV_8UC1, cv::Scalar(200));
  cv::Mat padded;
  EXPECT_EQ(padImage(image, {5, 5}, padded), 11);  // 11.6 is cut.
  EXPECT_EQ(padded.size(), cv::Size(29 + 22, 20 + 22));
  EXPECT_TRUE(padded.isContinuous());
  EXPECT_EQ(padded.at<std::uint8_t>(10, 25), 0);
  EXPECT_EQ(padded.at<std::uint8_t>(11, 25), 200);
  EXPECT_EQ(padded.at<std::uint8_t>(30, 25), 200);
  EXPECT_EQ(padded.at<std::uint8_t>(31, 25), 0);
  EXPECT_EQ(padded.at<std::uint8_t>(15, 10), 0);
  EXPECT_EQ(padded.at<std::uint8_t>(15, 11), 200);
}

TEST(PadImage, BorderIsAtLeastThatWideForFacesDeepInside) {
  const cv::Mat image(30, 250, CV_8UC1, cv::Scalar(1));
  cv::Mat padded;
  EXPECT_EQ(padImage(image, {125, 15}, padded), 100);
  EXPECT_EQ(padImage(image, {}, padded), 100);
  EXPECT_EQ(padImage(image, {-99, 15}, padded), 100);
  EXPECT_EQ(padImage(image, {-101, 15}, padded), 101);
}

TEST(PadImage, BorderGrowsToTheDeepestPointOutside) {
  const cv::Mat image(20, 20, CV_8UC1, cv::Scalar(1));
  cv::Mat padded;
  EXPECT_EQ(padImage(image, {-8.9F, 5}, padded), 8);
  EXPECT_EQ(padImage(image, {-12.9F, 5}, padded), 12);
  EXPECT_EQ(padImage(image, {5, -30.5F}, padded), 30);
  EXPECT_EQ(padImage(image, {40, 5}, padded), 21);     // 40 - 20 + 1.
  EXPECT_EQ(padImage(image, {5, 45.7F}, padded), 26);  // 45.7 - 20 + 1, cut.
  EXPECT_EQ(padImage(image, {-9, 5, 5, -11, 40, 5}, padded), 21);
}

// A point outside on the upper or left side is not looked at on the other one.
TEST(PadImage, PointBeyondTwoSidesCountsOnTheUpperOrLeftOne) {
  const cv::Mat image(20, 20, CV_8UC1, cv::Scalar(1));
  cv::Mat padded;
  EXPECT_EQ(padImage(image, {-10, 90}, padded), 10);
}

TEST(PadImage, PointOnTheEdgeColumnIsOutside) {
  const cv::Mat image(2, 2, CV_8UC1, cv::Scalar(1));
  cv::Mat padded;
  EXPECT_EQ(padImage(image, {1.9F, 1.9F}, padded), 0);
  EXPECT_EQ(padded.data, image.data);
  EXPECT_EQ(padImage(image, {2, 1}, padded), 1);
  EXPECT_EQ(padded.size(), cv::Size(4, 4));
}

mp::pca_map tinyMap() {
  mp::pca_map map;
  map.mean = mp::matrix(1, 2);
  map.mean.data[0] = 1;
  map.projection = mp::matrix(2, 2);
  const float cells[] = {1, 2, 3, 4};
  std::copy_n(cells, 4, map.projection.data);
  return map;
}

TEST(ApplyStage, AddsTheMoveAndTheBias) {
  const float features[] = {3, 1};  // 2 and 1 above the mean: move (5, 8).
  mp::matrix bias(2, 1);
  bias.data[0] = 10;
  bias.data[1] = 20;
  Shape shape = {100, 200};
  const mp::matrix move = applyStage(features, tinyMap(), bias, shape);
  EXPECT_EQ(shape, (Shape{115, 228}));
  EXPECT_EQ(move.rows, 1);
  EXPECT_EQ(move.cols, 2);
  EXPECT_EQ(move.data[0], 5);
  EXPECT_EQ(move.data[1], 8);
}

TEST(ApplyStage, IgnoresABiasOfAnotherSize) {
  const float features[] = {3, 1};
  for (const mp::matrix& bias : {mp::matrix(), mp::matrix(1, 3), mp::matrix(1, 1)}) {
    mp::matrix filled = bias;
    filled.fill(50);
    Shape shape = {100, 200};
    applyStage(features, tinyMap(), filled, shape);
    EXPECT_EQ(shape, (Shape{105, 208}));
  }
}

TEST(StartShapes, AreTheMeanAndEightNeighboursInOrder) {
  const auto starts = startShapes({0.5F, 0.25F}, cv::Rect(10, 20, 100, 200));
  const std::vector<Shape> expected = {{60, 70}, {50, 50}, {50, 70}, {50, 90}, {60, 50},
                                       {60, 90}, {70, 50}, {70, 70}, {70, 90}};
  ASSERT_EQ(starts.size(), expected.size());
  for (std::size_t i = 0; i < starts.size(); ++i) {
    expectNear(starts[i], expected[i], 1e-4F);
  }
}

// The whole regression as it reads: start by start, stage by stage, with one buffer.
std::vector<Shape> plainOutcomes(const SDMModel& model, const cv::Mat& image,
                                 const std::vector<Shape>& starts, int& inherited) {
  cv::Mat padded;
  const float pad = static_cast<float>(padImage(image, starts[0], padded));
  SDMCore::DescriptorPyramid pyramid(static_cast<std::uint64_t>(padded.cols),
                                     static_cast<std::uint64_t>(padded.rows),
                                     static_cast<std::uint64_t>(model.levelsPerOctave));
  pyramid.setImage(padded.data, static_cast<std::uint64_t>(padded.cols),
                   static_cast<std::uint64_t>(padded.rows));
  pyramid.buildLevels();
  std::uint8_t buffer[128] = {};
  std::vector<Shape> outcomes;
  inherited = 0;
  for (Shape shape : starts) {
    for (float& coordinate : shape) coordinate += pad;
    for (std::size_t s = 0; s < model.stageMaps.size(); ++s) {
      const std::int32_t level =
          s < model.stageLevels.size() ? model.stageLevels[s] : model.stageLevels.back();
      Shape features;
      for (std::size_t i = 0; i < shape.size(); i += 2) {
        float norm = 0;
        pyramid.computeDescriptor(shape[i], shape[i + 1], static_cast<float>(level), &norm, buffer);
        inherited += i == 0 && s == 0 && norm == 0 ? 1 : 0;
        for (const std::uint8_t byte : buffer) features.push_back(byte / 256.0F);
      }
      const bool biased = !model.auxMatrices.empty() && !model.stageBias.empty();
      const mp::pca_map& map = model.stageMaps[s];
      Shape moved = shape;
      for (std::size_t c = 0; c < shape.size(); ++c) {
        double move = 0;
        for (std::size_t k = 0; k < features.size(); ++k) {
          move += static_cast<double>(features[k] - map.mean.data[k]) *
                  map.projection.data[k * shape.size() + c];
        }
        moved[c] += static_cast<float>(move) + (biased ? model.stageBias[s].data[c] : 0.0F);
      }
      shape = moved;
    }
    for (float& coordinate : shape) coordinate -= pad;
    outcomes.push_back(shape);
  }
  return outcomes;
}

Shape plainMedian(const std::vector<Shape>& outcomes) {
  Shape median;
  for (std::size_t c = 0; c < outcomes[0].size(); ++c) {
    Shape values;
    for (const Shape& outcome : outcomes) values.push_back(outcome[c]);
    std::sort(values.begin(), values.end());
    median.push_back(values[values.size() / 2]);
  }
  return median;
}

TEST(RegressShapes, EqualsThePlainLoop) {
  SDMModel model = synthetic::randomModel(5, {2, 1, 0}, 0.02F, 3);
  const cv::Mat image = synthetic::texturedImage(160, 150, 1, 4);
  const auto starts = startShapes(model.meanShape, cv::Rect(30, 25, 100, 100));
  int inherited = 0;
  const Shape expected = plainMedian(plainOutcomes(model, image, starts, inherited));
  ASSERT_EQ(inherited, 0);
  const Shape result = regressShapes(model, image, starts, {});
  expectNear(result, expected, 0.01F);
  // The maps do something, and the ignored list does nothing.
  EXPECT_GT(std::fabs(result[0] - starts[0][0]) + std::fabs(result[1] - starts[0][1]), 0.05F);
  EXPECT_EQ(regressShapes(model, image, starts, {1, 2, 3}), result);
}

// Left of the texture all patches are flat, so that starts begin with what the start before them
// left in the buffer. With maps this strong a wrong buffer moves landmarks by pixels.
TEST(RegressEach, GivesTheOutcomesOfWhichTheResultIsTheMedian) {
  SDMModel model = synthetic::randomModel(5, {2, 1, 0}, 0.02F, 3);
  const cv::Mat image = synthetic::texturedImage(160, 150, 1, 4);
  const auto starts = startShapes(model.meanShape, cv::Rect(30, 25, 100, 100));
  int inherited = 0;
  const std::vector<Shape> expected = plainOutcomes(model, image, starts, inherited);
  const std::vector<Shape> outcomes = oznalib::regressEach(model, image, starts);
  ASSERT_EQ(outcomes.size(), 9U);
  for (std::size_t i = 0; i < outcomes.size(); ++i) {
    expectNear(outcomes[i], expected[i], 0.01F);
  }
  EXPECT_EQ(oznalib::medianShape(outcomes), regressShapes(model, image, starts, {}));
  EXPECT_TRUE(oznalib::regressEach(model, image, {}).empty());
}

TEST(RegressShapes, FlatFirstPatchInheritsFromTheStartBefore) {
  SDMModel model = synthetic::randomModel(4, {1, 0}, 0.05F, 8);
  model.meanShape[0] = 0.0F;
  cv::Mat image = synthetic::texturedImage(160, 150, 1, 5);
  image(cv::Rect(0, 0, 52, 150)) = cv::Scalar(0);
  const auto starts = startShapes(model.meanShape, cv::Rect(30, 25, 100, 100));
  int inherited = 0;
  const auto outcomes = plainOutcomes(model, image, starts, inherited);
  ASSERT_GT(inherited, 1);
  expectNear(regressShapes(model, image, starts, {}), plainMedian(outcomes), 0.01F);
}

TEST(RegressShapes, FlatPatchWithinAStartRepeatsTheLandmarkBefore) {
  SDMModel model = synthetic::randomModel(4, {1, 0}, 0.05F, 9);
  model.meanShape[2] = 0.0F;  // The second landmark lies in the black part.
  model.meanShape[0] = 0.7F;
  cv::Mat image = synthetic::texturedImage(160, 150, 1, 6);
  image(cv::Rect(0, 0, 52, 150)) = cv::Scalar(0);
  const auto starts = startShapes(model.meanShape, cv::Rect(30, 25, 100, 100));
  int inherited = 0;
  const auto outcomes = plainOutcomes(model, image, starts, inherited);
  ASSERT_EQ(inherited, 0);
  expectNear(regressShapes(model, image, starts, {}), plainMedian(outcomes), 0.01F);
}

TEST(RegressShapes, BlackImageMovesByTheEmptyDescriptor) {
  SDMModel model = synthetic::randomModel(3, {0}, 0.05F, 10);
  const cv::Mat image(120, 120, CV_8UC1, cv::Scalar(0));
  const auto starts = startShapes(model.meanShape, cv::Rect(10, 10, 100, 100));
  Shape expected = starts[0];
  for (std::size_t c = 0; c < expected.size(); ++c) {
    for (int k = 0; k < 3 * 128; ++k) {
      expected[c] -= 0.2F * model.stageMaps[0].projection.data[k * 6 + static_cast<int>(c)];
    }
  }
  expectNear(regressShapes(model, image, starts, {}), expected, 0.01F);
}

TEST(RegressShapes, BiasCountsOnlyBesideAuxiliaryMatrices) {
  SDMModel model = synthetic::randomModel(2, {0, 0}, 0.0F, 1);
  const cv::Mat image = synthetic::texturedImage(120, 120, 1, 2);
  const std::vector<Shape> starts = {{30, 30, 60, 60}};
  model.stageBias.resize(2);
  for (mp::matrix& bias : model.stageBias) {
    bias = mp::matrix(1, 4);
    bias.fill(1.5F);
  }
  EXPECT_EQ(regressShapes(model, image, starts, {}), starts[0]);
  model.auxMatrices.resize(1);
  EXPECT_EQ(regressShapes(model, image, starts, {}), (Shape{33, 33, 63, 63}));
  model.stageBias.pop_back();  // Stages without an entry have no bias.
  EXPECT_EQ(regressShapes(model, image, starts, {}), (Shape{31.5F, 31.5F, 61.5F, 61.5F}));
  model.stageBias[0] = mp::matrix(1, 3);
  EXPECT_EQ(regressShapes(model, image, starts, {}), starts[0]);
}

TEST(RegressShapes, LastLevelServesAllFurtherStages) {
  const SDMModel spelled_out = synthetic::randomModel(3, {2, 1, 1, 1}, 0.03F, 12);
  SDMModel shortened = spelled_out;
  shortened.stageLevels = {2, 1};
  const cv::Mat image = synthetic::texturedImage(140, 140, 1, 2);
  const auto starts = startShapes(spelled_out.meanShape, cv::Rect(20, 20, 100, 100));
  EXPECT_EQ(regressShapes(shortened, image, starts, {}),
            regressShapes(spelled_out, image, starts, {}));
  SDMModel other = spelled_out;
  other.stageLevels = {2, 0};
  EXPECT_NE(regressShapes(other, image, starts, {}), regressShapes(spelled_out, image, starts, {}));
}

TEST(RegressShapes, TakesTheMedianOfEachCoordinate) {
  const SDMModel model = synthetic::randomModel(1, {}, 0.0F, 1);
  const cv::Mat image(100, 100, CV_8UC1, cv::Scalar(9));
  EXPECT_EQ(regressShapes(model, image, {{5, 1}, {1, 9}, {3, 5}}, {}), (Shape{3, 5}));
  EXPECT_EQ(regressShapes(model, image, {{5, 1}, {1, 9}, {3, 5}, {7, 3}}, {}), (Shape{5, 5}));
  EXPECT_EQ(regressShapes(model, image, {{1, 2}, {3, 4}}, {}), (Shape{3, 4}));
}

TEST(RegressShapes, RunawayShapesStayDefined) {
  for (const float scale : {1e6F, 1e20F, 3e38F, std::numeric_limits<float>::infinity()}) {
    SDMModel model = synthetic::randomModel(3, {2, 1, 0}, 0.0F, 1);
    for (mp::pca_map& map : model.stageMaps) {
      map.projection.fill(scale);
    }
    const cv::Mat image = synthetic::texturedImage(120, 120, 1, 2);
    const auto starts = startShapes(model.meanShape, cv::Rect(10, 10, 100, 100));
    EXPECT_EQ(regressShapes(model, image, starts, {}).size(), 6U);
  }
}

TEST(RegressShapes, ModelsThatDoNotFitGiveNothing) {
  const SDMModel good = synthetic::randomModel(2, {1, 0}, 0.01F, 1);
  const cv::Mat image = synthetic::texturedImage(100, 100, 1, 2);
  const std::vector<Shape> starts = {{30, 30, 60, 60}};
  ASSERT_TRUE(isUsable(good));
  ASSERT_EQ(regressShapes(good, image, starts, {}).size(), 4U);
  const auto expectNothing = [&](auto change) {
    SDMModel bad = good;
    change(bad);
    EXPECT_FALSE(isUsable(bad));
    EXPECT_TRUE(regressShapes(bad, image, starts, {}).empty());
  };
  expectNothing([](SDMModel& m) { m.meanShape.clear(); });
  expectNothing([](SDMModel& m) { m.meanShape.push_back(0); });
  expectNothing([](SDMModel& m) { m.stageMaps[1].mean = mp::matrix(); });
  expectNothing([](SDMModel& m) { m.stageMaps[1].mean = mp::matrix(1, 257); });
  expectNothing([](SDMModel& m) { m.stageMaps[0].projection = mp::matrix(255, 4); });
  expectNothing([](SDMModel& m) { m.stageMaps[0].projection = mp::matrix(256, 5); });
  expectNothing([](SDMModel& m) { m.stageMaps[0].projection = mp::matrix(); });
  expectNothing([](SDMModel& m) { m.meanShape.resize(65538); });
  expectNothing([](SDMModel& m) { m.stageMaps.resize(3); });
  expectNothing([](SDMModel& m) { m.stageLevels.clear(); });
  expectNothing([](SDMModel& m) { m.stageLevels[0] = 6; });
  expectNothing([](SDMModel& m) { m.stageLevels[1] = -2; });
  expectNothing([](SDMModel& m) { m.levelsPerOctave = 0; });
  expectNothing([](SDMModel& m) { m.levelsPerOctave = 2000000000; });
  expectNothing([](SDMModel& m) { m.faceWidth = 0; });
  EXPECT_TRUE(regressShapes(good, image, {}, {}).empty());
  EXPECT_TRUE(regressShapes(good, image, {{1, 2}}, {}).empty());
  EXPECT_TRUE(regressShapes(good, image, {{-1e30F, 0, 0, 0}}, {}).empty());
}

// A map of 3 inputs and 1 output of a model with 256 features and 4 coordinates: from the first
// features to the first coordinate.
TEST(RegressShapes, SmallMapsRunOnTheFirstFeaturesAndMoveTheFirstCoordinates) {
  SDMModel full = synthetic::randomModel(2, {1, 0}, 0.0F, 1);
  SDMModel small = full;
  for (std::size_t stage = 0; stage < 2; ++stage) {
    small.stageMaps[stage].mean = mp::matrix(1, 3);
    small.stageMaps[stage].mean.fill(-1.0F);
    small.stageMaps[stage].projection = mp::matrix(3, 1);
    full.stageMaps[stage].mean.fill(-1.0F);
    for (int input = 0; input < 3; ++input) {
      const float weight = 0.5F * static_cast<float>(input + 1);
      small.stageMaps[stage].projection.data[input] = weight;
      full.stageMaps[stage].projection.data[input * 4] = weight;
    }
  }
  const cv::Mat image = synthetic::texturedImage(100, 100, 1, 2);
  const std::vector<Shape> starts = {{30, 30, 60, 60}, {35, 30, 60, 65}, {28, 31, 62, 60}};
  ASSERT_TRUE(isUsable(small));
  const Shape result = regressShapes(small, image, starts, {});
  expectNear(result, regressShapes(full, image, starts, {}), 1e-3F);
  EXPECT_GE(result[0], 36.0F);  // At least twice 0.5 + 1 + 1.5 to the right of the median.
  expectNear({result.begin() + 1, result.end()}, {30, 60, 60}, 1e-4F);
}

TEST(FitShape, ZeroMapsGiveTheFirstShape) {
  const SDMModel model = synthetic::randomModel(68, {2, 2, 1, 1, 0}, 0.0F, 3);
  SDMCore::GeneralUnit unit;
  unit.image = synthetic::texturedImage(250, 250, 1, 3);
  unit.box = cv::Rect(40, 60, 200, 210);  // Scaled by one half.
  const Shape expected = boxShape(model.meanShape, unit.box);
  expectNear(fitShape(model, unit), expected, 1e-4F);
  EXPECT_EQ(unit.shape.size(), 136U);
  EXPECT_EQ(unit.box.width, 100);
}

TEST(FitShape, ReturnsToThePixelsOfTheImageAsGiven) {
  SDMModel model = synthetic::randomModel(2, {0}, 0.0F, 3);
  model.auxMatrices.resize(1);
  model.stageBias = {mp::matrix(1, 4)};
  model.stageBias[0].fill(3);
  SDMCore::GeneralUnit unit;
  unit.image = synthetic::texturedImage(200, 200, 1, 3);
  unit.box = cv::Rect(20, 20, 50, 50);  // Scaled by 2, so that a move of 3 is one of 1.5.
  Shape expected = boxShape(model.meanShape, unit.box);
  for (float& coordinate : expected) coordinate += 1.5F;
  expectNear(fitShape(model, unit), expected, 1e-3F);
}

TEST(FitShape, GivesTheOutcomesInThePixelsOfTheImageAsGiven) {
  // No stage moves the nine starts, boxes of 200 by 100 and their shifts by a tenth.
  SDMModel model;
  model.meanShape = {0.5F, 0.25F};
  SDMCore::GeneralUnit unit;
  unit.image = synthetic::texturedImage(400, 300, 1, 6);
  unit.box = cv::Rect(60, 80, 200, 100);
  std::vector<Shape> outcomes(3);
  const Shape shape = fitShape(model, unit, &outcomes);
  ASSERT_EQ(outcomes.size(), 9U);
  expectNear(outcomes[0], {160, 105}, 1e-3F);
  expectNear(outcomes[1], {140, 95}, 1e-3F);
  expectNear(outcomes[8], {180, 115}, 1e-3F);
  EXPECT_EQ(shape, oznalib::medianShape(outcomes));
  // What was there before is gone where there is no fit.
  unit.box.width = 0;
  EXPECT_TRUE(fitShape(model, unit, &outcomes).empty());
  EXPECT_TRUE(outcomes.empty());
}

TEST(FitShape, PointsLeftOfTheImageWidenTheBorder) {
  SDMModel model = synthetic::randomModel(1, {0}, 0.0F, 3);
  model.meanShape = {-0.9F, 0.5F};
  SDMCore::GeneralUnit unit;
  unit.image = synthetic::texturedImage(150, 150, 1, 3);
  unit.box = cv::Rect(0, 0, 100, 100);
  expectNear(fitShape(model, unit), {-90, 50}, 1e-3F);
}

TEST(FitShape, LeavesAUnitThatItCannotFit) {
  const SDMModel model = synthetic::randomModel(2, {0}, 0.0F, 3);
  SDMCore::GeneralUnit unit;
  unit.image = synthetic::texturedImage(50, 50, 1, 3);
  for (const int width : {0, -5, 1}) {  // The last would be scaled to 5000 pixels.
    unit.box = cv::Rect(0, 0, width, 10);
    EXPECT_TRUE(fitShape(model, unit).empty()) << width;
    EXPECT_EQ(unit.image.cols, 50);
  }
  unit.box = cv::Rect(0, 0, 20, 20);
  oznalib::unloadModelSlot();
  EXPECT_TRUE(fitShape(unit).empty());
}

}  // namespace
