// Aligned chips of faces.

#include "tools/chip.h"

#include <cmath>
#include <limits>
#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>

#include "tests/tools/program.h"

namespace ozna_test {
namespace {

namespace fs = std::filesystem;
using oznatool::cutChip;
using oznatool::fitSimilarity;
using oznatool::kChipPoints;
using oznatool::Similarity;

TEST(FitSimilarity, FindsTurnScaleAndShift) {
  // A quarter turn, twice as large, moved by 10 and 20: (x, y) -> (-2 y + 10, 2 x + 20).
  const std::vector<cv::Point2d> from = {{0, 0}, {1, 0}, {0, 1}, {3, 5}, {-2, 4}};
  std::vector<cv::Point2d> to;
  for (const cv::Point2d& p : from) to.push_back({-2 * p.y + 10, 2 * p.x + 20});
  const Similarity map = fitSimilarity(from, to);
  EXPECT_NEAR(map.a, 0, 1e-12);
  EXPECT_NEAR(map.b, 2, 1e-12);
  EXPECT_NEAR(map.tx, 10, 1e-12);
  EXPECT_NEAR(map.ty, 20, 1e-12);
}

TEST(FitSimilarity, DoesNotMirrorAndHasTheLeastError) {
  const std::vector<cv::Point2d> from = {{0, 0}, {4, 0}, {4, 3}, {1, 2}};
  const std::vector<cv::Point2d> to = {{1, 1}, {8, 2}, {6, 9}, {2, 5}};
  const auto error = [&](const Similarity& map) {
    double sum = 0;
    for (size_t i = 0; i < from.size(); ++i) {
      const cv::Point2d d = map(from[i]) - to[i];
      sum += d.dot(d);
    }
    return sum;
  };
  const Similarity best = fitSimilarity(from, to);
  // Every small change makes it worse.
  for (const double step : {-1e-3, 1e-3}) {
    EXPECT_GT(error({best.a + step, best.b, best.tx, best.ty}), error(best));
    EXPECT_GT(error({best.a, best.b + step, best.tx, best.ty}), error(best));
    EXPECT_GT(error({best.a, best.b, best.tx + step, best.ty}), error(best));
    EXPECT_GT(error({best.a, best.b, best.tx, best.ty + step}), error(best));
  }
}

// Five landmarks whose chip is the picture turned by an angle and scaled.
std::vector<float> landmarksOf(double angle, double scale, double x, double y) {
  std::vector<float> points;
  for (const cv::Point2d& p : kChipPoints) {
    points.push_back(
        static_cast<float>(x + scale * (std::cos(angle) * p.x - std::sin(angle) * p.y)));
    points.push_back(
        static_cast<float>(y + scale * (std::sin(angle) * p.x + std::cos(angle) * p.y)));
  }
  return points;
}

TEST(CutChip, BringsLandmarksToTheirPlaces) {
  // Dots of different grey at the landmarks of a face that is turned by 30 degrees.
  const std::vector<float> points = landmarksOf(0.5236, 120, 150, 60);
  cv::Mat picture(300, 300, CV_8UC3, cv::Scalar(0, 0, 0));
  for (int i = 0; i < 5; ++i) {
    cv::circle(picture,
               cv::Point(static_cast<int>(std::lround(points[static_cast<size_t>(2 * i)])),
                         static_cast<int>(std::lround(points[static_cast<size_t>(2 * i + 1)]))),
               5, cv::Scalar::all(100 + 30 * i), cv::FILLED);
  }
  for (const int side : {32, 120, 300}) {
    const cv::Mat chip = cutChip(picture, points, side);
    ASSERT_EQ(chip.size(), cv::Size(side, side));
    for (int i = 0; i < 5; ++i) {
      const cv::Point2d place = kChipPoints[static_cast<size_t>(i)] * side;
      EXPECT_NEAR(chip.at<cv::Vec3b>(static_cast<int>(place.y), static_cast<int>(place.x))[0],
                  100 + 30 * i, 12)
          << i << " of " << side;
    }
  }
}

TEST(CutChip, AveragesLargeFacesDown) {
  // A board of black and white pixels becomes even grey, where single samples would give stripes.
  cv::Mat picture(1200, 1200, CV_8UC3);
  for (int y = 0; y < picture.rows; ++y) {
    for (int x = 0; x < picture.cols; ++x) {
      picture.at<cv::Vec3b>(y, x) =
          (x + y) % 2 == 0 ? cv::Vec3b(0, 0, 0) : cv::Vec3b(254, 254, 254);
    }
  }
  const cv::Mat chip = cutChip(picture, landmarksOf(0.3, 800, 250, 50), 64);
  double least = 0;
  double most = 0;
  cv::minMaxLoc(chip(cv::Rect(16, 16, 32, 32)).clone().reshape(1), &least, &most);
  EXPECT_GT(least, 110);
  EXPECT_LT(most, 144);
}

TEST(CutChip, IsBlackOutsideOfThePhotograph) {
  const cv::Mat picture(50, 50, CV_8UC3, cv::Scalar(200, 200, 200));
  const cv::Mat chip = cutChip(picture, landmarksOf(0, 100, 0, 0), 100);
  EXPECT_EQ(chip.at<cv::Vec3b>(20, 20), cv::Vec3b(200, 200, 200));
  EXPECT_EQ(chip.at<cv::Vec3b>(80, 80), cv::Vec3b(0, 0, 0));
}

TEST(CutChip, HasNoneForPointsThatAreNoFace) {
  const cv::Mat picture(50, 50, CV_8UC3);
  const std::vector<float> face = landmarksOf(0, 40, 0, 0);
  EXPECT_FALSE(cutChip(picture, face, 32).empty());
  for (size_t i = 0; i < face.size(); ++i) {
    for (const float wrong :
         {std::numeric_limits<float>::quiet_NaN(), std::numeric_limits<float>::infinity()}) {
      std::vector<float> points = face;
      points[i] = wrong;
      EXPECT_TRUE(cutChip(picture, points, 32).empty()) << i << " is " << wrong;
    }
  }
  EXPECT_TRUE(cutChip(picture, {}, 32).empty());
  // All on one spot, which has no size.
  EXPECT_TRUE(cutChip(picture, std::vector<float>(10, 25.0F), 32).empty());
  EXPECT_TRUE(cutChip(picture, std::vector<float>(10, 0.1F), 32).empty());
}

class Crop : public ProgramTest {};

TEST_F(Crop, WritesAChipAFaceAndNamesItInTheRecord) {
  const Outcome run = runOzna(
      {"crop", "--json", "--size", "96", "-o", at("chips"), OZNA_SOURCE_DIR "/samples/group.jpg"});
  ASSERT_EQ(run.exit_code, 0) << run.err;
  const nlohmann::ordered_json faces = parsed(run.out)["faces"];
  ASSERT_EQ(faces.size(), 9u);
  for (size_t i = 0; i < faces.size(); ++i) {
    EXPECT_EQ(faces[i]["chip"], at("chips/group-" + std::to_string(i + 1) + ".png"));
    EXPECT_EQ(faces[i]["points"].size(), 5u);
    EXPECT_EQ(cv::imread(faces[i]["chip"].get<std::string>()).size(), cv::Size(96, 96));
  }
}

TEST_F(Crop, TurnsFacesUpright) {
  // The same face, upright and turned by 20 degrees: the chips show nearly the same.
  const cv::Mat upright = cv::imread(OZNA_SOURCE_DIR "/samples/astronaut.png");
  cv::Mat turned;
  cv::warpAffine(upright, turned, cv::getRotationMatrix2D({225, 120}, 20, 1), upright.size());
  writeFile(at("upright.png"), encoded(".png", upright));
  writeFile(at("turned.png"), encoded(".png", turned));
  const Outcome run = runOzna(
      {"crop", "--best", "--size", "64", "-o", at("chips"), at("upright.png"), at("turned.png")});
  ASSERT_EQ(run.exit_code, 0) << run.err;
  const cv::Rect middle(16, 16, 32, 40);
  const cv::Mat a = cv::imread(at("chips/upright-1.png"))(middle);
  const cv::Mat b = cv::imread(at("chips/turned-1.png"))(middle);
  // The mean difference of a pixel, which is above 30 for the picture that was not turned back.
  EXPECT_LT(cv::norm(a, b, cv::NORM_L1) / static_cast<double>(3 * a.total()), 18);
}

TEST_F(Crop, OverwritesNothing) {
  const std::string photograph = OZNA_SOURCE_DIR "/samples/astronaut.png";
  for (int i = 0; i < 2; ++i) {
    EXPECT_EQ(runOzna({"crop", "--size", "32", "-o", at("chips"), photograph}).exit_code, 0);
  }
  EXPECT_TRUE(fs::exists(at("chips/astronaut-1.png")));
  EXPECT_TRUE(fs::exists(at("chips/astronaut-1-2.png")));
}

TEST_F(Crop, RefusesMissingDirectoryAndWrongSizes) {
  const std::string photograph = makePicture("a.png");
  expectFailure(runOzna({"crop", photograph}), 2, "--output");
  for (const char* size : {"15", "4097", "x", "-64"}) {
    expectFailure(runOzna({"crop", "-o", at("chips"), "--size", size, photograph}), 2,
                  "--size takes a whole number from 16 to 4096");
  }
  writeFile(at("file"), "");
  expectFailure(runOzna({"crop", "-o", at("file"), photograph}), 4, at("file"));
}

}  // namespace
}  // namespace ozna_test
