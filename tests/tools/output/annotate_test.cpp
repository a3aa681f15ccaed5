// What is drawn on a photograph.

#include <cmath>
#include <opencv2/imgcodecs.hpp>

#include "tests/tools/program.h"

namespace ozna_test {
namespace {

class Annotate : public ProgramTest {};

bool differ(const cv::Mat& a, const cv::Mat& b, int x, int y) {
  return a.at<cv::Vec3b>(y, x) != b.at<cv::Vec3b>(y, x);
}

TEST_F(Annotate, ChangesPixelsOfDetectedBoxesAndOfTheLabelsAboveThemOnly) {
  const std::string photograph = OZNA_SOURCE_DIR "/samples/astronaut.png";
  const Outcome run = runOzna({"detect", "--json", "--annotate", at("out.png"), photograph});
  ASSERT_EQ(run.exit_code, 0) << run.err;
  const cv::Mat before = cv::imread(photograph);
  const cv::Mat after = cv::imread(at("out.png"));
  ASSERT_EQ(before.size(), after.size());
  cv::Mat inside(before.size(), CV_8UC1, cv::Scalar(0));
  const nlohmann::ordered_json line = parsed(run.out);
  for (const auto& face : line["faces"]) {
    const int left = face["left"].get<int>();
    const int top = face["top"].get<int>();
    const int right = face["right"].get<int>();
    const int bottom = face["bottom"].get<int>();
    const cv::Rect box =
        cv::Rect(left, top, right - left, bottom - top) & cv::Rect({}, before.size());
    inside(box).setTo(1);
    // The label: at most a quarter of the face high, and no wider than three quarters of it.
    const int height = (bottom - top) / 4;
    ASSERT_GT(top, height);
    inside(cv::Rect(left, top - height, 3 * (right - left) / 4, height)).setTo(1);
    EXPECT_TRUE(differ(before, after, left + 2, top - 2));
    // All four edges are drawn, and the middle of the face is not.
    EXPECT_TRUE(differ(before, after, left, (top + bottom) / 2));
    EXPECT_TRUE(differ(before, after, right - 1, (top + bottom) / 2));
    EXPECT_TRUE(differ(before, after, (left + right) / 2, top));
    EXPECT_TRUE(differ(before, after, (left + right) / 2, bottom - 1));
    EXPECT_FALSE(differ(before, after, (left + right) / 2, (top + bottom) / 2));
  }
  ASSERT_GT(cv::countNonZero(inside), 0);
  for (int y = 0; y < before.rows; ++y) {
    for (int x = 0; x < before.cols; ++x) {
      if (inside.at<uchar>(y, x) != 0) continue;
      ASSERT_FALSE(differ(before, after, x, y)) << x << ", " << y;
    }
  }
}

TEST_F(Annotate, DrawsLandmarksWhereTheDataSaysTheyAre) {
  const std::string photograph = makePicture("a.png", 100, 100);
  const Outcome run = runOzna({"align", "--json", "--models", makeLandmarkModels(), "--box",
                               "20,30,60,80", "--annotate", at("out.png"), photograph});
  ASSERT_EQ(run.exit_code, 0) << run.err;
  const cv::Mat before = cv::imread(photograph);
  const cv::Mat after = cv::imread(at("out.png"));
  int drawn = 0;
  const nlohmann::ordered_json line = parsed(run.out);
  for (const auto& point : line["faces"][0]["points"]) {
    const int x = static_cast<int>(std::lround(point[0].get<float>()));
    const int y = static_cast<int>(std::lround(point[1].get<float>()));
    if (x < 0 || x >= 100 || y < 0 || y >= 100) continue;
    EXPECT_TRUE(differ(before, after, x, y)) << x << ", " << y;
    ++drawn;
  }
  EXPECT_GT(drawn, 34);
}

TEST_F(Annotate, LandmarksOfASmallFaceLeaveMostOfItToBeSeen) {
  const std::string photograph = makePicture("a.png", 100, 100);
  for (const auto& [box, side] : {std::pair("30,30,66,66", 36), std::pair("5,5,95,95", 90)}) {
    ASSERT_EQ(runOzna({"align", "--models", makeLandmarkModels(), "--box", box, "--annotate",
                       at("out.png"), photograph})
                  .exit_code,
              0);
    const cv::Mat before = cv::imread(photograph);
    const cv::Mat after = cv::imread(at("out.png"));
    int drawn = 0;
    for (int y = 0; y < 100; ++y) {
      for (int x = 0; x < 100; ++x) drawn += differ(before, after, x, y) ? 1 : 0;
    }
    EXPECT_LT(drawn, side * side / 2) << box;
    EXPECT_GT(drawn, 68) << box;
  }
}

TEST_F(Annotate, WritesPhotographWithoutFacesUnchanged) {
  const std::string photograph = makePicture("a.png");
  ASSERT_EQ(runOzna({"detect", "--annotate", at("out.png"), photograph}).exit_code, 0);
  EXPECT_EQ(cv::norm(cv::imread(photograph), cv::imread(at("out.png")), cv::NORM_INF), 0);
}

TEST_F(Annotate, BoxesFarOutsideAreNoTrouble) {
  const Outcome run =
      runOzna({"align", "--models", makeLandmarkModels(), "--box", "-500,-400,900,800",
               "--annotate", at("out.png"), makePicture("a.png", 100, 100)});
  EXPECT_EQ(run.exit_code, 0) << run.err;
  EXPECT_EQ(cv::imread(at("out.png")).size(), cv::Size(100, 100));
}

}  // namespace
}  // namespace ozna_test
