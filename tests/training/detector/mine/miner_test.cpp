// Which windows are cut, and how they are labelled.

#include "training/detector/mine/miner.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <functional>
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>
#include <set>
#include <string>
#include <vector>

#include "detector/cascade_driver.h"
#include "detector/pixel_planes.h"
#include "detector/stage_results.h"
#include "tests/temporary_folder.h"
#include "tests/training/detector/mine/group_photograph.h"
#include "training/common/photograph.h"
#include "training/common/search.h"
#include "training/detector/mine/overlap.h"

namespace detector_training {
namespace {

constexpr int kSecond = 1;
constexpr int kThird = 2;

// The score of a window by itself: the first network run on nothing but its 13 by 13 pixels.
float scoreAlone(oznalib::DetectorImpl& detector, const cv::Mat& pixels) {
  caffe::Net<float>& net = *detector.stages[0].net;
  net.AlterInputShape(pixels.cols, pixels.rows);
  oznalib::writePixelPlanes(pixels, *net.input_blobs()[0]);
  net.FF();
  return net.blob_by_name("probs")->cpu_data()[1];
}

TEST(Miner, CutsTheVeryPixelsThatTheFirstNetworkJudged) {
  oznalib::DetectorImpl detector;
  loadCascade(detector);
  MinerOptions options;
  options.target = kScan;
  options.negatives = 300;
  const View view{training::readPhotoRgb(kGroup), kGroupFaces};
  const auto windows = mineView(detector, view, options);
  int onFaces = 0;
  for (const Window& window : windows) {
    ASSERT_EQ(window.pixels.size(), cv::Size(13, 13));
    EXPECT_NEAR(scoreAlone(detector, window.pixels), window.label.score, 1e-4);
    onFaces += window.label.overlap >= 0.3F ? 1 : 0;
  }
  EXPECT_GE(onFaces, 30) << "several windows on each of nine faces";
  EXPECT_GT(windows.size(), 200U + onFaces);
}

TEST(Miner, CutsTheWindowsOfTheFirstNetworkAsALaterStageSeesThem) {
  oznalib::DetectorImpl detector;
  loadCascade(detector);
  MinerOptions options;
  options.target = kScan;
  options.negatives = 50;
  const View view{training::readPhotoRgb(kGroup), kGroupFaces};
  const auto windows = mineView(detector, view, options);
  options.side = 24;
  const auto later = mineView(detector, view, options);
  ASSERT_EQ(later.size(), windows.size());
  for (std::size_t i = 0; i < later.size(); ++i) {
    const WindowLabel& label = later[i].label;
    EXPECT_EQ(label.x, windows[i].label.x);
    EXPECT_EQ(label.y, windows[i].label.y);
    EXPECT_EQ(label.side, windows[i].label.side);
    const cv::Rect box(static_cast<int>(label.x), static_cast<int>(label.y),
                       static_cast<int>(label.side), static_cast<int>(label.side));
    cv::Mat expected;
    cv::resize(view.rgb(box), expected, cv::Size(24, 24));
    EXPECT_EQ(cv::norm(later[i].pixels, expected, cv::NORM_INF), 0);
  }
}

TEST(Miner, LabelsBoxesByTheirOverlapAndTheirFace) {
  oznalib::DetectorImpl detector;
  loadCascade(detector);
  MinerOptions options;
  options.target = kSecond;
  options.jittered = 3;
  options.floors = {0.3F};
  const View view{training::readPhotoRgb(kGroup), kGroupFaces};
  std::set<int> faces;
  for (const Window& window : mineView(detector, view, options)) {
    const WindowLabel& label = window.label;
    ASSERT_EQ(window.pixels.size(), cv::Size(24, 24));
    if (label.overlap < 0.3F) continue;
    faces.insert(static_cast<int>(label.face));
    const FaceSquare& face = kGroupFaces[static_cast<std::size_t>(label.face)];
    const auto side = static_cast<std::int32_t>(label.side);
    const oznalib::FaceCandidate box{
        static_cast<std::int32_t>(label.x), static_cast<std::int32_t>(label.y), side, side, 0, 0};
    EXPECT_FLOAT_EQ(label.overlap, static_cast<float>(overlap(box, face)));
    EXPECT_FLOAT_EQ(label.face_x, static_cast<float>(face.cx - face.side / 2));
    EXPECT_FLOAT_EQ(label.face_y, static_cast<float>(face.cy - face.side / 2));
    EXPECT_FLOAT_EQ(label.face_side, static_cast<float>(face.side));
  }
  EXPECT_EQ(faces.size(), kGroupFaces.size());
}

TEST(Miner, KeepsBadlyPlacedBoxesForTheThirdNetwork) {
  oznalib::DetectorImpl detector;
  loadCascade(detector);
  MinerOptions options;
  options.negatives = 0;
  options.jittered = 8;
  const View view{training::readPhotoRgb(kGroup), kGroupFaces};
  const auto least = [&](int target) {
    options.target = target;
    float overlap = 1;
    for (const Window& window : mineView(detector, view, options)) {
      overlap = std::min(overlap, window.label.overlap);
    }
    return overlap;
  };
  EXPECT_GE(least(kSecond), 0.3F);
  EXPECT_LT(least(kThird), 0.25F);
  EXPECT_GE(least(kThird), 0.15F);
}

// Sides and places of the boxes in their order, without their pixels and scores.
std::vector<std::array<float, 3>> placesOf(const std::vector<Window>& windows) {
  std::vector<std::array<float, 3>> places;
  for (const Window& window : windows) {
    places.push_back({window.label.x, window.label.y, window.label.side});
  }
  std::sort(places.begin(), places.end());
  return places;
}

TEST(Miner, CutsTheBoxesThatTheDriverHandsToAStage) {
  oznalib::DetectorImpl detector;
  const ozna_test::TemporaryFolder folder;
  writeFourStages(folder);
  loadCascade(detector, folder.path());
  MinerOptions options;
  options.target = 3;
  options.negatives = 1000000;
  const View view{training::readPhotoRgb(kGroup), {}};
  const auto windows = mineView(detector, view, options);
  ASSERT_FALSE(windows.empty());
  EXPECT_EQ(windows[0].pixels.rows, 48);
  oznalib::StageResults stages(4);
  oznalib::runCascade(detector, view.rgb, stages, training::kSearch);
  std::vector<std::array<float, 3>> expected;
  for (const oznalib::FaceCandidate& box : stages[2][0].candidates) {
    if (!(box.score > 0.8F)) continue;
    expected.push_back(
        {static_cast<float>(box.x), static_cast<float>(box.y), static_cast<float>(box.width)});
  }
  std::sort(expected.begin(), expected.end());
  EXPECT_EQ(placesOf(windows), expected);
  // Another side cuts the same boxes.
  options.side = 24;
  const auto small = mineView(detector, view, options);
  EXPECT_EQ(placesOf(small), expected);
  EXPECT_EQ(small[0].pixels.rows, 24);
}

TEST(Miner, LeavesIgnoredFacesOut) {
  oznalib::DetectorImpl detector;
  loadCascade(detector);
  MinerOptions options;
  options.target = kThird;
  options.negatives = 1000;
  options.floors = {0.3F, 0.3F};
  std::vector<FaceSquare> ignored = kGroupFaces;
  for (FaceSquare& face : ignored) face.ignore = true;
  const cv::Mat rgb = training::readPhotoRgb(kGroup);
  EXPECT_FALSE(mineView(detector, {rgb, kGroupFaces}, options).empty());
  for (const Window& window : mineView(detector, {rgb, ignored}, options)) {
    EXPECT_LT(window.label.ignored_overlap, 0.2F);
    EXPECT_EQ(window.label.overlap, 0);
  }
}

TEST(Miner, KeepsTheHardestNegativesOfTheTarget) {
  oznalib::DetectorImpl detector;
  loadCascade(detector);
  MinerOptions options;
  options.target = kSecond;
  options.floors = {0.3F};
  options.score_target = true;
  options.negatives = 1000000;
  const View view{training::readPhotoRgb(kGroup), {}};
  std::vector<float> all;
  for (const Window& window : mineView(detector, view, options)) all.push_back(window.label.score);
  std::sort(all.begin(), all.end(), std::greater<>());
  ASSERT_GT(all.size(), 20U);
  options.negatives = 10;
  std::vector<float> hardest;
  for (const Window& window : mineView(detector, view, options)) {
    hardest.push_back(window.label.score);
  }
  EXPECT_EQ(hardest, std::vector<float>(all.begin(), all.begin() + 10));
}

}  // namespace
}  // namespace detector_training
