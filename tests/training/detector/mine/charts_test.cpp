// Pictures of an evaluation of a cascade.

#include "training/detector/mine/charts.h"

#include <gtest/gtest.h>

#include <cmath>
#include <opencv2/core.hpp>
#include <opencv2/imgcodecs.hpp>
#include <string>
#include <vector>

#include "tests/temporary_folder.h"
#include "tests/training/detector/mine/group_photograph.h"
#include "training/common/drawing.h"

namespace detector_training {
namespace {

cv::Scalar pixelAt(const cv::Mat& plot, const training::PlotArea& area, double right, double up) {
  return plot.at<cv::Vec3b>(area.at(right, up));
}

// How many cells of a sheet show something; they stand in rows from the left.
int filledCells(const cv::Mat& sheet) {
  constexpr int kSide = 160;
  int filled = 0;
  for (int x = 0; x + kSide <= sheet.cols; x += kSide) {
    filled += cv::norm(sheet(cv::Rect(x, 0, kSide, kSide))) > 0 ? 1 : 0;
  }
  return filled;
}

TEST(DrawRecallCurves, RisesAtTheRatesOfTheWrongBoxes) {
  const training::PlotArea area;
  Measurement measurement = handMade();
  const cv::Mat plot = drawRecallCurves({measurement});
  // With one wrong box in ten photographs two of four faces are found, with two of them three. The
  // width stands for two decades from 0.01 on, the height for recalls from 0.5 to 1.
  const cv::Scalar ink = training::inkOf(0);
  EXPECT_EQ(pixelAt(plot, area, 0.9, 0.5), ink);  // 0.63 wrong per photograph: recall 0.75.
  EXPECT_NE(pixelAt(plot, area, 0.55, 0.5), ink);
  EXPECT_EQ(pixelAt(plot, area, 0.55, 0), ink);  // 0.126 wrong: recall 0.5.
}

TEST(DrawReliability, PutsADotWhereScoresAndFacesMeet) {
  Measurement measurement;
  measurement.faces = {foundFace(0.76F, 0.8), foundFace(0.76F, 0.8)};
  measurement.wrong = {{0, {0, 0, 9, 9, 0.26F, 0}}};
  const training::PlotArea area{/*width=*/400, /*height=*/400};
  const cv::Mat plot = drawReliability({measurement});
  EXPECT_EQ(pixelAt(plot, area, 0.76, 1), training::inkOf(0));
  EXPECT_EQ(pixelAt(plot, area, 0.26, 0), training::inkOf(0));
  EXPECT_NE(pixelAt(plot, area, 0.26, 1), training::inkOf(0));
}

TEST(ContactSheets, ShowMissesAndWrongBoxesUpToACount) {
  const ozna_test::TemporaryFolder folder;
  ASSERT_TRUE(cv::imwrite(folder.file("grey.png"), cv::Mat(60, 60, CV_8UC3, cv::Scalar::all(90))));
  Measurement measurement = handMade();
  for (FaceResult& face : measurement.faces) face.face = {30, 30, 20, false};
  const std::vector<Photograph> photographs(4, {folder.file("grey.png"), 60, 60, {}, false});
  // Three of the four faces lie at or below the threshold.
  EXPECT_EQ(filledCells(drawMisses(measurement, photographs, 10)), 3);
  EXPECT_EQ(filledCells(drawMisses(measurement, photographs, 2)), 2);
  EXPECT_EQ(filledCells(drawWrong(measurement, photographs, 10)), 2);
  EXPECT_EQ(filledCells(drawWrong(measurement, photographs, 1)), 1);
}

}  // namespace
}  // namespace detector_training
