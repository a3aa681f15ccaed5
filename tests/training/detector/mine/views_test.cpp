// Views of a photograph: what follows its pixels, and what the seed decides.

#include "training/detector/mine/views.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <opencv2/imgproc.hpp>
#include <set>
#include <vector>

namespace detector_training {
namespace {

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
  // A disc on the face's square: its centre of mass and its area show where the face went.
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

}  // namespace
}  // namespace detector_training
