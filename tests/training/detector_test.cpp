// The detector's training: data, views, windows, evaluation.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <nlohmann/json.hpp>
#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>
#include <set>
#include <string>

#include "detector/cascade_driver.h"
#include "detector/model_store.h"
#include "detector/pixel_planes.h"
#include "detector/stage_results.h"
#include "training/common/photograph.h"
#include "training/common/search.h"
#include "training/detector/mine/charts.h"
#include "training/detector/mine/evaluation.h"
#include "training/detector/mine/miner.h"
#include "training/detector/mine/overlap.h"
#include "training/detector/mine/photographs.h"
#include "training/detector/mine/views.h"
#include "training/detector/mine/window_file.h"

namespace {

using namespace detector_training;  // NOLINT: the whole file is about it.
using oznalib::FaceCandidate;
using testing::HasSubstr;

constexpr int kSecond = 1;
constexpr int kThird = 2;
const std::string kModels = OZNA_SOURCE_DIR "/public";
const std::string kGroup = OZNA_SOURCE_DIR "/samples/group.jpg";

// Squares around the nine faces of the group photograph, measured by eye to a few pixels.
const std::vector<FaceSquare> kGroupFaces{
    {856, 112, 74, false},  {376, 480, 66, false},  {616, 496, 80, false},
    {1164, 410, 66, false}, {182, 123, 120, false}, {900, 476, 140, false},
    {126, 525, 108, false}, {547, 178, 158, false}, {1137, 144, 130, false}};

void loadCascade(oznalib::DetectorImpl& detector) {
  const std::string root = kModels + "/";
  const char* folder = root.c_str();
  ASSERT_EQ(loadFromFiles(oznalib::DetectorParams(folder, "stages.txt"), detector),
            oznalib::StatusOk);
}

std::string emptyFolder(const std::string& name) {
  const std::string folder = testing::TempDir() + "/" + name;
  std::filesystem::remove_all(folder);
  std::filesystem::create_directories(folder);
  return folder;
}

TEST(DetectionPhotographs, AreReadLineByLine) {
  const std::string folder = emptyFolder("detection_photographs");
  std::filesystem::create_directories(folder + "/detection");
  std::ofstream(folder + "/detection/train.jsonl")
      << R"({"image": "train/a.jpg", "width": 40, "height": 30, "faces": [{"cx": 9.5, "cy": 8, "side": 6.25, "ignore": true}]})"
      << "\n\n"
      << R"({"image": "train/b.jpg", "width": 4, "height": 3, "faces": []})"
      << "\n";
  const auto photographs = readPhotographs(folder, "train");
  ASSERT_EQ(photographs.size(), 2U);
  EXPECT_EQ(photographs[0].path, folder + "/detection/train/a.jpg");
  EXPECT_EQ(photographs[0].width, 40);
  EXPECT_EQ(photographs[0].height, 30);
  ASSERT_EQ(photographs[0].faces.size(), 1U);
  EXPECT_EQ(photographs[0].faces[0].cx, 9.5);
  EXPECT_EQ(photographs[0].faces[0].cy, 8);
  EXPECT_EQ(photographs[0].faces[0].side, 6.25);
  EXPECT_TRUE(photographs[0].faces[0].ignore);
  EXPECT_TRUE(photographs[1].faces.empty());
}

TEST(DetectionPhotographs, NameTheLineThatCannotBeRead) {
  const std::string folder = emptyFolder("detection_bad");
  std::filesystem::create_directories(folder + "/detection");
  std::ofstream(folder + "/detection/dev.jsonl")
      << R"({"image": "a.jpg", "width": 4, "height": 3, "faces": []})"
      << "\n{\"image\": 1}\n";
  try {
    readPhotographs(folder, "dev");
    FAIL() << "a bad line was read";
  } catch (const std::runtime_error& error) {
    EXPECT_THAT(error.what(), HasSubstr("dev.jsonl:2: "));
  }
  EXPECT_THROW(readPhotographs(folder, "train"), std::runtime_error);
}

TEST(DetectionPhotographs, OfLandmarksHaveTheSquareOfTheirFace) {
  const std::string folder = emptyFolder("landmark_photographs");
  std::filesystem::create_directories(folder + "/landmarks");
  // 40 wide, 60 high: the height decides. 100 wide, 60 high: nine tenths of the width do.
  std::ofstream(folder + "/landmarks/train.jsonl")
      << R"({"image": "train/a.jpg", "width": 400, "height": 300, "points": [[10, 20], [50, 30], [30, 80]]})"
      << "\n"
      << R"({"image": "train/b.jpg", "width": 400, "height": 300, "points": [[10, 80], [110, 20]]})"
      << "\n";
  const auto photographs = readLandmarkPhotographs(folder, "train");
  ASSERT_EQ(photographs.size(), 2U);
  EXPECT_EQ(photographs[0].path, folder + "/landmarks/train/a.jpg");
  EXPECT_TRUE(photographs[0].backgroundUnknown);
  ASSERT_EQ(photographs[0].faces.size(), 1U);
  const FaceSquare& face = photographs[0].faces[0];
  EXPECT_DOUBLE_EQ(face.cx, 30.5);
  EXPECT_DOUBLE_EQ(face.cy, 80 - 0.675 * 60 + 0.5);
  EXPECT_DOUBLE_EQ(face.side, 1.18 * 60);
  EXPECT_FALSE(face.ignore);
  EXPECT_DOUBLE_EQ(photographs[1].faces[0].side, 1.18 * 0.9 * 100);
  EXPECT_THROW(readLandmarkPhotographs(folder, "dev"), std::runtime_error);
}

TEST(DetectionPhotographs, AreDividedByNameAlone) {
  std::vector<Photograph> here;
  std::vector<Photograph> there;
  for (int i = 0; i < 1000; ++i) {
    const std::string name = std::to_string(i) + ".jpg";
    here.push_back({"/here/" + name, 0, 0, {}});
    there.push_back({"/there/" + name, 0, 0, {}});
  }
  const auto held = takePart(here, Part::Held);
  const auto fit = takePart(here, Part::Fit);
  EXPECT_EQ(held.size() + fit.size(), here.size());
  EXPECT_GT(held.size(), 60U);
  EXPECT_LT(held.size(), 140U);
  std::set<std::string> names;
  for (const Photograph& photograph : held) names.insert(photograph.path.substr(6));
  for (const Photograph& photograph : fit) EXPECT_EQ(names.count(photograph.path.substr(6)), 0U);
  const auto heldThere = takePart(there, Part::Held);
  ASSERT_EQ(heldThere.size(), held.size());
  for (const Photograph& photograph : heldThere) {
    EXPECT_EQ(names.count(photograph.path.substr(7)), 1U);
  }
  EXPECT_EQ(takePart(here, Part::All).size(), here.size());
}

TEST(Overlap, IsIntersectionOverUnion) {
  // The box covers 0 to 10, the square 5 to 15: 5 * 5 shared of 100 + 100 - 25.
  EXPECT_DOUBLE_EQ(overlap({0, 0, 10, 10, 0, 0}, {10, 10, 10, false}), 25.0 / 175.0);
  EXPECT_DOUBLE_EQ(overlap({0, 0, 10, 10, 0, 0}, {5, 5, 10, false}), 1);
  EXPECT_DOUBLE_EQ(overlap({0, 0, 10, 10, 0, 0}, {15, 5, 10, false}), 0);
}

TEST(Overlap, LooksAmongCountedOrIgnoredFacesOnly) {
  const std::vector<FaceSquare> faces{{5, 5, 10, true}, {10, 10, 10, false}};
  const FaceCandidate box{0, 0, 10, 10, 0, 0};
  EXPECT_EQ(bestFace(box, faces, /*ignored=*/true).face, 0);
  EXPECT_EQ(bestFace(box, faces, /*ignored=*/true).overlap, 1);
  EXPECT_EQ(bestFace(box, faces, /*ignored=*/false).face, 1);
  EXPECT_EQ(bestFace({100, 100, 10, 10, 0, 0}, faces, false).face, -1);
}

// A dark picture with one bright disc, the "face".
cv::Mat discPicture(const FaceSquare& face) {
  cv::Mat picture(300, 400, CV_8UC3, cv::Scalar(20, 20, 20));
  cv::circle(picture, cv::Point2d(face.cx - 0.5, face.cy - 0.5), static_cast<int>(face.side / 2),
             cv::Scalar(220, 220, 220), cv::FILLED);
  return picture;
}

TEST(Views, TheFirstIsThePhotographItself) {
  const FaceSquare face{170, 120, 60, false};
  const cv::Mat picture = discPicture(face);
  const View view = makeView(picture, {face}, /*variant=*/0, /*seed=*/3);
  EXPECT_EQ(cv::norm(view.rgb, picture, cv::NORM_INF), 0);
  EXPECT_EQ(view.faces[0].cx, face.cx);
}

TEST(Views, SquaresFollowTheirPixels) {
  const FaceSquare face{170, 120, 60, false};
  const cv::Mat picture = discPicture(face);
  std::set<int> widths;
  for (int variant = 1; variant <= 60; ++variant) {
    const View view = makeView(picture, {face}, variant, /*seed=*/7);
    cv::Mat grey;
    cv::cvtColor(view.rgb, grey, cv::COLOR_RGB2GRAY);
    double darkest = 0;
    double lightest = 0;
    cv::minMaxLoc(grey, &darkest, &lightest);
    const cv::Moments moments =
        cv::moments(grey > 0.5 * (darkest + lightest), /*binaryImage=*/true);
    ASSERT_GT(moments.m00, 0) << "variant " << variant;
    const double side = std::sqrt(moments.m00 / (0.25 * CV_PI));
    EXPECT_NEAR(moments.m10 / moments.m00 + 0.5, view.faces[0].cx, 1.5) << "variant " << variant;
    EXPECT_NEAR(moments.m01 / moments.m00 + 0.5, view.faces[0].cy, 1.5) << "variant " << variant;
    EXPECT_NEAR(side, view.faces[0].side, 0.08 * side) << "variant " << variant;
    widths.insert(view.rgb.cols);
  }
  EXPECT_GT(widths.size(), 5U) << "views are cut and rescaled";
}

TEST(Views, AQuarterLiesInDeepShadeAndStaysInRange) {
  const cv::Mat picture(200, 200, CV_8UC3, cv::Scalar(200, 200, 200));
  int shaded = 0;
  std::set<int> lights;
  for (int variant = 1; variant <= 200; ++variant) {
    const View view = makeView(picture, {}, variant, /*seed=*/11);
    const cv::Scalar mean = cv::mean(view.rgb);
    const double light = (mean[0] + mean[1] + mean[2]) / 3;
    EXPECT_GT(light, 0.15 * 200 * 0.8) << "variant " << variant;
    if (light > 150) continue;  // Gamma alone leaves more of 200.
    ++shaded;
    lights.insert(static_cast<int>(light));
  }
  EXPECT_GT(shaded, 25);
  EXPECT_LT(shaded, 75);
  EXPECT_GT(lights.size(), 15U) << "shade differs in depth";
}

TEST(Views, RepeatWithTheirSeed) {
  const FaceSquare face{170, 120, 60, false};
  const cv::Mat picture = discPicture(face);
  int differing = 0;
  for (int variant = 1; variant <= 10; ++variant) {
    const View one = makeView(picture, {face}, variant, 5);
    const View same = makeView(picture, {face}, variant, 5);
    const View other = makeView(picture, {face}, variant, 6);
    ASSERT_EQ(one.rgb.size(), same.rgb.size());
    EXPECT_EQ(cv::norm(one.rgb, same.rgb, cv::NORM_INF), 0);
    differing += one.rgb.size() != other.rgb.size() || cv::norm(one.rgb, other.rgb) > 0 ? 1 : 0;
  }
  EXPECT_GE(differing, 8);
}

TEST(Views, StepBackLeavesRoomAroundASmallerFace) {
  // A disc on the face's square: its centre of mass and its area tell where the face went.
  cv::Mat rgb(400, 300, CV_8UC3, cv::Scalar::all(0));
  cv::circle(rgb, {150, 180}, 100, cv::Scalar::all(255), cv::FILLED);
  std::set<int> sides;
  for (std::uint64_t seed = 0; seed < 20; ++seed) {
    View view{rgb.clone(), {{150.5, 180.5, 250, false}}};
    stepBack(view, seed);
    const FaceSquare& face = view.faces[0];
    sides.insert(static_cast<int>(face.side));
    EXPECT_GE(face.side, 27);
    EXPECT_LE(face.side, 121);
    EXPECT_GE(face.cx, 1.2 * face.side);
    EXPECT_GE(face.cy, 1.2 * face.side);
    EXPECT_LE(face.cx, view.rgb.cols - 1.2 * face.side);
    EXPECT_LE(face.cy, view.rgb.rows - 1.2 * face.side);
    cv::Mat grey;
    cv::cvtColor(view.rgb, grey, cv::COLOR_RGB2GRAY);
    const cv::Moments disc = cv::moments(grey);
    EXPECT_NEAR(disc.m10 / disc.m00 + 0.5, face.cx, 1);
    EXPECT_NEAR(disc.m01 / disc.m00 + 0.5, face.cy, 1);
    EXPECT_NEAR(std::sqrt(disc.m00 / 255 / 3.14159), 0.4 * face.side, 0.02 * face.side + 0.5);
  }
  EXPECT_GT(sides.size(), 10U);
}

TEST(WindowFile, HoldsPlanesInTheOrderOfANetwork) {
  const std::string prefix = emptyFolder("window_file") + "/some";
  Window window;
  window.pixels.create(2, 2, CV_8UC3);
  for (int i = 0; i < 12; ++i) window.pixels.data[i] = static_cast<std::uint8_t>(i);
  window.label.photograph = 4;
  window.label.overlap = 0.5F;
  window.label.faceSide = 0.25F;
  WindowFile file(prefix, 2);
  file.append({window});
  EXPECT_FALSE(std::filesystem::exists(prefix + ".json")) << "complete before it was closed";
  file.close();

  std::ifstream pixels(prefix + ".u8", std::ios::binary);
  const std::string bytes((std::istreambuf_iterator<char>(pixels)), {});
  EXPECT_EQ(bytes, std::string("\x02\x05\x08\x0b\x01\x04\x07\x0a\x00\x03\x06\x09", 12));
  std::ifstream labels(prefix + ".f32", std::ios::binary);
  std::vector<float> values(12);
  labels.read(reinterpret_cast<char*>(values.data()), 12 * sizeof(float));
  EXPECT_EQ(labels.peek(), EOF);
  EXPECT_EQ(values[0], 4);
  EXPECT_EQ(values[6], 0.5F);
  EXPECT_EQ(values[11], 0.25F);
  const auto description = nlohmann::json::parse(std::ifstream(prefix + ".json"));
  EXPECT_EQ(description["windows"], 1);
  EXPECT_EQ(description["side"], 2);
  EXPECT_EQ(description["label_values"], 12);
}

TEST(WindowFile, RefusesAFolderThatIsNotThere) {
  EXPECT_THROW(WindowFile("/nowhere/at/all", 2), std::runtime_error);
}

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
    const FaceSquare& face = kGroupFaces[static_cast<size_t>(label.face)];
    const auto side = static_cast<std::int32_t>(label.side);
    const FaceCandidate box{
        static_cast<std::int32_t>(label.x), static_cast<std::int32_t>(label.y), side, side, 0, 0};
    EXPECT_FLOAT_EQ(label.overlap, static_cast<float>(overlap(box, face)));
    EXPECT_FLOAT_EQ(label.faceX, static_cast<float>(face.cx - face.side / 2));
    EXPECT_FLOAT_EQ(label.faceY, static_cast<float>(face.cy - face.side / 2));
    EXPECT_FLOAT_EQ(label.faceSide, static_cast<float>(face.side));
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

// A copy of the built-in cascade whose second stage judges twice.
std::string fourStages() {
  std::string folder = emptyFolder("four_stages");
  std::filesystem::create_directory_symlink(kModels + "/cascades", folder + "/cascades");
  std::ofstream(folder + "/stages.txt") << "cascades/x16Net-demo 0.4\ncascades/x32Net 0.6\n"
                                           "cascades/x32Net 0.8\ncascades/x64Net 0.98\n";
  return folder;
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
  const std::string root = fourStages() + "/";
  const char* folder = root.c_str();
  ASSERT_EQ(loadFromFiles(oznalib::DetectorParams(folder, "stages.txt"), detector),
            oznalib::StatusOk);
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
  for (const FaceCandidate& box : stages[2][0].candidates) {
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
    EXPECT_LT(window.label.ignoredOverlap, 0.2F);
    EXPECT_EQ(window.label.overlap, 0);
  }
}

TEST(Miner, KeepsTheHardestNegativesOfTheTarget) {
  oznalib::DetectorImpl detector;
  loadCascade(detector);
  MinerOptions options;
  options.target = kSecond;
  options.floors = {0.3F};
  options.scoreTarget = true;
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

FaceResult foundFace(float score, double overlapWithFace) {
  FaceResult face;
  face.score = score;
  face.overlap = overlapWithFace;
  return face;
}

Measurement handMade() {
  Measurement measurement;
  measurement.photographs = 10;
  measurement.threshold = 0.98F;
  measurement.faces = {foundFace(0.99F, 0.8), foundFace(0.9F, 0.6), foundFace(0.5F, 0.7),
                       foundFace(-1, 0)};
  measurement.wrong = {{0, {0, 0, 9, 9, 0.95F, 0}}, {3, {0, 0, 9, 9, 0.6F, 0}}};
  return measurement;
}

TEST(Evaluation, CountsAboveAThreshold) {
  const OperatingPoint high = atThreshold(handMade(), 0.98F);
  EXPECT_DOUBLE_EQ(high.recall, 0.25);
  EXPECT_DOUBLE_EQ(high.wrongEach, 0);
  EXPECT_DOUBLE_EQ(high.meanOverlap, 0.8);
  const OperatingPoint low = atThreshold(handMade(), 0.55F);
  EXPECT_DOUBLE_EQ(low.recall, 0.5);
  EXPECT_DOUBLE_EQ(low.wrongEach, 0.2);
  EXPECT_DOUBLE_EQ(low.meanOverlap, 0.7);
}

TEST(Evaluation, FindsTheThresholdOfARate) {
  // None wrong: above 0.95 stands one face of four. One wrong in ten photographs: above 0.6, two.
  EXPECT_DOUBLE_EQ(atWrongEach(handMade(), 0.05).recall, 0.25);
  EXPECT_DOUBLE_EQ(atWrongEach(handMade(), 0.1).recall, 0.5);
  EXPECT_DOUBLE_EQ(atWrongEach(handMade(), 0.1).wrongEach, 0.1);
  EXPECT_DOUBLE_EQ(atWrongEach(handMade(), 0.5).recall, 0.75);
}

TEST(Evaluation, TellsHowManyOfTheBoxesOfAScoreAreFaces) {
  // From 0.5 to 0.95: faces of 0.5 and 0.9, a wrong box of 0.6; the wrong one of 0.95 is above, and nothing was missed at -1.
  const Reliability middle = reliabilityOf(handMade(), 0.5F, 0.95F);
  EXPECT_EQ(middle.boxes, 3);
  EXPECT_NEAR(middle.share, 2.0 / 3, 1e-12);
  EXPECT_NEAR(middle.meanScore, (0.5 + 0.9 + 0.6) / 3, 1e-6);
  const Reliability high = reliabilityOf(handMade(), 0.95F, 1);
  EXPECT_EQ(high.boxes, 2);
  EXPECT_NEAR(high.share, 0.5, 1e-12);
  EXPECT_EQ(reliabilityOf(handMade(), 0.1F, 0.2F).boxes, 0);
}

TEST(Evaluation, FollowsBoxesThroughAsManyStagesAsThereAre) {
  const Measurement measurement =
      measure(fourStages(), {{kGroup, 1280, 700, kGroupFaces}}, /*threads=*/1);
  ASSERT_EQ(measurement.judged.size(), 4U);
  EXPECT_GT(measurement.judged[2], measurement.judged[3]);
  EXPECT_EQ(measurement.threshold, 0.98F);
  EXPECT_DOUBLE_EQ(atThreshold(measurement, measurement.threshold).recall, 1);
  for (const FaceResult& face : measurement.faces) {
    EXPECT_EQ(face.reached, std::vector<bool>(4, true));
  }
}

TEST(Evaluation, FindsTheFacesOfTheGroup) {
  std::vector<FaceSquare> faces = kGroupFaces;
  faces[1].ignore = true;                           // Found, counts neither way.
  faces.push_back({640, 350, 100, false});          // Nobody there: missed.
  faces.push_back({856, 112, 0.04 * 1280, false});  // Too small to count.
  faces.erase(faces.begin() + 2);                   // A face that nobody annotated: wrong.
  const std::vector<Photograph> photographs{{kGroup, 1280, 700, faces}};
  const Measurement measurement = measure(kModels, photographs, /*threads=*/1);
  EXPECT_EQ(measurement.faces.size(), 8U);
  const OperatingPoint point = atThreshold(measurement, measurement.threshold);
  EXPECT_DOUBLE_EQ(point.recall, 7.0 / 8.0);
  EXPECT_DOUBLE_EQ(point.wrongEach, 1);
  EXPECT_GT(point.meanOverlap, 0.6);
  ASSERT_EQ(measurement.judged.size(), 3U);
  EXPECT_GT(measurement.judged[0], measurement.judged[1]);
  EXPECT_GT(measurement.judged[1], measurement.judged[2]);
  EXPECT_GE(measurement.judged[2], measurement.passed);
  EXPECT_GE(measurement.passed, 9);
  for (size_t i = 0; i < measurement.faces.size(); ++i) {
    const FaceResult& face = measurement.faces[i];
    const bool someone = face.face.cx != 640;
    ASSERT_EQ(face.reached.size(), 3U);
    EXPECT_EQ(face.reached[2], someone);
    EXPECT_TRUE(face.reached[0] && (face.reached[1] || !someone)) << "face " << i;
  }
  EXPECT_FALSE(drawRecallCurves({measurement}).empty());
  EXPECT_FALSE(drawReliability({measurement}).empty());
  EXPECT_FALSE(drawMisses(measurement, photographs, 10).empty());
  EXPECT_FALSE(drawWrong(measurement, photographs, 10).empty());
}

TEST(CompactCascade, FindsTheFacesOfTheSamplesAndNothingElse) {
  const std::string compact = kModels + "/compact";
  const Measurement group = measure(compact, {{kGroup, 1280, 700, kGroupFaces}}, /*threads=*/1);
  const OperatingPoint point = atThreshold(group, group.threshold);
  EXPECT_DOUBLE_EQ(point.recall, 1);
  EXPECT_DOUBLE_EQ(point.wrongEach, 0);
  // Of the other two the face's square is measured by eye, too.
  const std::string samples = OZNA_SOURCE_DIR "/samples/";
  for (const Photograph& photograph :
       {Photograph{samples + "astronaut.png", 512, 512, {{225, 115, 100, false}}, false},
        Photograph{samples + "grace_hopper.jpg", 512, 600, {{265, 215, 195, false}}, false}}) {
    const Measurement one = measure(compact, {photograph}, /*threads=*/1);
    EXPECT_DOUBLE_EQ(atThreshold(one, one.threshold).recall, 1) << photograph.path;
    EXPECT_DOUBLE_EQ(atThreshold(one, one.threshold).wrongEach, 0) << photograph.path;
  }
}

TEST(Evaluation, RefusesAFolderWithoutAModel) {
  EXPECT_THROW(measure(emptyFolder("no_model"), {}, 1), std::runtime_error);
}

}  // namespace
