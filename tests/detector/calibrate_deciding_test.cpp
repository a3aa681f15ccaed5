// The calibration that leaves out the boxes which decide nothing.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <random>
#include <vector>

#include "detector/stage_scoring.h"
#include "detector/suppression.h"
#include "tests/detector/handmade_cascade.h"

namespace {

using detector_test::boxOf;
using detector_test::calibrationOf;
using detector_test::constantNet;
using detector_test::FlatNet;
using detector_test::noiseImage;
using oznalib::CandidateList;
using oznalib::CascadeStage;
using oznalib::OffsetScale;
using testing::ElementsAre;

// The answer of a network of random weights hangs on the pixels of the box.
CascadeStage variedCalibration(const std::vector<OffsetScale>& offsets) {
  FlatNet net;
  net.height = net.width = 6;
  std::mt19937 random(9);
  std::normal_distribution<float> normal(0, 0.002F);
  net.bias.assign(offsets.size(), 0.0F);
  net.weights.resize(net.outputs() * net.inputs());
  std::generate(net.weights.begin(), net.weights.end(), [&] { return normal(random); });
  return calibrationOf(net, offsets);
}

// Boxes of few widths, of which some grow or shrink to others, with few different scores.
CandidateList crowdedList(unsigned seed) {
  std::mt19937 random(seed);
  const auto below = [&](unsigned bound) { return static_cast<int>(random() % bound); };
  const int widths[] = {22, 24, 26, 44, 48};
  CandidateList list;
  for (int i = 0; i < 12; ++i) {
    const int width = widths[below(5)];
    list.candidates.push_back(
        {below(45), below(45), width, width, static_cast<float>(below(9)) / 8, 0});
  }
  if (below(4) == 0) list.candidates[below(12)].score = std::nanf("");
  return list;
}

CandidateList suppressedAboveThreshold(const CandidateList& list, float threshold) {
  CandidateList result = oznalib::suppressBySize(list, 0.0F, 0.5F);
  keepAboveThreshold(result, threshold);
  return result;
}

TEST(CalibrateDeciding, LeavesTheSameBoxesInTheSameOrderAsCalibratingAll) {
  CascadeStage stage = variedCalibration(
      {{0, 0, 1}, {1, 0, 11.0F / 12}, {0, -1, 13.0F / 12}, {1, 1, 0.5F}, {-1, 1, 1}});
  const cv::Mat image = noiseImage(100, 100, 8);
  int saved = 0;
  int kept_to_order = 0;
  for (unsigned seed = 0; seed < 1500; ++seed) {
    SCOPED_TRACE(seed);
    const float threshold = seed % 3 == 0 ? 0.75F : 0.5F;
    CandidateList all = crowdedList(seed);
    CandidateList deciding = all;
    calibrateCandidates(stage, image, all);
    calibrateDeciding(stage, image, threshold, deciding);
    saved += static_cast<int>(all.candidates.size() - deciding.candidates.size());
    kept_to_order +=
        static_cast<int>(std::count_if(deciding.candidates.begin(), deciding.candidates.end(),
                                       [&](const auto& box) { return !(box.score > threshold); }));
    const CandidateList expected = suppressedAboveThreshold(all, threshold);
    const CandidateList actual = suppressedAboveThreshold(deciding, threshold);
    ASSERT_EQ(actual.candidates.size(), expected.candidates.size());
    for (std::size_t i = 0; i < expected.candidates.size(); ++i) {
      ASSERT_EQ(boxOf(actual.candidates[i]), boxOf(expected.candidates[i])) << i;
      ASSERT_EQ(actual.candidates[i].score, expected.candidates[i].score) << i;
    }
  }
  // Both happens: boxes are left out, and boxes below the threshold are needed for the order.
  EXPECT_GT(saved, 1500);
  EXPECT_GT(kept_to_order, 100);
}

TEST(CalibrateDeciding, RunsTheNetworkOnNoBoxThatDecidesNothing) {
  // A box outside the image would raise an exception.
  CascadeStage stage = calibrationOf(constantNet(4, {0.1, 0.9}), {{0, 0, 1}, {1, 0, 1}});
  CandidateList list = {{{4, 4, 8, 8, 0.9F, 0}, {90, 90, 8, 8, 0.5F, 0}}, "label"};
  calibrateDeciding(stage, noiseImage(20, 20, 1), 0.5F, list);
  ASSERT_EQ(list.candidates.size(), 1U);
  EXPECT_THAT(boxOf(list.candidates[0]), ElementsAre(2, 4, 8, 8));
  EXPECT_EQ(list.label, "label");
}

TEST(CalibrateDeciding, DoesNothingWithAnEmptyTable) {
  CascadeStage stage = calibrationOf(constantNet(4, {0.1, 0.9}), {});
  CandidateList list = {{{4, 4, 8, 8, 0.9F, 0}, {2, 2, 8, 8, 0.5F, 0}}, ""};
  calibrateDeciding(stage, noiseImage(20, 20, 1), 0.5F, list);
  EXPECT_EQ(list.candidates.size(), 2U);
}

}  // namespace
