// Rows of a stage: their starts, their means and their errors.

#include "training/alignment/regression_rows.h"

#include <gtest/gtest.h>

#include <cmath>
#include <opencv2/core.hpp>
#include <set>
#include <utility>
#include <vector>

namespace alignment_training {
namespace {

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
    for (int row = rows.first_row[i]; row < rows.first_row[i + 1]; ++row) {
      own.insert({rows.shape(row)[0], rows.shape(row)[1]});
    }
    EXPECT_EQ(own.size(), 3U);
    all.insert(own.begin(), own.end());
  }
  EXPECT_EQ(all.size(), 9U);
}

TEST(MeanUnitShape, WeighsFacesByHandAndMeasuresInFaceBoxes) {
  AlignmentSample tracked;
  tracked.box = {10, 20, 100, 50};
  tracked.truth = Shape(kCoordinates, 60.0F);  // 0.5 of the box across, 0.8 down.
  AlignmentSample manual = tracked;
  manual.manual = true;
  manual.truth.assign(kCoordinates, 35.0F);  // 0.25 across, 0.3 down.
  const Shape mean = meanUnitShape({tracked, manual}, /*manual_weight=*/4);
  ASSERT_EQ(mean.size(), static_cast<std::size_t>(kCoordinates));
  EXPECT_FLOAT_EQ(mean[0], (0.5F + 4 * 0.25F) / 5);
  EXPECT_FLOAT_EQ(mean[kCoordinates - 1], (0.8F + 4 * 0.3F) / 5);
}

TEST(ShapeError, IsMeasuredInPixelsOfThePhotograph) {
  AlignmentSample sample;
  sample.units_x = 2;
  sample.units_y = 4;
  Shape truth(kCoordinates, 0.0F);
  truth[2 * 45] = 60.0F;  // The outer corners are 30 and 40 apart: 50.
  truth[2 * 45 + 1] = 160.0F;
  Shape found = truth;
  found[0] += 6.0F;  // One point of 68 is 3 and 4 off: 5.
  found[1] -= 16.0F;
  EXPECT_FLOAT_EQ(shapeError(sample, found.data(), truth.data()), 5.0F / 68 / 50);
}

TEST(MedianShape, TakesEachCoordinateByItself) {
  RegressionRows rows;
  rows.sample = {0, 1, 1, 1, 1};
  rows.first_row = {0, 1, 5};
  rows.shapes.assign(5 * kCoordinates, 0.0F);
  for (int row = 1; row < 5; ++row) {
    rows.shape(row)[0] = static_cast<float>(row);
    rows.shape(row)[1] = static_cast<float>(10 - row);
  }
  const Shape median = medianShape(rows, 1);
  EXPECT_EQ(median[0], 3.0F);  // The upper one of 2 and 3,
  EXPECT_EQ(median[1], 8.0F);  // and of 7 and 8.
  EXPECT_EQ(median[2], 0.0F);
}

}  // namespace
}  // namespace alignment_training
