// The order of the cascade and the way back to the caller's pixels.

#include "detector/cascade_driver.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "detector/stage_results.h"
#include "tests/detector/bright_pixels.h"
#include "tests/detector/handmade_cascade.h"

namespace {

using detector_test::blackImage;
using detector_test::boxesOf;
using detector_test::boxOf;
using detector_test::brighten;
using detector_test::brightPixelNet;
using detector_test::constantNet;
using detector_test::DenseNet;
using detector_test::FlatNet;
using detector_test::logistic;
using detector_test::plainScan;
using oznalib::CandidateList;
using oznalib::CascadeParameter;
using oznalib::DetectorImpl;
using oznalib::FaceCandidate;
using oznalib::runCascade;
using oznalib::StageResults;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

double brightScore(int byte) { return logistic(0.04 * byte - 4); }

TEST(RunCascade, ScansAndThresholdsAndSuppressesWithOneStage) {
  DetectorImpl detector;
  detector.stages.push_back(brightPixelNet(21).stage(0.4F));
  cv::Mat image = blackImage();
  brighten(image, 0, 0, 120);  // At (0, 0), score 0.69.
  brighten(image, 0, 1, 200);  // At (3, 0), score 0.98: 4 of 16 pixels in common with (0, 0).
  brighten(image, 0, 2, 90);   // At (6, 0), score 0.4013.
  brighten(image, 5, 5, 250);  // At (16, 16).
  brighten(image, 5, 3, 85);   // Score 0.354: below the threshold.
  const CandidateList faces = runCascade(detector, image, plainScan());
  // (0, 0) and (6, 0) share a quarter with (3, 0), which is not above the limit. No calibration
  // network exists: it is not asked for.
  EXPECT_THAT(boxesOf(faces), ElementsAre(ElementsAre(16, 16, 4, 4), ElementsAre(3, 0, 4, 4),
                                          ElementsAre(0, 0, 4, 4), ElementsAre(6, 0, 4, 4)));
  EXPECT_NEAR(faces.candidates[1].score, brightScore(200), 1e-6);
  EXPECT_NEAR(faces.candidates[3].score, brightScore(90), 1e-6);
}

TEST(RunCascade, DropsAScoreEqualToTheThreshold) {
  // Byte 100 gives two equal outputs and so exactly one half.
  DetectorImpl detector;
  detector.stages.push_back(brightPixelNet(21).stage(0.5F));
  cv::Mat image = blackImage();
  brighten(image, 2, 2, 100);
  StageResults trace(1);
  EXPECT_THAT(runCascade(detector, image, trace, plainScan()).candidates, IsEmpty());
  EXPECT_EQ(trace[0][0].candidates[0].score, 0.5F);
  detector.stages[0].threshold = std::nextafter(0.5F, 0.0F);
  EXPECT_EQ(runCascade(detector, image, trace, plainScan()).candidates.size(), 1U);
}

TEST(RunCascade, RunsNoFurtherNetworkWithoutCandidates) {
  DetectorImpl detector;
  detector.stages.push_back(brightPixelNet(21).stage(0.4F));
  detector.stages.resize(3);  // Without networks: running one would end the test.
  StageResults trace(3);
  EXPECT_THAT(runCascade(detector, blackImage(), trace, plainScan()).candidates, IsEmpty());
  EXPECT_EQ(trace[1].size(), 1U);
  EXPECT_EQ(trace[2].size(), 1U);
}

TEST(RunCascade, FindsNothingForNoPyramidLevels) {
  DetectorImpl detector;
  detector.stages.push_back(brightPixelNet(21).stage(0.0F));
  detector.stages.resize(2);
  CascadeParameter parameter = plainScan();
  for (const int levels : {0, -3}) {
    parameter.pyramidLevels = levels;
    StageResults trace(2);
    EXPECT_THAT(runCascade(detector, blackImage(), trace, parameter).candidates, IsEmpty());
    EXPECT_THAT(trace[0][0].candidates, IsEmpty());
  }
}

TEST(RunCascade, CalibratesNothingWithTwoStages) {
  DetectorImpl detector;  // Its calibration has no network.
  detector.stages.push_back(brightPixelNet(21).stage(0.4F));
  detector.stages.push_back(constantNet(4, {0.1, 0.9}).stage(0.8F));
  cv::Mat image = blackImage();
  brighten(image, 2, 2, 250);
  const CandidateList faces = runCascade(detector, image, plainScan());
  EXPECT_THAT(boxesOf(faces), ElementsAre(ElementsAre(6, 6, 4, 4)));
  EXPECT_NEAR(faces.candidates[0].score, 0.9, 1e-6);
}

TEST(RunCascade, DoesNotSuppressBySizeAfterTheLastStage) {
  // Two boxes of 12 by 12 at a distance of 2 share 120 of 168 pixels: both come out of the last
  // stage, and only the last suppression takes one.
  DetectorImpl detector;
  detector.stages.push_back(brightPixelNet(21).stage(0.4F));
  detector.stages.push_back(constantNet(4, {0.1, 0.9}).stage(0.8F));
  CascadeParameter parameter = plainScan();
  parameter.windowSize = 12;
  parameter.minFaceFraction = 12.5F / 21;
  cv::Mat image = blackImage();
  brighten(image, 0, 0, 250);  // Positions 0 to 8: 0, 2, 3, 5, 6, 8.
  brighten(image, 0, 1, 240);
  StageResults trace(2);
  const CandidateList faces = runCascade(detector, image, trace, parameter);
  EXPECT_EQ(trace[1][0].candidates.size(), 2U);
  EXPECT_EQ(faces.candidates.size(), 1U);
}

TEST(RunCascade, SuppressesByContainmentAtTheEnd) {
  // Boxes of 6 by 6, at (6, 0) and (8, 3): 12 pixels in common are a third of each, but only a
  // fifth of their union of 60.
  DetectorImpl detector;
  detector.stages.push_back(brightPixelNet(21).stage(0.4F));
  CascadeParameter parameter = plainScan();
  parameter.windowSize = 6;
  parameter.minFaceFraction = 6.5F / 21;
  cv::Mat image = blackImage();
  brighten(image, 0, 2, 250);  // Positions 0 to 14, 2.8 apart: 0, 3, 6, 8, 11, 14.
  brighten(image, 1, 3, 200);
  StageResults trace(1);
  EXPECT_THAT(boxesOf(runCascade(detector, image, trace, parameter)),
              ElementsAre(ElementsAre(6, 0, 6, 6)));
  EXPECT_THAT(boxOf(trace[0][0].candidates[1]), ElementsAre(8, 3, 6, 6));
}

// Three stages. The second scores by the first pixel of a box, third byte; the calibration always
// moves a box of 4 by 4 one pixel left; the third stage scores by the second pixel of a box.
class ThreeStages : public testing::Test {
 protected:
  ThreeStages() {
    detector_.stages.push_back(brightPixelNet(21).stage(0.4F));
    detector_.stages.push_back(pixelScore(0).stage(0.6F));
    detector_.stages.push_back(pixelScore(1).stage(0.7F));
    detector_.calibration = constantNet(4, {0.1, 0.9}).stage();
    detector_.calibration.offsets = {{0, 0, 1}, {1, 0, 1}};
  }

  // 0.02 * (byte - 100) of one pixel against 0.
  static FlatNet pixelScore(int column) {
    FlatNet net;
    net.height = net.width = 4;
    net.weights.assign(96, 0.0F);
    net.weights[48 + column] = 0.02F;
    net.bias = {0, 0};
    net.mean.assign(48, 100.0F);
    return net;
  }

  static double pixelScoreOf(int byte) { return logistic(0.02 * (byte - 100)); }

  CandidateList run(const cv::Mat& image) {
    trace_ = StageResults(3);
    const CandidateList traced = runCascade(detector_, image, trace_, plainScan());
    const CandidateList plain = runCascade(detector_, image, plainScan());
    EXPECT_EQ(boxesOf(plain), boxesOf(traced));
    return plain;
  }

  DetectorImpl detector_;
  StageResults trace_;
};

TEST_F(ThreeStages, ScoreThenCalibrateThenScoreTheMovedBox) {
  // The cell at pixel (8, 8) stands for the box at (6, 6). The second stage sees pixel (6, 6); then
  // the box moves to (5, 6), whose second pixel is (6, 6) too, and not (7, 6).
  cv::Mat image = blackImage();
  brighten(image, 2, 2, 250);
  image.at<cv::Vec3b>(6, 6)[2] = 230;
  const CandidateList faces = run(image);
  EXPECT_THAT(boxesOf(faces), ElementsAre(ElementsAre(5, 6, 4, 4)));
  EXPECT_NEAR(trace_[1][0].candidates[0].score, pixelScoreOf(230), 1e-6);
  EXPECT_THAT(boxOf(trace_[1][0].candidates[0]), ElementsAre(5, 6, 4, 4));
  EXPECT_NEAR(faces.candidates[0].score, pixelScoreOf(230), 1e-6);
  // No calibration after the last stage.
  EXPECT_THAT(boxOf(trace_[2][0].candidates[0]), ElementsAre(5, 6, 4, 4));
}

TEST_F(ThreeStages, SuppressBySizeBeforeTheThreshold) {
  // A pattern of half a box moves the boxes at 3 and 6 to 1 and 4; the one at 0 has no room.
  detector_.calibration.offsets = {{0, 0, 1}, {2, 0, 1}};
  cv::Mat image = blackImage();
  brighten(image, 2, 0, 250);
  brighten(image, 2, 1, 250);
  brighten(image, 2, 2, 250);
  image.at<cv::Vec3b>(6, 0)[2] = 60;   // Second stage: 0.31.
  image.at<cv::Vec3b>(6, 3)[2] = 110;  // 0.55: below the threshold of 0.6.
  image.at<cv::Vec3b>(6, 6)[2] = 200;  // 0.88.
  const CandidateList faces = run(image);
  // The box at 1 shares 12 of 20 pixels with the one at 0 and outranks it; the threshold drops it
  // only afterwards, so that the box at 0 is gone from the trace as well.
  EXPECT_THAT(boxesOf(trace_[1][0]), ElementsAre(ElementsAre(4, 6, 4, 4), ElementsAre(1, 6, 4, 4)));
  EXPECT_THAT(boxesOf(trace_[2][0]), ElementsAre(ElementsAre(4, 6, 4, 4)));
  // Its second pixel, (5, 6), is black: dropped by the third stage.
  EXPECT_NEAR(trace_[2][0].candidates[0].score, pixelScoreOf(0), 1e-6);
  EXPECT_THAT(faces.candidates, IsEmpty());
}

TEST_F(ThreeStages, CropFromTheCallersImageAndNotFromTheWorkingOne) {
  // At half the scale the working image is 21 by 21 of 42 by 42. Cells are multiplied back: the
  // cell at 6 becomes 12, 4 pixels become 8.
  cv::Mat image = cv::Mat::zeros(42, 42, CV_8UC3);
  image(cv::Rect(16, 16, 2, 2)).setTo(cv::Scalar(0, 0, 250));  // Pixel (8, 8) of the working image.
  image(cv::Rect(12, 12, 2, 2)).setTo(cv::Scalar(0, 0, 230));  // First pixel of the crop.
  image(cv::Rect(14, 12, 2, 2)).setTo(cv::Scalar(0, 0, 10));   // Second pixel of the crop.
  const CandidateList faces = run(image);
  EXPECT_NEAR(trace_[1][0].candidates[0].score, pixelScoreOf(230), 1e-6);
  // 8 * 1 / 4 = 2 to the left: the second pixel of the crop is the first one of before.
  EXPECT_THAT(boxesOf(faces), ElementsAre(ElementsAre(10, 12, 8, 8)));
  EXPECT_NEAR(trace_[2][0].candidates[0].score, pixelScoreOf(230), 1e-6);
}

TEST(RunCascade, CutsBoxesOnceInTheWorkingImageAndOnceMoreInTheCallers) {
  // Scale 1/2. Level 1, at a factor of 1.5, has windows of 13 * 1.5 = 19.5, cut to 19, doubled to
  // 38 where one cut alone would give 39. Level 1 of 60 is 40: 0, 26 times 1.5 is 39, doubled 78.
  DetectorImpl detector;
  DenseNet net = brightPixelNet(60);
  net.kernel = 13;
  net.stride = 14;
  net.weights.assign(2 * 3 * 13 * 13, 0.0F);
  net.bias = {0, 1};
  detector.stages.push_back(net.stage(0.0F));
  const CascadeParameter parameter = {1, 60, 13.5F / 60, 2, 1.5F, 13};
  StageResults trace(1);
  runCascade(detector, cv::Mat::zeros(120, 120, CV_8UC3), trace, parameter);
  std::vector<std::vector<int>> level_1;
  for (const FaceCandidate& candidate : trace[0][0].candidates) {
    if (candidate.level == 1) level_1.push_back(boxOf(candidate));
  }
  EXPECT_THAT(level_1,
              UnorderedElementsAre(ElementsAre(0, 0, 38, 38), ElementsAre(78, 0, 38, 38),
                                   ElementsAre(0, 78, 38, 38), ElementsAre(78, 78, 38, 38)));
}

TEST(RunCascade, UsesAResizedCopyOfTheSameSizeAtScaleOne) {
  // 100 by 50 with a side of 200, no enlarging, and the smallest face equal to the window.
  DetectorImpl detector;
  detector.stages.push_back(brightPixelNet(100).stage(0.4F));
  cv::Mat image = cv::Mat::zeros(50, 100, CV_8UC3);
  brighten(image, 3, 5, 250);
  const CascadeParameter parameter = {1, 200, 0.1F, 1, 2, 20};
  StageResults trace(1);
  const CandidateList faces = runCascade(detector, image, trace, parameter);
  // 13 by 25 cells over positions 0 to 29 and 0 to 79: 3 * 29 / 12 = 7.25, 5 * 79 / 24 = 16.46.
  EXPECT_EQ(trace[0][0].candidates.size(), 325U);
  EXPECT_THAT(boxesOf(faces), ElementsAre(ElementsAre(16, 7, 20, 20)));
}

TEST(RunCascade, LetsTheImageLibraryRefuseAWorkingImageWithoutArea) {
  DetectorImpl detector;
  detector.stages.push_back(brightPixelNet(21).stage(0.4F));
  // 1 pixel high and a scale of one half.
  EXPECT_THROW(runCascade(detector, cv::Mat::zeros(1, 42, CV_8UC3), {1, 21, 4.5F / 21, 1, 2, 4}),
               cv::Exception);
  // A smallest face of 0 pixels: an infinite scale.
  EXPECT_THROW(runCascade(detector, blackImage(), {1, 21, 0.0F, 1, 2, 4}), cv::Exception);
}

}  // namespace
