// The scan by the first network: places of the cells, the flat correction of its first layer, the
// end of the pyramid, and the guard of its memory.

#include "detector/dense_stage.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstddef>
#include <opencv2/imgproc.hpp>
#include <random>
#include <string>
#include <vector>

#include "tests/detector/handmade_cascade.h"

namespace {

using detector_test::boxOf;
using detector_test::DenseNet;
using detector_test::logistic;
using detector_test::noiseImage;
using oznalib::CandidateList;
using oznalib::CascadeParameter;
using oznalib::CascadeStage;
using oznalib::FaceCandidate;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

CascadeParameter scanParameter(int levels, float factor, int window_size) {
  return {/*maxUpscale=*/1, /*maxImageSide=*/1, /*minFaceFraction=*/1, levels,
          factor,           window_size};
}

// Kernel and stride are free, every weight is 0: for tests that look at places alone.
CascadeStage blindStage(int side, int kernel, int stride) {
  DenseNet net;
  net.height = net.width = side;
  net.kernel = kernel;
  net.stride = stride;
  net.weights.assign(2 * 3 * kernel * kernel, 0.0F);
  net.bias = {0, 0};
  return net.stage();
}

// Face score of a pixel at construction size: plane 1 minus plane 0 is 0.01 * byte 2 - 0.5; see
// FlatCorrection below.
DenseNet pixelNet(int height, int width) {
  DenseNet net;
  net.height = height;
  net.width = width;
  net.weights = {0, 0, 0, 0.01F, 0, 0};
  net.bias = {0.5F, -0.25F};
  return net;
}

cv::Mat blackImage(int height, int width) { return cv::Mat::zeros(height, width, CV_8UC3); }

std::vector<int> lefts(const CandidateList& list) {
  std::vector<int> result;
  for (const FaceCandidate& candidate : list.candidates) result.push_back(candidate.x);
  return result;
}

std::vector<int> levels(const CandidateList& list) {
  std::vector<int> result;
  for (const FaceCandidate& candidate : list.candidates) result.push_back(candidate.level);
  return result;
}

// The responses of the two planes to 100 are 0.5 and 1 - 0.25 = 0.75. At construction size each
// plane gets its own, so plane 0 is 0.5 + 0.5 and plane 1 is 0.01 * v - 0.25 + 0.75.
TEST(FlatCorrection, AddsEachPlanesOwnResponseAtConstructionSize) {
  CascadeStage stage = pixelNet(8, 8).stage();
  cv::Mat image = blackImage(8, 8);
  image.at<cv::Vec3b>(0, 3)[2] = 200;
  const CandidateList list = scanDenseStage(stage, image, scanParameter(1, 1.26F, 1));
  ASSERT_EQ(list.candidates.size(), 64U);
  EXPECT_NEAR(list.candidates[0].score, logistic(0.5 - 1.0), 1e-6);
  EXPECT_NEAR(list.candidates[3].score, logistic(2.0 + 0.5 - 1.0), 1e-6);
}

// At 4 by 4, plane 1 stands at entries 16 to 31 of the flat correction, which belong to plane 0 at
// construction size: it gets 0.5 in place of 0.75.
TEST(FlatCorrection, ReachesASmallerMapByFlatIndexAndNotByPlane) {
  CascadeStage stage = pixelNet(8, 8).stage();
  cv::Mat image = blackImage(4, 4);
  image.at<cv::Vec3b>(3, 3)[2] = 200;
  const CandidateList list = scanDenseStage(stage, image, scanParameter(1, 1.26F, 1));
  ASSERT_EQ(list.candidates.size(), 16U);
  EXPECT_NEAR(list.candidates[0].score, logistic(0.25 - 1.0), 1e-6);
  EXPECT_NEAR(list.candidates[15].score, logistic(2.0 + 0.25 - 1.0), 1e-6);
}

// At 6 rows of 8, plane 1 stands at entries 48 to 95: its first 16 cells get 0.5, the rest 0.75.
TEST(FlatCorrection, MayChangeWithinOneMap) {
  CascadeStage stage = pixelNet(8, 8).stage();
  const CandidateList list = scanDenseStage(stage, blackImage(6, 8), scanParameter(1, 1.26F, 1));
  ASSERT_EQ(list.candidates.size(), 48U);
  EXPECT_NEAR(list.candidates[15].score, logistic(0.25 - 1.0), 1e-6);
  EXPECT_NEAR(list.candidates[16].score, logistic(0.5 - 1.0), 1e-6);
}

TEST(ScanDenseStage, FeedsBytesInReverseOrder) {
  cv::Mat image = blackImage(4, 4);
  image.at<cv::Vec3b>(0, 0) = cv::Vec3b(10, 20, 30);
  for (int plane = 0; plane < 3; ++plane) {
    SCOPED_TRACE(plane);
    DenseNet net = pixelNet(4, 4);
    net.weights.assign(6, 0.0F);
    net.weights[3 + plane] = 0.01F;
    CascadeStage stage = net.stage();
    const CandidateList list = scanDenseStage(stage, image, scanParameter(1, 1.26F, 1));
    const double byte = 10.0 * (3 - plane);
    EXPECT_NEAR(list.candidates[0].score, logistic(0.01 * byte + 0.5 - 1.0), 1e-6);
  }
}

TEST(ScanDenseStage, MakesACandidateOfEveryCellRowByRow) {
  CascadeStage stage = blindStage(16, 4, 4);
  const CandidateList list = scanDenseStage(stage, blackImage(12, 16), scanParameter(1, 2.0F, 4));
  // 4 by 3 cells over positions 0 to 11 and 0 to 7: 11/3 is 3.67, 22/3 is 7.33. 7/2 would be taken
  // up to 4, but the step 2/7 is no float: the next one, 0.28571430, is above it, and 1 over that
  // falls short of 3.5.
  ASSERT_EQ(list.candidates.size(), 12U);
  const int columns[] = {0, 4, 7, 11};
  const int rows[] = {0, 3, 7};
  for (int i = 0; i < 12; ++i) {
    EXPECT_THAT(boxOf(list.candidates[i]), ElementsAre(columns[i % 4], rows[i / 4], 4, 4));
    EXPECT_EQ(list.candidates[i].score, 0.5F);
    EXPECT_EQ(list.candidates[i].level, 0);
  }
}

TEST(ScanDenseStage, PutsTheLastOfTwoCellsOnTheLastPosition) {
  // 14 columns less a window of 3 less 1: positions 0 to 10.
  CascadeStage stage = blindStage(14, 4, 10);
  const CandidateList list = scanDenseStage(stage, blackImage(14, 14), scanParameter(1, 2.0F, 3));
  EXPECT_THAT(lefts(list), ElementsAre(0, 10, 0, 10));
}

TEST(ScanDenseStage, ScalesPlacesAndSizesToTheWorkingImageAndCutsThem) {
  CascadeStage stage = blindStage(60, 13, 14);
  const CandidateList list = scanDenseStage(stage, blackImage(60, 60), scanParameter(2, 1.5F, 13));
  // Level 0: (60 - 13) / 14 + 1 = 4 cells over 0 to 46. Level 1, 40 by 40: 2 cells over 0 to 26.
  ASSERT_EQ(list.candidates.size(), 16U + 4U);
  EXPECT_THAT(boxOf(list.candidates[0]), ElementsAre(0, 0, 13, 13));
  EXPECT_THAT(boxOf(list.candidates[15]), ElementsAre(46, 46, 13, 13));
  EXPECT_THAT(boxOf(list.candidates[16]), ElementsAre(0, 0, 19, 19));
  EXPECT_THAT(boxOf(list.candidates[19]), ElementsAre(39, 39, 19, 19));
  EXPECT_EQ(list.candidates[15].level, 0);
  EXPECT_EQ(list.candidates[16].level, 1);
}

TEST(ScanDenseStage, CutsAPlaceInTheLevelBeforeItIsScaled) {
  // Level 1 is 20 by 20: 4 cells over positions 0 to 11, the third at 7.33. Cut to 7, times 1.5 is
  // 10.5; scaled before the cut it would be 11.
  CascadeStage stage = blindStage(30, 2, 6);
  const CandidateList list = scanDenseStage(stage, blackImage(30, 30), scanParameter(2, 1.5F, 8));
  ASSERT_EQ(list.candidates.size(), 25U + 16U);
  EXPECT_THAT(boxOf(list.candidates[25 + 2]), ElementsAre(10, 0, 12, 12));
}

TEST(ScanDenseStage, UsesTheWorkingImageAloneForOneLevel) {
  CascadeStage stage = blindStage(16, 4, 4);
  const CandidateList list = scanDenseStage(stage, blackImage(16, 16), scanParameter(1, 1.1F, 4));
  EXPECT_THAT(levels(list), testing::Each(0));
  EXPECT_EQ(list.candidates.size(), 16U);
}

TEST(ScanDenseStage, FindsNothingForNoLevels) {
  CascadeStage stage = blindStage(16, 4, 4);
  EXPECT_THAT(scanDenseStage(stage, blackImage(16, 16), scanParameter(0, 2, 4)).candidates,
              IsEmpty());
  EXPECT_THAT(scanDenseStage(stage, blackImage(16, 16), scanParameter(-1, 2, 4)).candidates,
              IsEmpty());
}

TEST(ScanDenseStage, EndsAtAMapOfHeightOneAndKeepsEarlierLevels) {
  // 20 rows of 30: 2 by 3 cells. 13 rows of 20: 1 by 2 cells.
  CascadeStage stage = blindStage(30, 10, 10);
  const CandidateList list = scanDenseStage(stage, blackImage(20, 30), scanParameter(3, 1.5F, 5));
  EXPECT_THAT(levels(list), ElementsAre(0, 0, 0, 0, 0, 0));
}

TEST(ScanDenseStage, EndsAtAMapOfWidthOneAndKeepsEarlierLevels) {
  CascadeStage stage = blindStage(30, 10, 10);
  const CandidateList list = scanDenseStage(stage, blackImage(30, 20), scanParameter(3, 1.5F, 5));
  EXPECT_THAT(levels(list), ElementsAre(0, 0, 0, 0, 0, 0));
}

TEST(ScanDenseStage, FindsNothingOnAWorkingImageWithAMapOfOneCell) {
  CascadeStage stage = blindStage(30, 10, 10);
  EXPECT_THAT(scanDenseStage(stage, blackImage(10, 10), scanParameter(3, 1.5F, 5)).candidates,
              IsEmpty());
}

TEST(ScanDenseStage, EndsAtALevelNotWiderThanTheWindowAndOne) {
  CascadeStage stage = blindStage(30, 1, 1);
  const cv::Mat square = blackImage(30, 30);
  // Level 1 is 15 by 15. The map would have cells enough.
  EXPECT_EQ(scanDenseStage(stage, square, scanParameter(2, 2, 14)).candidates.size(), 900U);
  EXPECT_EQ(scanDenseStage(stage, square, scanParameter(2, 2, 13)).candidates.size(), 900U + 225U);
  // Either side ends it.
  EXPECT_EQ(scanDenseStage(stage, blackImage(20, 30), scanParameter(2, 2, 9)).candidates.size(),
            600U);
  EXPECT_EQ(scanDenseStage(stage, blackImage(30, 20), scanParameter(2, 2, 9)).candidates.size(),
            600U);
}

TEST(ScanDenseStage, PutsEveryCellAtTheEdgeWhereTheImageLeavesNoPositions) {
  // Side 14 less a window of 13 less 1 is 0: the step is infinite. Level 0 has no test of its size.
  CascadeStage stage = blindStage(14, 1, 4);
  const CandidateList list = scanDenseStage(stage, blackImage(14, 14), scanParameter(1, 2, 13));
  ASSERT_EQ(list.candidates.size(), 16U);
  for (const FaceCandidate& candidate : list.candidates) {
    EXPECT_THAT(boxOf(candidate), ElementsAre(0, 0, 13, 13));
  }
}

TEST(ScanDenseStage, GivesTheSameForTheSameImageAfterOtherSizes) {
  CascadeStage stage = pixelNet(16, 16).stage();
  const cv::Mat image = noiseImage(11, 13, 5);
  const CandidateList first = scanDenseStage(stage, image, scanParameter(2, 1.2F, 2));
  scanDenseStage(stage, noiseImage(16, 16, 6), scanParameter(1, 1.2F, 2));
  const CandidateList second = scanDenseStage(stage, image, scanParameter(2, 1.2F, 2));
  ASSERT_EQ(first.candidates.size(), second.candidates.size());
  for (std::size_t i = 0; i < first.candidates.size(); ++i) {
    EXPECT_EQ(first.candidates[i].score, second.candidates[i].score);
  }
}

TEST(ScanDenseStage, ReadsOnlyTheViewItIsGiven) {
  CascadeStage stage = pixelNet(8, 8).stage();
  const cv::Mat whole = noiseImage(20, 20, 9);
  const cv::Mat view = whole(cv::Rect(5, 7, 8, 8));
  const CandidateList of_view = scanDenseStage(stage, view, scanParameter(1, 2, 1));
  const CandidateList of_copy = scanDenseStage(stage, view.clone(), scanParameter(1, 2, 1));
  for (std::size_t i = 0; i < 64; ++i) {
    EXPECT_EQ(of_view.candidates[i].score, of_copy.candidates[i].score);
  }
}

// The slow reference: every cell by the defining sums, in double.

// image  Null for one that is 100 everywhere.
double response(const DenseNet& net, int plane, const cv::Mat* image, int row, int column) {
  double sum = net.bias[plane];
  for (int channel = 0; channel < 3; ++channel) {
    for (int y = 0; y < net.kernel; ++y) {
      for (int x = 0; x < net.kernel; ++x) {
        const double value =
            image == nullptr
                ? 100.0
                : image->at<cv::Vec3b>(row * net.stride + y, column * net.stride + x)[2 - channel];
        const int weight = ((plane * 3 + channel) * net.kernel + y) * net.kernel + x;
        sum += net.weights[weight] * value;
      }
    }
  }
  return sum;
}

std::vector<FaceCandidate> slowScan(const DenseNet& net, const cv::Mat& working,
                                    const CascadeParameter& parameter) {
  const int built_cells =
      ((net.height - net.kernel) / net.stride + 1) * ((net.width - net.kernel) / net.stride + 1);
  std::vector<FaceCandidate> cells;
  for (int level = 0; level < parameter.pyramidLevels; ++level) {
    float f = 1;
    if (level == 1) f = parameter.pyramidFactor;
    if (level == 2) f = parameter.pyramidFactor * parameter.pyramidFactor;
    if (level > 2) f = powf(parameter.pyramidFactor, static_cast<float>(level));
    cv::Mat image = working;
    if (level > 0) {
      const int w = static_cast<int>(static_cast<float>(working.cols) / f);
      const int h = static_cast<int>(static_cast<float>(working.rows) / f);
      if (w <= parameter.windowSize + 1 || h <= parameter.windowSize + 1) break;
      cv::resize(working, image, cv::Size(w, h), 0, 0, cv::INTER_LINEAR);
    }
    const int W = (image.cols - net.kernel) / net.stride + 1;
    const int H = (image.rows - net.kernel) / net.stride + 1;
    if (W < 2 || H < 2) break;
    for (int i = 0; i < W * H; ++i) {
      const int column = i % W;
      const int row = i / W;
      const float step_x =
          static_cast<float>(W - 1) / static_cast<float>(image.cols - parameter.windowSize - 1);
      const float step_y =
          static_cast<float>(H - 1) / static_cast<float>(image.rows - parameter.windowSize - 1);
      const int x = static_cast<int>(static_cast<float>(column) / step_x + 0.5F);
      const int y = static_cast<int>(static_cast<float>(row) / step_y + 0.5F);
      double scores[2];
      for (int plane = 0; plane < 2; ++plane) {
        const int corrected_as = (plane * W * H + i) / built_cells;
        scores[plane] =
            response(net, plane, &image, row, column) + response(net, corrected_as, nullptr, 0, 0);
      }
      const int side = static_cast<int>(static_cast<float>(parameter.windowSize) * f);
      cells.push_back({static_cast<int>(static_cast<float>(x) * f),
                       static_cast<int>(static_cast<float>(y) * f), side, side,
                       static_cast<float>(logistic(scores[1] - scores[0])), level});
    }
  }
  return cells;
}

DenseNet randomNet(std::mt19937& engine, int height, int width) {
  std::uniform_real_distribution<float> weight(-0.003F, 0.003F);
  DenseNet net;
  net.height = height;
  net.width = width;
  net.kernel = 1 + static_cast<int>(engine() % 6);
  net.stride = 1 + static_cast<int>(engine() % 4);
  for (int i = 0; i < 6 * net.kernel * net.kernel; ++i) net.weights.push_back(weight(engine));
  net.bias = {weight(engine) * 100, weight(engine) * 100};
  return net;
}

void expectSameCells(const std::vector<FaceCandidate>& cells,
                     const std::vector<FaceCandidate>& expected) {
  ASSERT_EQ(cells.size(), expected.size());
  for (std::size_t i = 0; i < cells.size(); ++i) {
    ASSERT_EQ(boxOf(cells[i]), boxOf(expected[i])) << "cell " << i;
    ASSERT_EQ(cells[i].level, expected[i].level) << "cell " << i;
    ASSERT_NEAR(cells[i].score, expected[i].score, 2e-5) << "cell " << i;
  }
}

TEST(ScanDenseStage, AgreesWithASlowReferenceOnRandomNetworksAndSizes) {
  for (unsigned seed = 1; seed <= 30; ++seed) {
    SCOPED_TRACE(testing::Message() << "seed " << seed);
    std::mt19937 engine(seed);
    const int height = 20 + static_cast<int>(engine() % 30);
    const int width = 20 + static_cast<int>(engine() % 30);
    const DenseNet net = randomNet(engine, height, width);
    CascadeStage stage = net.stage();
    // Also the construction size itself.
    const int rows = seed % 5 == 0 ? height : 16 + static_cast<int>(engine() % (height - 15));
    const int columns = seed % 5 == 0 ? width : 16 + static_cast<int>(engine() % (width - 15));
    const cv::Mat working = noiseImage(rows, columns, seed + 1000);
    const CascadeParameter parameter = scanParameter(
        4, 1.05F + static_cast<float>(engine() % 40) / 100.0F, 3 + static_cast<int>(engine() % 8));
    const std::vector<FaceCandidate> expected = slowScan(net, working, parameter);
    ASSERT_FALSE(expected.empty());
    expectSameCells(scanDenseStage(stage, working, parameter).candidates, expected);
  }
}

// Memory.

TEST(ScanDenseStage, TakesAnImageThatIsWiderThanTheNetworkButHasNoMorePixels) {
  std::mt19937 engine(3);
  DenseNet net = randomNet(engine, 20, 20);
  net.kernel = 2;
  net.stride = 2;
  net.weights.resize(24, 0.001F);
  CascadeStage stage = net.stage();
  const cv::Mat wide = noiseImage(8, 50, 4);
  const CascadeParameter parameter = scanParameter(1, 2, 3);
  expectSameCells(scanDenseStage(stage, wide, parameter).candidates,
                  slowScan(net, wide, parameter));
}

std::string errorsOfScan(CascadeStage& stage, const cv::Mat& working, CandidateList& list) {
  testing::internal::CaptureStderr();
  list = scanDenseStage(stage, working, scanParameter(3, 1.1F, 3));
  return testing::internal::GetCapturedStderr();
}

TEST(ScanDenseStage, RefusesAnImageOfMorePixelsThanTheNetworkAndSaysSo) {
  CascadeStage stage = blindStage(16, 2, 2);
  CandidateList list;
  const std::string errors = errorsOfScan(stage, blackImage(16, 17), list);
  EXPECT_THAT(list.candidates, IsEmpty());
  EXPECT_THAT(errors, HasSubstr("17 by 16 pixels"));
  EXPECT_THAT(errors, HasSubstr("256"));
}

TEST(ScanDenseStage, WorksAgainAfterARefusal) {
  CascadeStage stage = pixelNet(8, 8).stage();
  CandidateList list;
  errorsOfScan(stage, blackImage(40, 40), list);
  list = scanDenseStage(stage, blackImage(8, 8), scanParameter(1, 2, 1));
  ASSERT_EQ(list.candidates.size(), 64U);
  EXPECT_NEAR(list.candidates[63].score, logistic(0.5 - 1.0), 1e-6);
}

TEST(ScanDenseStage, RefusesAnImageThatFitsTheInputButNotTheLayersBehindIt) {
  // Built at 4 by 16, a kernel of 3 gives 2 by 14 cells; at 8 by 8, of as many pixels, 6 by 6.
  DenseNet net;
  net.height = 4;
  net.width = 16;
  net.kernel = 3;
  net.weights.assign(54, 0.0F);
  net.bias = {0, 0};
  CascadeStage stage = net.stage();
  CandidateList list;
  const std::string errors = errorsOfScan(stage, blackImage(8, 8), list);
  EXPECT_THAT(errors, HasSubstr("8 by 8 pixels"));
  // Two planes of 6 by 6 in the room of two planes of 2 by 14; the input holds all 64 pixels.
  EXPECT_THAT(errors, HasSubstr("blob \"conv\" would take 72 values and has room for 56:"));
  EXPECT_THAT(errors, testing::Not(HasSubstr("built for")));
  EXPECT_THAT(list.candidates, IsEmpty());
}

TEST(ScanDenseStage, RefusesAnImageWhosePixelCountOverflows) {
  CascadeStage stage = blindStage(16, 2, 2);
  // 3 * 65536 * 65536 is 0 in 32 bits. The pixels are never read: one row serves for all.
  std::vector<unsigned char> row(3 * 65536);
  const cv::Mat huge(65536, 65536, CV_8UC3, row.data(), 0);
  cv::Mat header = huge;
  header.step[0] = 0;
  CandidateList list;
  EXPECT_THAT(errorsOfScan(stage, header, list), HasSubstr("65536 by 65536 pixels"));
  EXPECT_THAT(list.candidates, IsEmpty());
}

TEST(ScanDenseStageDeathTest, NeedsABlobOfProbabilities) {
  CascadeStage stage;
  stage.net.reset(new caffe::Net<float>(
      caffe::FromText(), "input: \"data\" input_dim: 1 input_dim: 3 input_dim: 4 input_dim: 4"));
  EXPECT_DEATH(scanDenseStage(stage, blackImage(4, 4), scanParameter(1, 2, 1)),
               "no blob \"probs\"");
}

TEST(ScanDenseStageDeathTest, LeavesAFirstLayerOfAnotherKindToTheFastPath) {
  const std::string text =
      detector_test::inputText(8, 8) +
      "layers { name: \"pool\" type: POOLING bottom: \"data\" top: \"pool\""
      " pooling_param { kernel_size: 2 stride: 2 } }\n"
      "layers { name: \"conv\" type: CONVOLUTION bottom: \"pool\" top: \"probs\""
      " convolution_param { num_output: 2 kernel_size: 1 weight_filler { type: \"constant\" }"
      " bias_filler { type: \"constant\" } } }\n";
  CascadeStage stage;
  stage.net.reset(new caffe::Net<float>(caffe::FromText(), text));
  stage.net->FirstRun();
  EXPECT_DEATH(scanDenseStage(stage, blackImage(8, 8), scanParameter(1, 2, 1)),
               "First Layer Should be Conv Layer.");
}

}  // namespace
