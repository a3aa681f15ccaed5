// The passes that look at one box at a time.

#include "detector/stage_scoring.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstddef>
#include <opencv2/imgproc.hpp>
#include <vector>

#include "tests/detector/handmade_cascade.h"

namespace {

using detector_test::boxOf;
using detector_test::calibrationOf;
using detector_test::constantNet;
using detector_test::FlatNet;
using detector_test::logistic;
using detector_test::noiseImage;
using oznalib::CandidateList;
using oznalib::CascadeStage;
using oznalib::FaceCandidate;
using oznalib::OffsetScale;
using testing::ElementsAre;

constexpr float kLarger = 11.0F / 12.0F;

CandidateList oneBox(int x, int y, int width, int height) {
  return {{{x, y, width, height, 0.25F, 3}}, ""};
}

// A network whose second output grows by weight times one element of its input.
FlatNet elementNet(int side, int element, float weight) {
  FlatNet net;
  net.height = net.width = side;
  net.bias = {0, 0};
  net.weights.assign(2 * net.inputs(), 0.0F);
  net.weights[net.inputs() + element] = weight;
  return net;
}

TEST(ScoreCandidates, StoresTheSecondOutputAndLeavesTheBox) {
  CascadeStage stage = constantNet(4, {0.7, 0.3}).stage();
  CandidateList list = {{{2, 3, 8, 8, 0.9F, 5}, {0, 0, 6, 6, 0.1F, 1}}, "label"};
  scoreCandidates(stage, noiseImage(20, 20, 1), list);
  ASSERT_EQ(list.candidates.size(), 2U);
  EXPECT_NEAR(list.candidates[0].score, 0.3, 1e-6);
  EXPECT_NEAR(list.candidates[1].score, 0.3, 1e-6);
  EXPECT_THAT(boxOf(list.candidates[0]), ElementsAre(2, 3, 8, 8));
  EXPECT_THAT(boxOf(list.candidates[1]), ElementsAre(0, 0, 6, 6));
  EXPECT_EQ(list.candidates[0].level, 5);
  EXPECT_EQ(list.label, "label");
}

TEST(ScoreCandidates, FeedsThePixelsOfTheBoxPlaneByPlaneInReverseByteOrder) {
  // The box has the size of the input, so that each element is one byte of one pixel.
  const cv::Mat image = noiseImage(12, 12, 2);
  for (int element = 0; element < 48; ++element) {
    CascadeStage stage = elementNet(4, element, 0.01F).stage();
    CandidateList list = oneBox(5, 6, 4, 4);
    scoreCandidates(stage, image, list);
    const int plane = element / 16;
    const int row = element % 16 / 4;
    const int column = element % 4;
    const double byte = image.at<cv::Vec3b>(6 + row, 5 + column)[2 - plane];
    EXPECT_NEAR(list.candidates[0].score, logistic(0.01 * byte), 1e-6) << "element " << element;
  }
}

TEST(ScoreCandidates, SubtractsTheMeanElementByElement) {
  const cv::Mat image = noiseImage(4, 4, 3);
  for (int element = 0; element < 12; ++element) {
    FlatNet net = elementNet(2, element, 0.01F);
    for (int i = 0; i < 12; ++i) net.mean.push_back(10.5F * static_cast<float>(i + 1));
    CascadeStage stage = net.stage();
    CandidateList list = oneBox(1, 1, 2, 2);
    scoreCandidates(stage, image, list);
    const int row = 1 + element % 4 / 2;
    const int column = 1 + element % 2;
    const double byte = image.at<cv::Vec3b>(row, column)[2 - element / 4];
    const double mean = 10.5 * (element + 1);
    EXPECT_NEAR(list.candidates[0].score, logistic(0.01 * (byte - mean)), 1e-6)
        << "element " << element;
  }
}

TEST(ScoreCandidates, ResizesTheBoxBilinearly) {
  // Halving by an exact factor of two averages four pixels: (10 + 20 + 30 + 60) / 4 = 30.
  cv::Mat image = cv::Mat::zeros(6, 6, CV_8UC3);
  image.at<cv::Vec3b>(2, 2)[2] = 10;
  image.at<cv::Vec3b>(2, 3)[2] = 20;
  image.at<cv::Vec3b>(3, 2)[2] = 30;
  image.at<cv::Vec3b>(3, 3)[2] = 60;
  CascadeStage stage = elementNet(2, 0, 0.05F).stage();
  CandidateList list = oneBox(2, 2, 4, 4);
  scoreCandidates(stage, image, list);
  EXPECT_NEAR(list.candidates[0].score, logistic(0.05 * 30), 1e-6);
}

TEST(ScoreCandidates, JudgesEachBoxByItself) {
  cv::Mat image = cv::Mat::zeros(10, 10, CV_8UC3);
  image.at<cv::Vec3b>(0, 0)[2] = 100;
  image.at<cv::Vec3b>(5, 5)[2] = 200;
  CascadeStage stage = elementNet(2, 0, 0.01F).stage();
  CandidateList list = {{{0, 0, 2, 2, 0, 0}, {3, 3, 2, 2, 0, 0}, {5, 5, 2, 2, 0, 0}}, ""};
  scoreCandidates(stage, image, list);
  EXPECT_NEAR(list.candidates[0].score, logistic(1.0), 1e-6);
  EXPECT_NEAR(list.candidates[1].score, logistic(0.0), 1e-6);
  EXPECT_NEAR(list.candidates[2].score, logistic(2.0), 1e-6);
}

TEST(ScoreCandidates, TakesABoxThatFillsTheImage) {
  CascadeStage stage = constantNet(4, {0.5, 0.5}).stage();
  CandidateList list = oneBox(0, 0, 9, 7);
  scoreCandidates(stage, noiseImage(7, 9, 1), list);
  EXPECT_EQ(list.candidates[0].score, 0.5F);
}

TEST(ScoreCandidates, RunsNoNetworkForAnEmptyList) {
  CascadeStage stage;  // Without a network: running it would end the test.
  CandidateList list;
  scoreCandidates(stage, noiseImage(4, 4, 1), list);
  calibrateCandidates(stage, noiseImage(4, 4, 1), list);
  EXPECT_TRUE(list.candidates.empty());
}

TEST(ScoreCandidates, LetsTheImageLibraryRefuseABoxOutsideTheImage) {
  CascadeStage stage = constantNet(4, {0.5, 0.5}).stage();
  CandidateList list = oneBox(3, 3, 8, 8);
  EXPECT_THROW(scoreCandidates(stage, noiseImage(10, 10, 1), list), cv::Exception);
}

TEST(ScoreCandidates, LetsTheImageLibraryRefuseABoxWithoutArea) {
  CascadeStage stage = constantNet(4, {0.5, 0.5}).stage();
  CandidateList list = oneBox(3, 3, 0, 0);
  EXPECT_THROW(scoreCandidates(stage, noiseImage(10, 10, 1), list), cv::Exception);
}

TEST(ScoreCandidatesDeathTest, RefusesAMeanWithTooFewValues) {
  CascadeStage stage = constantNet(4, {0.5, 0.5}).stage();
  stage.mean.clear();
  CandidateList list = oneBox(0, 0, 4, 4);
  EXPECT_DEATH(scoreCandidates(stage, noiseImage(10, 10, 1), list),
               "0 vs. 48.*mean image of a stage has fewer values than its network's input");
  stage.mean.resize(47);
  EXPECT_DEATH(scoreCandidates(stage, noiseImage(10, 10, 1), list), "47 vs. 48");
}

TEST(ScoreCandidatesDeathTest, RefusesAnInputWithoutElements) {
  CascadeStage stage;
  stage.net.reset(new caffe::Net<float>(
      caffe::FromText(), "input: \"probs\" input_dim: 1 input_dim: 3 input_dim: 0 input_dim: 0"));
  CandidateList list = oneBox(0, 0, 4, 4);
  EXPECT_DEATH(scoreCandidates(stage, noiseImage(10, 10, 1), list), "Check failed: data_ ");
}

// Calibration. Unless a test says otherwise the network is 24 by 24 and always answers the same.

std::vector<int> calibrated(const OffsetScale& chosen, int x, int y, int width, int height,
                            int columns = 100, int rows = 100) {
  CascadeStage stage = calibrationOf(constantNet(24, {0.2, 0.8}), {{0, 0, 1}, chosen});
  CandidateList list = oneBox(x, y, width, height);
  calibrateCandidates(stage, noiseImage(rows, columns, 1), list);
  EXPECT_EQ(list.candidates[0].score, 0.25F);
  EXPECT_EQ(list.candidates[0].level, 3);
  return boxOf(list.candidates[0]);
}

TEST(CalibrateCandidates, SubtractsTheShiftAndDividesByTheScale) {
  // 24 * 4 / 24 = 4 to the left, 24 * -8 / 24 = 8 down, 24 / 0.5 = 48.
  EXPECT_THAT(calibrated({4, -8, 0.5F}, 20, 20, 24, 24), ElementsAre(16, 28, 48, 48));
}

TEST(CalibrateCandidates, CutsTheShiftTowardsZeroBeforeItIsSubtracted) {
  // 30 * 5 / 24 = 6.25 and 30 * -3 / 24 = -3.75; 30 * 12 / 13 = 27.69.
  EXPECT_THAT(calibrated({5, -3, 13.0F / 12.0F}, 20, 20, 30, 30), ElementsAre(14, 23, 27, 27));
}

TEST(CalibrateCandidates, TreatsWidthAndHeightByThemselves) {
  FlatNet net;
  net.height = 10;
  net.width = 20;
  net.bias = {0, 9};
  CascadeStage stage = calibrationOf(net, {{0, 0, 1}, {2, 2, 0.8F}});
  CandidateList list = oneBox(50, 50, 40, 30);
  calibrateCandidates(stage, noiseImage(200, 200, 1), list);
  // 40 * 2 / 20 = 4, 30 * 2 / 10 = 6; 40 / 0.8 = 50, 30 / 0.8 = 37.5.
  EXPECT_THAT(boxOf(list.candidates[0]), ElementsAre(46, 44, 50, 37));
}

TEST(CalibrateCandidates, ReadsOutputsThatALayerSharesOnlyWhenItRuns) {
  const FlatNet net = constantNet(24, {0.25, 0.75});
  std::string text = net.text();
  text.replace(text.rfind("\"probs\""), 7, "\"softmax\"");
  text += "layers { name: \"flat\" type: FLATTEN bottom: \"softmax\" top: \"probs\" }\n";
  CascadeStage stage;
  stage.net.reset(new caffe::Net<float>(caffe::FromText(), text));
  stage.net->CopyTrainedLayersFrom(net.trained());
  stage.mean = net.meanValues();
  stage.offsets = {{0, 0, 1}, {4, 4, 1}};
  CandidateList list = oneBox(20, 20, 24, 24);
  calibrateCandidates(stage, noiseImage(100, 100, 1), list);
  EXPECT_THAT(boxOf(list.candidates[0]), ElementsAre(16, 16, 24, 24));
}

TEST(CalibrateCandidates, LeavesABoxAloneWhenTheBestOutputIsBelowATenth) {
  std::vector<double> outputs(19, 0.91 / 18);
  outputs[4] = 0.09;
  std::vector<OffsetScale> offsets(19);
  offsets[4] = {4, 4, 1};
  CascadeStage stage = calibrationOf(constantNet(24, outputs), offsets);
  CandidateList list = oneBox(20, 20, 24, 24);
  calibrateCandidates(stage, noiseImage(100, 100, 1), list);
  EXPECT_THAT(boxOf(list.candidates[0]), ElementsAre(20, 20, 24, 24));
}

TEST(CalibrateCandidates, MovesABoxWhenTheBestOutputIsAboveATenth) {
  std::vector<double> outputs(19, 0.89 / 18);
  outputs[4] = 0.11;
  std::vector<OffsetScale> offsets(19);
  offsets[4] = {4, 4, 1};
  CascadeStage stage = calibrationOf(constantNet(24, outputs), offsets);
  CandidateList list = oneBox(20, 20, 24, 24);
  calibrateCandidates(stage, noiseImage(100, 100, 1), list);
  EXPECT_THAT(boxOf(list.candidates[0]), ElementsAre(16, 16, 24, 24));
}

// Raw outputs stand in for probabilities, to have exact values.
std::vector<int> calibratedByRawOutputs(const std::vector<float>& outputs) {
  FlatNet net;
  net.height = net.width = 24;
  net.bias = outputs;
  net.softmax = false;
  std::vector<OffsetScale> offsets;
  for (std::size_t k = 0; k < outputs.size(); ++k) {
    offsets.push_back({static_cast<int>(k) + 1, 0, 1});
  }
  CascadeStage stage = calibrationOf(net, offsets);
  CandidateList list = oneBox(60, 60, 24, 24);
  calibrateCandidates(stage, noiseImage(100, 100, 1), list);
  return boxOf(list.candidates[0]);
}

TEST(CalibrateCandidates, MovesABoxWhenTheBestOutputIsExactlyATenth) {
  EXPECT_THAT(calibratedByRawOutputs({0.05F, 0.1F}), ElementsAre(58, 60, 24, 24));
  EXPECT_THAT(calibratedByRawOutputs({0.05F, std::nextafter(0.1F, 0.0F)}),
              ElementsAre(60, 60, 24, 24));
}

TEST(CalibrateCandidates, TakesTheFirstOfEqualOutputs) {
  for (int first = 0; first < 19; ++first) {
    std::vector<float> outputs(19, 0.25F);
    for (int k = 0; k < first; ++k) outputs[k] = 0.125F;
    EXPECT_THAT(calibratedByRawOutputs(outputs), ElementsAre(60 - (first + 1), 60, 24, 24));
  }
}

TEST(CalibrateCandidates, ChoosesByAbsoluteValue) {
  // -5 is the largest, and as it is below a tenth the box stays.
  EXPECT_THAT(calibratedByRawOutputs({0.9F, -5.0F, 0.2F}), ElementsAre(60, 60, 24, 24));
}

TEST(CalibrateCandidates, LeavesABoxAtTheLeftEdgeAloneAlsoInSize) {
  EXPECT_THAT(calibrated({4, 0, kLarger}, 0, 20, 24, 24), ElementsAre(0, 20, 24, 24));
  EXPECT_THAT(calibrated({0, 4, kLarger}, 20, 0, 24, 24), ElementsAre(20, 0, 24, 24));
}

TEST(CalibrateCandidates, LeavesABoxAtTheRightEdgeAloneWhenItWouldGrow) {
  // 24 * 12 / 11 = 26.18.
  EXPECT_THAT(calibrated({0, 0, kLarger}, 76, 20, 24, 24), ElementsAre(76, 20, 24, 24));
  EXPECT_THAT(calibrated({0, 0, kLarger}, 20, 76, 24, 24), ElementsAre(20, 76, 24, 24));
  // It is the new size, 26, that has to find room.
  EXPECT_THAT(calibrated({0, 0, kLarger}, 74, 20, 24, 24), ElementsAre(74, 20, 24, 24));
  EXPECT_THAT(calibrated({0, 0, kLarger}, 20, 74, 24, 24), ElementsAre(20, 74, 24, 24));
  EXPECT_THAT(calibrated({0, 0, kLarger}, 73, 73, 24, 24), ElementsAre(73, 73, 26, 26));
}

TEST(CalibrateCandidates, NeedsOnePixelBeyondTheNewBox) {
  // Moved right by 4 to a right edge of 100, that of the image; then to 99.
  EXPECT_THAT(calibrated({-4, 0, 1}, 72, 20, 24, 24), ElementsAre(72, 20, 24, 24));
  EXPECT_THAT(calibrated({-4, 0, 1}, 71, 20, 24, 24), ElementsAre(75, 20, 24, 24));
  EXPECT_THAT(calibrated({0, -4, 1}, 20, 72, 24, 24), ElementsAre(20, 72, 24, 24));
  EXPECT_THAT(calibrated({0, -4, 1}, 20, 71, 24, 24), ElementsAre(20, 75, 24, 24));
  // The same at the left: 0 is inside.
  EXPECT_THAT(calibrated({4, 4, 1}, 4, 4, 24, 24), ElementsAre(0, 0, 24, 24));
  EXPECT_THAT(calibrated({4, 4, 1}, 3, 4, 24, 24), ElementsAre(3, 4, 24, 24));
}

TEST(CalibrateCandidates, TestsColumnsForXAndRowsForY) {
  // Wide and low: x may go where y may not.
  EXPECT_THAT(calibrated({-4, 0, 1}, 150, 10, 24, 24, /*columns=*/200, /*rows=*/50),
              ElementsAre(154, 10, 24, 24));
  EXPECT_THAT(calibrated({-4, 0, 1}, 10, 150, 24, 24, /*columns=*/50, /*rows=*/200),
              ElementsAre(14, 150, 24, 24));
}

TEST(CalibrateCandidates, DoesNothingWithAnEmptyTable) {
  CascadeStage stage = calibrationOf(constantNet(24, {0.2, 0.8}), {});
  CandidateList list = oneBox(20, 20, 24, 24);
  calibrateCandidates(stage, noiseImage(100, 100, 1), list);
  EXPECT_THAT(boxOf(list.candidates[0]), ElementsAre(20, 20, 24, 24));
}

TEST(CalibrateCandidates, LooksAtNoMoreEntriesThanOutputs) {
  std::vector<OffsetScale> offsets(19, OffsetScale{8, 8, 1});
  offsets[2] = {4, 4, 1};
  CascadeStage stage = calibrationOf(constantNet(24, {0.1, 0.1, 0.8}), offsets);
  CandidateList list = oneBox(20, 20, 24, 24);
  calibrateCandidates(stage, noiseImage(100, 100, 1), list);
  EXPECT_THAT(boxOf(list.candidates[0]), ElementsAre(16, 16, 24, 24));
}

TEST(CalibrateCandidates, LooksAtNoMoreOutputsThanEntries) {
  CascadeStage stage = calibrationOf(constantNet(24, {0.15, 0.05, 0.8}), {{4, 4, 1}, {8, 8, 1}});
  CandidateList list = oneBox(20, 20, 24, 24);
  calibrateCandidates(stage, noiseImage(100, 100, 1), list);
  EXPECT_THAT(boxOf(list.candidates[0]), ElementsAre(16, 16, 24, 24));
}

TEST(CalibrateCandidates, IgnoresAnEntryWhoseScaleIsZeroOrBelow) {
  EXPECT_THAT(calibrated({0, 0, 0.0F}, 20, 20, 24, 24), ElementsAre(20, 20, 24, 24));
  EXPECT_THAT(calibrated({0, 0, -1.0F}, 20, 20, 24, 24), ElementsAre(20, 20, 24, 24));
}

TEST(CalibrateCandidates, StoresASideOfZero) {
  EXPECT_THAT(calibrated({0, 0, 30.0F}, 20, 20, 24, 40), ElementsAre(20, 20, 0, 1));
}

TEST(CalibrateCandidates, LeavesABoxAloneThatWouldBecomeSmallerThanAskedFor) {
  CascadeStage stage = calibrationOf(constantNet(24, {0.2, 0.8}), {{0, 0, 1}, {0, 0, 30.0F}});
  stage.least_side = 1;
  // 24 / 30 is cut to 0, 40 / 30 to 1.
  CandidateList list = {{{20, 20, 24, 40, 0, 0}, {20, 20, 40, 40, 0, 0}}, ""};
  calibrateCandidates(stage, noiseImage(100, 100, 1), list);
  EXPECT_THAT(boxOf(list.candidates[0]), ElementsAre(20, 20, 24, 40));
  EXPECT_THAT(boxOf(list.candidates[1]), ElementsAre(20, 20, 1, 1));
}

TEST(CalibrateCandidates, AppliesAnEntryOnceABoxAndEachBoxItsOwn) {
  // The second output wins where the first pixel is bright.
  FlatNet net = elementNet(24, 0, 0.1F);
  net.bias = {10, 0};
  CascadeStage stage = calibrationOf(net, {{0, 0, 1}, {4, 0, 1}});
  cv::Mat image = cv::Mat::zeros(100, 100, CV_8UC3);
  image.at<cv::Vec3b>(20, 20)[2] = 255;
  CandidateList list = {{{20, 20, 24, 24, 0, 0}, {40, 40, 24, 24, 0, 0}}, ""};
  calibrateCandidates(stage, image, list);
  EXPECT_THAT(boxOf(list.candidates[0]), ElementsAre(16, 20, 24, 24));
  EXPECT_THAT(boxOf(list.candidates[1]), ElementsAre(40, 40, 24, 24));
}

}  // namespace
