// The trainer of the landmark model: its units by hand-worked numbers, and a whole small training
// on drawn faces.

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <nlohmann/json.hpp>
#include <numeric>
#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>
#include <random>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "alignment/align68_points.h"
#include "alignment/regression.h"
#include "ozna.h"
#include "training/alignment/charts.h"
#include "training/alignment/dataset.h"
#include "training/alignment/evaluation.h"
#include "training/alignment/face_boxes.h"
#include "training/alignment/model_trainer.h"
#include "training/alignment/model_writer.h"
#include "training/alignment/normal_equations.h"
#include "training/alignment/rectangles.h"
#include "training/alignment/sampler.h"
#include "training/alignment/shapes.h"
#include "training/common/parallel_for.h"
#include "training/common/photograph.h"

namespace alignment_training {
namespace {

/// A folder of its own below the temporary one, removed at the end.
class ScratchFolder {
 public:
  ScratchFolder() {
    std::string pattern = testing::TempDir() + "ozna_training_XXXXXX";
    path_ = mkdtemp(pattern.data());
  }
  ~ScratchFolder() {
    const std::string command = "rm -rf '" + path_ + "'";
    if (std::system(command.c_str()) != 0) ADD_FAILURE() << "cannot remove " << path_;
  }
  const std::string& path() const { return path_; }

 private:
  std::string path_;
};

void addPoint(Shape& shape, double x, double y) {
  shape.push_back(static_cast<float>(x));
  shape.push_back(static_cast<float>(y));
}

void addEllipse(Shape& shape, cv::Point2d centre, double a, double b, double from, double to,
                int count) {
  for (int i = 0; i < count; ++i) {
    const double angle = (from + (to - from) * i / (count - 1)) * CV_PI / 180;
    addPoint(shape, centre.x + a * std::cos(angle), centre.y + b * std::sin(angle));
  }
}

void addEye(Shape& shape, double centreX) {
  const double lids[6][2] = {{-0.18, 0}, {-0.07, -0.07}, {0.07, -0.07},
                             {0.18, 0},  {0.07, 0.07},   {-0.07, 0.07}};
  for (const auto& lid : lids) addPoint(shape, centreX + lid[0], lid[1]);
}

/// A face in units of half its width, middle of the eyes at the origin.
Shape templateFace(double mouthOpening) {
  Shape shape;
  addEllipse(shape, {0, 0}, 1.0, 1.25, 180, 0, 17);           // Jaw, over the chin.
  addEllipse(shape, {-0.45, -0.15}, 0.3, 0.15, 180, 360, 5);  // Brows.
  addEllipse(shape, {0.45, -0.15}, 0.3, 0.15, 180, 360, 5);
  for (int i = 0; i < 4; ++i) addPoint(shape, 0, 0.05 + 0.12 * i);  // Nose.
  addEllipse(shape, {0, 0.48}, 0.18, 0.06, 180, 0, 5);
  addEye(shape, -0.45);
  addEye(shape, 0.45);
  const double open = 0.1 + mouthOpening;
  addEllipse(shape, {0, 0.78}, 0.35, open, 180, 360, 7);  // Lips.
  addEllipse(shape, {0, 0.78}, 0.28, open, 30, 150, 5);
  addEllipse(shape, {0, 0.78}, 0.25, 0.5 * open, 180, 360, 5);
  addEllipse(shape, {0, 0.78}, 0.18, 0.5 * open, 30, 150, 3);
  return shape;
}

std::vector<cv::Point> polygon(const Shape& shape, int first, int last) {
  std::vector<cv::Point> points;
  for (int i = first; i <= last; ++i) {
    points.emplace_back(cvRound(16 * shape[2 * i]), cvRound(16 * shape[2 * i + 1]));
  }
  return points;
}

void fillPart(cv::Mat& picture, const Shape& shape, int first, int last, const cv::Scalar& ink) {
  cv::fillPoly(picture, std::vector<std::vector<cv::Point>>{polygon(shape, first, last)}, ink,
               cv::LINE_AA,
               /*shift=*/4);
}

void strokePart(cv::Mat& picture, const Shape& shape, int first, int last, const cv::Scalar& ink) {
  cv::polylines(picture, std::vector<std::vector<cv::Point>>{polygon(shape, first, last)},
                /*isClosed=*/false, ink, 2, cv::LINE_AA, /*shift=*/4);
}

struct DrawnFace {
  cv::Mat picture;
  Shape points;
};

DrawnFace drawFace(std::mt19937& random) {
  std::uniform_real_distribution<double> uniform(-1.0, 1.0);
  DrawnFace face;
  face.points = templateFace(0.05 + 0.05 * uniform(random));
  const double width = 40 + 8 * uniform(random);
  const double height = width * (1 + 0.1 * uniform(random));
  const double turn = 0.15 * uniform(random);
  const cv::Point2d centre(100 + 10 * uniform(random), 80 + 10 * uniform(random));
  for (int i = 0; i < kLandmarks; ++i) {
    const double x = width * face.points[2 * i];
    const double y = height * face.points[2 * i + 1];
    face.points[2 * i] = static_cast<float>(centre.x + std::cos(turn) * x - std::sin(turn) * y);
    face.points[2 * i + 1] = static_cast<float>(centre.y + std::sin(turn) * x + std::cos(turn) * y);
  }
  const double ground = 90 + 40 * uniform(random);
  face.picture = cv::Mat(200, 200, CV_8UC3, cv::Scalar(ground, ground, ground));
  const cv::Scalar skin(150 + 20 * uniform(random), 170, 210);
  cv::ellipse(face.picture,
              cv::RotatedRect(centre, cv::Size2f(2 * width, 2.5 * height), turn * 180 / CV_PI),
              skin, cv::FILLED, cv::LINE_AA);
  strokePart(face.picture, face.points, 17, 21, cv::Scalar(30, 40, 60));
  strokePart(face.picture, face.points, 22, 26, cv::Scalar(30, 40, 60));
  strokePart(face.picture, face.points, 27, 30, cv::Scalar(110, 130, 170));
  strokePart(face.picture, face.points, 31, 35, cv::Scalar(90, 100, 140));
  fillPart(face.picture, face.points, 36, 41, cv::Scalar(250, 250, 250));
  fillPart(face.picture, face.points, 42, 47, cv::Scalar(250, 250, 250));
  fillPart(face.picture, face.points, 48, 59, cv::Scalar(60, 50, 160));
  fillPart(face.picture, face.points, 60, 67, cv::Scalar(20, 20, 40));
  cv::Mat noise(face.picture.size(), CV_8UC3);
  for (int i = 0; i < 3 * noise.rows * noise.cols; ++i)
    noise.data[i] = static_cast<uchar>(random() % 9);
  face.picture += noise;
  return face;
}

/// Writes a data folder: folder/split.jsonl and its pictures. Every third face counts as tracked.
void drawDataset(const std::string& folder, const std::string& split, int count, unsigned seed) {
  std::mt19937 random(seed);
  std::ofstream list(folder + "/" + split + ".jsonl");
  for (int i = 0; i < count; ++i) {
    const DrawnFace face = drawFace(random);
    const std::string name = split + std::to_string(i) + ".png";
    ASSERT_TRUE(cv::imwrite(folder + "/" + name, face.picture));
    nlohmann::json points = nlohmann::json::array();
    for (int k = 0; k < kLandmarks; ++k)
      points.push_back({face.points[2 * k], face.points[2 * k + 1]});
    list << nlohmann::json{{"image", name},
                           {"quality", i % 3 == 2 ? "tracked" : "manual"},
                           {"points", points}}
                .dump()
         << '\n';
  }
}

std::string bytesOf(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

ModelOptions smallOptions(const std::vector<int>& levels) {
  ModelOptions options;
  options.stageLevels = levels;
  options.startsPerSample = 3;
  options.stage.folds = 1;
  options.stage.ridges = {0.3};
  options.stage.batchRows = 64;
  return options;
}

SamplerOptions smallSampler() {
  SamplerOptions options;
  options.manualVariants = 2;
  options.trackedVariants = 1;
  return options;
}

// ---------------------------------------------------------------------------------------- shapes

TEST(MirroredLandmark, PairsLeftWithRight) {
  EXPECT_EQ(mirroredLandmark(0), 16);   // Ends of the jaw.
  EXPECT_EQ(mirroredLandmark(8), 8);    // Chin.
  EXPECT_EQ(mirroredLandmark(17), 26);  // Outer ends of the brows.
  EXPECT_EQ(mirroredLandmark(30), 30);  // Tip of the nose.
  EXPECT_EQ(mirroredLandmark(31), 35);  // Nostrils.
  EXPECT_EQ(mirroredLandmark(36), 45);  // Outer corners of the eyes,
  EXPECT_EQ(mirroredLandmark(39), 42);  // inner corners,
  EXPECT_EQ(mirroredLandmark(41), 46);  // lower lids, outer point,
  EXPECT_EQ(mirroredLandmark(40), 47);  // lower lids, inner point.
  EXPECT_EQ(mirroredLandmark(48), 54);  // Corners of the mouth.
  EXPECT_EQ(mirroredLandmark(59), 55);
  EXPECT_EQ(mirroredLandmark(60), 64);
  EXPECT_EQ(mirroredLandmark(67), 65);
  EXPECT_EQ(mirroredLandmark(66), 66);
}

TEST(MirrorShape, OfASymmetricFaceIsTheFaceItself) {
  Shape face = templateFace(0.1);
  for (size_t i = 0; i < face.size(); i += 2) face[i] += 9.5F;  // Centred in 20 columns.
  const Shape mirrored = mirrorShape(face, 20);
  for (int i = 0; i < kCoordinates; ++i) EXPECT_NEAR(mirrored[i], face[i], 1e-5) << i;
}

TEST(MirrorShape, MovesTheFirstColumnToTheLast) {
  Shape shape(kCoordinates, 0.0F);
  shape[2 * 36] = 3.0F;
  const Shape mirrored = mirrorShape(shape, 10);
  EXPECT_EQ(mirrored[2 * 45], 6.0F);
  EXPECT_EQ(mirrored[2 * 36], 9.0F);
}

TEST(NormalisedError, IsTheMeanDistanceOverTheOuterEyeDistance) {
  Shape truth(kCoordinates, 0.0F);
  truth[2 * 45] = 30.0F;  // The outer corners are 30 and 40 apart: 50.
  truth[2 * 45 + 1] = 40.0F;
  Shape found = truth;
  found[0] += 3.0F;  // One point of 68 is 5 off.
  found[1] -= 4.0F;
  EXPECT_FLOAT_EQ(normalisedError(found, truth), 5.0F / 68 / 50);
}

// ------------------------------------------------------------------------------------ rectangles

TEST(ConventionSquare, SpansFromAboveTheBrowsToTheChin) {
  Shape points(kCoordinates, 50.0F);
  points[0] = 10.0F;  // Width 80, from 10 to 90.
  points[2] = 90.0F;
  points[5] = 20.0F;  // Height 100, from 20 to 120.
  points[7] = 120.0F;
  const FaceRect square = conventionSquare(points);  // Side 118 about (50, 120 - 67.5).
  EXPECT_NEAR(square.left, -9.0F, 1e-4);
  EXPECT_NEAR(square.right, 109.0F, 1e-4);
  EXPECT_NEAR(square.top, -6.5F, 1e-4);
  EXPECT_NEAR(square.bottom, 111.5F, 1e-4);
}

TEST(ConventionSquare, OfAWideFaceFollowsTheWidth) {
  Shape points(kCoordinates, 50.0F);
  points[0] = 0.0F;  // Width 200 counts 180, more than the height of 100.
  points[2] = 200.0F;
  points[5] = 20.0F;
  points[7] = 120.0F;
  const FaceRect square = conventionSquare(points);
  EXPECT_NEAR(square.right - square.left, 212.4F, 1e-4);
}

TEST(JitterSquare, StaysASquareAndSpreadsAsAsked) {
  const unsigned seed = 5;
  SCOPED_TRACE(seed);
  std::mt19937_64 random(seed);
  const RectNoise noise{0.05F, 0.1F, 0.0F};
  double shift = 0;
  double growth = 0;
  constexpr int kDraws = 4000;
  for (int i = 0; i < kDraws; ++i) {
    const FaceRect rect = jitterSquare({0, 0, 100, 100}, noise, random);
    EXPECT_NEAR(rect.right - rect.left, rect.bottom - rect.top, 1e-3);
    shift += std::pow(0.005 * (rect.left + rect.right) - 0.5, 2);
    growth += std::pow(std::log((rect.right - rect.left) / 100), 2);
  }
  EXPECT_NEAR(std::sqrt(shift / kDraws), 0.05, 0.005);
  EXPECT_NEAR(std::sqrt(growth / kDraws), 0.1, 0.01);
}

TEST(Overlap, IsIntersectionOverUnion) {
  EXPECT_FLOAT_EQ(overlap({0, 0, 2, 2}, {1, 0, 3, 2}), 2.0F / 6);
  EXPECT_EQ(overlap({0, 0, 2, 2}, {2, 0, 4, 2}), 0.0F);
}

TEST(BestBox, IsTheOneThatOverlapsMost) {
  const std::vector<FaceRect> boxes{{0, 0, 5, 10}, {0, 0, 9, 10}, {20, 20, 30, 30}};
  const FaceRect* best = bestBox(boxes, {0, 0, 10, 10}, 0.35F);
  ASSERT_NE(best, nullptr);
  EXPECT_EQ(best->right, 9.0F);
  EXPECT_EQ(bestBox(boxes, {40, 40, 50, 50}, 0.35F), nullptr);
}

TEST(MirrorRect, SwapsTheEdges) {
  const FaceRect mirrored = mirrorRect({10, 5, 30, 25}, 100);
  EXPECT_EQ(mirrored.left, 70.0F);
  EXPECT_EQ(mirrored.right, 90.0F);
  EXPECT_EQ(mirrored.top, 5.0F);
}

TEST(ReadBoxes, KeysBoxesByPicture) {
  const ScratchFolder folder;
  const std::string path = folder.path() + "/boxes.jsonl";
  std::ofstream(path) << "{\"image\": \"a.jpg\", \"boxes\": [[1, 2, 3, 4], [5, 6, 7, 8.5]]}\n"
                         "{\"image\": \"b.jpg\", \"boxes\": []}\n";
  const BoxTable table = readBoxes(path);
  ASSERT_EQ(table.at("a.jpg").size(), 2U);
  EXPECT_EQ(table.at("a.jpg")[1].bottom, 8.5F);
  EXPECT_TRUE(table.at("b.jpg").empty());
  EXPECT_THROW(readBoxes(folder.path() + "/none.jsonl"), std::runtime_error);
}

// --------------------------------------------------------------------------------------- dataset

TEST(ReadLandmarkFaces, NamesTheLineOfADamagedRecord) {
  const ScratchFolder folder;
  drawDataset(folder.path(), "train", 1, /*seed=*/1);
  std::ofstream(folder.path() + "/train.jsonl", std::ios::app)
      << "{\"image\": \"x\", \"quality\": \"manual\", \"points\": [[1, 2]]}\n";
  try {
    readLandmarkFaces(folder.path(), "train");
    FAIL() << "accepted a face with one point";
  } catch (const std::runtime_error& error) {
    EXPECT_NE(std::string(error.what()).find("train.jsonl:2:"), std::string::npos) << error.what();
  }
}

TEST(ReadPhotoRgb, PutsRedFirst) {
  const ScratchFolder folder;
  ASSERT_TRUE(
      cv::imwrite(folder.path() + "/red.png", cv::Mat(2, 2, CV_8UC3, cv::Scalar(0, 0, 200))));
  EXPECT_EQ(training::readPhotoRgb(folder.path() + "/red.png").at<cv::Vec3b>(1, 1),
            cv::Vec3b(200, 0, 0));
}

// --------------------------------------------------------------------------------------- sampler

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
  const ScratchFolder folder;
  drawDataset(folder.path(), "train", 6, /*seed=*/2);
  const auto faces = readLandmarkFaces(folder.path(), "train");
  const auto one =
      makeTrainingSamples(folder.path(), faces, nullptr, smallSampler(), /*threads=*/1);
  const auto three =
      makeTrainingSamples(folder.path(), faces, nullptr, smallSampler(), /*threads=*/3);
  ASSERT_EQ(one.size(), 10U);  // Four faces by hand, twice; two tracked ones, once.
  ASSERT_EQ(three.size(), one.size());
  for (size_t i = 0; i < one.size(); ++i) {
    EXPECT_EQ(one[i].truth, three[i].truth);
    EXPECT_EQ(cv::norm(one[i].grey, three[i].grey, cv::NORM_INF), 0) << i;
  }
}

TEST(MakeTrainingSamples, StartFromDetectorBoxesWhereAsked) {
  const ScratchFolder folder;
  drawDataset(folder.path(), "train", 1, /*seed=*/2);
  const auto faces = readLandmarkFaces(folder.path(), "train");
  FaceRect box = conventionSquare(faces[0].points);
  box.right += 20;  // So the scaled face is smaller than under the square.
  box.bottom += 20;
  const BoxTable boxes{{faces[0].image, {box}}};
  SamplerOptions options = smallSampler();
  options.manualVariants = 1;
  options.rotatedShare = 0;
  options.boxShare = 1;
  options.noise = {0, 0, 0};
  const auto samples = makeTrainingSamples(folder.path(), faces, &boxes, options, 1);
  const AlignmentSample expected = makeSample(
      training::readPhotoRgb(folder.path() + "/" + faces[0].image), box, faces[0].points, 100);
  ASSERT_EQ(samples.size(), 1U);
  for (int i = 0; i < kCoordinates; ++i) EXPECT_NEAR(samples[0].truth[i], expected.truth[i], 0.01);
}

TEST(MakeTrainingSamples, CutThePhotographWhereAsked) {
  const ScratchFolder folder;
  drawDataset(folder.path(), "train", 1, /*seed=*/2);
  const auto faces = readLandmarkFaces(folder.path(), "train");
  SamplerOptions options = smallSampler();
  options.manualVariants = 1;
  options.rotatedShare = 0;
  options.noise = {0, 0, 0};
  // Columns of the photograph that the sample holds.
  options.croppedShare = 0;
  const auto whole = makeTrainingSamples(folder.path(), faces, nullptr, options, 1);
  options.croppedShare = 1;
  const auto cut = makeTrainingSamples(folder.path(), faces, nullptr, options, 1);
  ASSERT_EQ(cut.size(), 1U);
  const float columns_whole = static_cast<float>(whole[0].grey.cols) / whole[0].unitsX;
  const float columns_cut = static_cast<float>(cut[0].grey.cols) / cut[0].unitsX;
  EXPECT_LT(columns_cut, 0.95F * columns_whole);
}

TEST(ParallelFor, VisitsEachIndexOnceAndPassesOnFailures) {
  std::vector<int> visits(100);
  training::parallelFor(100, 3, [&](int index) { ++visits[index]; });
  EXPECT_EQ(visits, std::vector<int>(100, 1));
  EXPECT_THROW(training::parallelFor(10, 3,
                                     [](int index) {
                                       if (index == 4) throw std::runtime_error("four");
                                     }),
               std::runtime_error);
}

TEST(MakeRows, DrawsEveryStartSomewhereAndNoneTwiceForASample) {
  AlignmentSample sample;
  sample.grey = cv::Mat(150, 150, CV_8U, cv::Scalar(0));
  sample.box = {25, 25, 100, 110};
  sample.truth = Shape(kCoordinates, 70.0F);
  const std::vector<AlignmentSample> samples(40, sample);
  const Shape mean(kCoordinates, 0.5F);
  const RegressionRows rows = makeRows(samples, mean, /*starts=*/3, /*seed=*/1);
  ASSERT_EQ(rows.count(), 120U);
  std::set<std::pair<float, float>> all;
  for (int i = 0; i < 40; ++i) {
    std::set<std::pair<float, float>> own;
    for (int row = rows.firstRow[i]; row < rows.firstRow[i + 1]; ++row) {
      own.insert({rows.shape(row)[0], rows.shape(row)[1]});
    }
    EXPECT_EQ(own.size(), 3U);
    all.insert(own.begin(), own.end());
  }
  EXPECT_EQ(all.size(), 9U);
}

// ---------------------------------------------------------------------------- normal equations

TEST(NormalEquations, SolveRidgeRegression) {
  // X'X = [5 2; 2 2], X'Y = [5; 3]; with ridge 1: [6 2; 2 3] p = [5; 3], so p = (9/14, 8/14).
  const float x[] = {1, 1, 2, 0.5F, 0, 0.866025404F};
  const float y[] = {1, 2, 1.154700538F};
  NormalEquations equations(2, 1);
  equations.add(x, y, 2);
  equations.add(x + 4, y + 2, 1);
  EXPECT_NEAR(equations.meanDiagonal(), 3.5, 1e-6);
  const std::vector<float> solution = equations.solveInPlace(1.0);
  EXPECT_NEAR(solution[0], 9.0 / 14, 1e-5);
  EXPECT_NEAR(solution[1], 8.0 / 14, 1e-5);
}

TEST(NormalEquations, OfAllRowsLessAFoldAreThoseOfTheOthers) {
  const float x[] = {1, 2, 3, 4, 5, 7};
  const float y[] = {1, 0, 2};
  NormalEquations all(2, 1);
  all.add(x, y, 3);
  NormalEquations fold(2, 1);
  fold.add(x + 4, y + 2, 1);
  all.accumulate(fold, -1.0F);
  NormalEquations others(2, 1);
  others.add(x, y, 2);
  EXPECT_EQ(all.solveInPlace(0.5), others.solveInPlace(0.5));
}

TEST(NormalEquations, RefuseAMatrixThatHasNoFactor) {
  NormalEquations equations(2, 1);
  EXPECT_THROW(equations.solveInPlace(0.0), std::runtime_error);
}

// ----------------------------------------------------------------------------------- model files

TEST(WriteModel, WritesTheFieldsInOrderWithoutGaps) {
  oznalib::SDMModel model;
  model.auxMatrices.resize(1);
  model.stageBias.assign(1, mp::matrix(1, 1));
  model.stageBias[0].data[0] = 1.0F;
  model.meanShape = {0.5F};
  model.stageMaps.resize(1);
  model.stageLevels = {4, 3};
  const ScratchFolder folder;
  writeModel(model, folder.path() + "/m.sdm");
  const std::string matrixHeader(16, '\0');
  std::string bias = matrixHeader;
  bias[0] = bias[8] = 1;
  const std::string one("\x01\0\0\0", 4);
  const std::string expected = one + matrixHeader +                                 // aux
                               one + bias + std::string("\0\0\x80\x3f", 4) +        // bias
                               one + std::string("\0\0\0\x3f", 4) +                 // mean
                               std::string(4, '\0') +                               // values
                               one + matrixHeader + matrixHeader +                  // maps
                               std::string("\x02\0\0\0\x04\0\0\0\x03\0\0\0", 12) +  // levels
                               std::string(4, '\0') + one + std::string("\x03\0\0\0\x64\0\0\0", 8);
  EXPECT_EQ(bytesOf(folder.path() + "/m.sdm"), expected);
}

TEST(WriteModel, RefusesAFolderThatIsMissing) {
  EXPECT_THROW(writeModel(oznalib::SDMModel(), "/nonexistent/folder/m.sdm"), std::runtime_error);
}

// ---------------------------------------------------------------------------------------- stages

/// One row a sample, with random descriptors. All shapes are 0; the truths have outer eye corners
/// that are 100 apart.
RegressionRows randomRows(const std::vector<Shape>& truths, unsigned seed) {
  std::mt19937 random(seed);
  RegressionRows rows;
  for (const Shape& truth : truths) {
    rows.firstRow.push_back(static_cast<int>(rows.count()));
    rows.sample.push_back(static_cast<int>(rows.count()));
    rows.truths.insert(rows.truths.end(), truth.begin(), truth.end());
  }
  rows.firstRow.push_back(static_cast<int>(rows.count()));
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
    for (float& value : truths[i]) value = normal(random);  // Nothing in the descriptors tells it.
    truths[i][2 * 36] = -50.0F;
    truths[i][2 * 45] = 50.0F;
  }
  StageOptions options;
  options.ridges = {0.001};
  options.batchRows = 16;
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
  const double nearError = (66 * 10 + std::hypot(10, 60) + std::hypot(10, 40)) / 68 / 100;
  const double farError = (66 * 30 + std::hypot(30, 60) + std::hypot(30, 40)) / 68 / 100;
  StageOptions options;
  options.folds = 1;
  options.ridges = {1.0};
  options.batchRows = 16;
  options.manualWeight = 3;
  options.errorKnee = 0.2F;
  std::ostringstream log;
  const TrainedStage stage = trainStage(samples, options, rows, log);
  const double nearWeight = 0.2 / (0.2 + nearError);
  const double farWeight = 3 * 0.2 / (0.2 + farError);
  EXPECT_NEAR(stage.bias.data[0], (nearWeight * 10 + farWeight * 30) / (nearWeight + farWeight),
              1e-4);
}

// ------------------------------------------------------------------------------- whole trainings

TEST(TrainModel, LowersTheErrorAtEveryStageAndAlignsUnseenFaces) {
  const ScratchFolder folder;
  drawDataset(folder.path(), "train", 50, /*seed=*/11);
  drawDataset(folder.path(), "dev", 12, /*seed=*/12);
  const auto faces = readLandmarkFaces(folder.path(), "train");
  const auto devFaces = readLandmarkFaces(folder.path(), "dev");
  const auto train = makeTrainingSamples(folder.path(), faces, nullptr, smallSampler(), 2);
  const auto dev = makeMeasuringSamples(folder.path(), devFaces, nullptr, kMeasuringNoise, 100,
                                        /*seed=*/1, 2);
  std::ostringstream log;
  TrainingCurve curve;
  const oznalib::SDMModel model = trainModel(train, dev, smallOptions({3, 2, 1}), log, &curve);
  ASSERT_EQ(curve.trainManual.size(), 4U) << log.str();
  for (int stage = 1; stage <= 3; ++stage) {
    EXPECT_LT(curve.trainManual[stage], curve.trainManual[stage - 1]) << log.str();
    EXPECT_LT(curve.trainTracked[stage], curve.trainTracked[stage - 1]) << log.str();
    EXPECT_LT(curve.devManual[stage], curve.devManual[stage - 1]) << log.str();
  }
  writeModel(model, folder.path() + "/m.sdm");
  ASSERT_EQ(oznalib::loadSDMModel(folder.path(), "m.sdm"), oznalib::StatusOk);
  const auto measured =
      measureFaces(folder.path(), devFaces, BoxTable(), kMeasuringNoise, /*seed=*/1, /*threads=*/2);
  const ErrorSummary manual = summarise(onlyQuality(measured, /*manual=*/true));
  // What the trainer measures on the rows is what the public call gives.
  EXPECT_NEAR(manual.mean68, curve.devManual.back(), 1e-3);
  EXPECT_LT(manual.mean68, 0.5 * curve.devManual.front());
  EXPECT_GT(manual.mean5, 0);
  EXPECT_EQ(manual.faces, 8);
  EXPECT_FALSE(drawErrorCurves({{"manual", measured}}).empty());
  EXPECT_EQ(drawWorstFaces(folder.path(), devFaces, measured, 7).rows, 2 * 240);
  oznalib::unloadSDMModel();
}

TEST(TrainModel, GoesOnFromACheckpointToTheSameFile) {
  const ScratchFolder folder;
  drawDataset(folder.path(), "train", 9, /*seed=*/21);
  const auto faces = readLandmarkFaces(folder.path(), "train");
  const auto train = makeTrainingSamples(folder.path(), faces, nullptr, smallSampler(), 2);
  std::ostringstream log;
  writeModel(trainModel(train, {}, smallOptions({3, 1}), log, nullptr), folder.path() + "/a.sdm");
  ModelOptions options = smallOptions({3});
  options.checkpointFolder = folder.path();
  trainModel(train, {}, options, log, nullptr);
  options.stageLevels = {3, 1};
  writeModel(trainModel(train, {}, options, log, nullptr), folder.path() + "/b.sdm");
  EXPECT_NE(log.str().find("going on from"), std::string::npos);
  const std::string bytes = bytesOf(folder.path() + "/a.sdm");
  EXPECT_GT(bytes.size(), 9000000U);
  EXPECT_TRUE(bytes == bytesOf(folder.path() + "/b.sdm"));
}

}  // namespace
}  // namespace alignment_training
