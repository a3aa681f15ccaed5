// Pictures of an evaluation of landmarks.

#include "training/alignment/charts.h"

#include <gtest/gtest.h>

#include <opencv2/core.hpp>
#include <string>
#include <vector>

#include "tests/temporary_folder.h"
#include "tests/training/alignment/small_training.h"
#include "training/common/drawing.h"

namespace alignment_training {
namespace {

// The pixel of a plot that a limit, as a share of the last one, and a share of faces have.
cv::Scalar pixelAt(const cv::Mat& plot, double right, double up) {
  return plot.at<cv::Vec3b>(training::PlotArea{}.at(right, up));
}

TEST(DrawErrorCurves, RisesWhereTheErrorsLie) {
  std::vector<MeasuredFace> faces(4);
  for (int i = 0; i < 4; ++i) faces[i].error68 = i < 2 ? 0.031F : 0.2F;
  const cv::Mat plot = drawErrorCurves({{"drawn", faces}});
  // Half of the faces lie below 15 percent, all of these between 3 and 4.
  EXPECT_EQ(pixelAt(plot, 0.9, 0.5), training::inkOf(0));
  EXPECT_EQ(pixelAt(plot, 0.3, 0.5), training::inkOf(0));
  EXPECT_EQ(pixelAt(plot, 0.17, 0), training::inkOf(0));
  EXPECT_NE(pixelAt(plot, 0.17, 0.5), training::inkOf(0));
  EXPECT_NE(pixelAt(plot, 0.9, 0), training::inkOf(0));
}

TEST(DrawWorstFaces, ShowsTheWorstFirst) {
  const ozna_test::TemporaryFolder folder;
  drawDataset(folder.path(), "dev", 3, /*seed=*/6);
  const auto faces = readLandmarkFaces(folder.path(), "dev");
  std::vector<MeasuredFace> measured(3);
  for (int i = 0; i < 3; ++i) {
    measured[i].face = i;
    measured[i].rect = conventionSquare(faces[i].points);
    measured[i].points = faces[i].points;
    measured[i].error68 = i == 1 ? 0.5F : 0.1F;
  }
  constexpr int kSide = 240;
  const cv::Mat two = drawWorstFaces(folder.path(), faces, measured, 2);
  ASSERT_EQ(two.size(), cv::Size(5 * kSide, kSide));
  const cv::Mat worst = drawWorstFaces(folder.path(), faces, {measured[1]}, 7);
  const cv::Rect first(0, 0, kSide, kSide);
  EXPECT_GT(cv::norm(worst(first)), 0);
  EXPECT_EQ(cv::norm(two(first), worst(first), cv::NORM_INF), 0);
  EXPECT_GT(cv::norm(two(first + cv::Point(kSide, 0))), 0);
  EXPECT_EQ(cv::norm(two(first + cv::Point(2 * kSide, 0))), 0) << "there are but two";
}

}  // namespace
}  // namespace alignment_training
