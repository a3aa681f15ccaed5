// Tests of the checks that keep oversized inputs from memory outside a blob.

#include "caffe/util/shape_checks.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>

namespace caffe {
namespace {

using testing::HasSubstr;

constexpr int kMost = std::numeric_limits<int>::max();

TEST(CheckShapeFits, TakesAsManyElementsAsAnIntCounts) {
  CheckShapeFits(1, 1, 1, kMost);
  CheckShapeFits(kMost, 1, 1, 1);
  // Sides of 0 and below count as 1 here: Reshape refuses the negative ones.
  CheckShapeFits(0, -5, 1, kMost);
}

TEST(CheckShapeFitsDeathTest, EndsForOneElementMore) {
  EXPECT_DEATH(CheckShapeFits(1, 1, 2, 1073741824.0), HasSubstr("has too many elements."));
  EXPECT_DEATH(CheckShapeFits(65536, 65536, 65536, 65536), HasSubstr("has too many elements."));
}

TEST(CheckWindow, TakesWindowsWhosePositionsFit) {
  CheckWindow(0, 0, 1, 0, 0);
  CheckWindow(3, 1, 2, 100, 100);
  CheckWindow(1, 0, 1, kMost / 2 - 2,
              1);  // Kernel, stride and side come to half of the largest int.
}

TEST(CheckWindowDeathTest, EndsForOthers) {
  EXPECT_DEATH(CheckWindow(-1, 0, 1, 9, 9), HasSubstr("kernel_size is too large."));
  EXPECT_DEATH(CheckWindow(1, -1, 1, 9, 9), HasSubstr("pad is too large."));
  EXPECT_DEATH(CheckWindow(1, 0, 0, 9, 9), HasSubstr("stride should be at least 1."));
  EXPECT_DEATH(CheckWindow(1, 0, 1, 9, kMost / 2 - 1), HasSubstr("are too large together."));
  EXPECT_DEATH(CheckWindow(kMost, kMost, kMost, kMost, kMost), HasSubstr("too large together."));
}

TEST(CheckHolds, LooksAtTheMemoryAndNotAtTheShape) {
  Blob<float> blob(1, 2, 3, 4);
  blob.mutable_cpu_data();
  CheckHolds(blob, 0);
  CheckHolds(blob, 24);
}

TEST(CheckHoldsDeathTest, EndsForMoreAndForNegativeCounts) {
  Blob<float> blob(1, 2, 3, 4);
  blob.mutable_cpu_data();
  EXPECT_DEATH(CheckHolds(blob, 25), HasSubstr("beyond the memory that it got at SetUp"));
  EXPECT_DEATH(CheckHolds(blob, -1), HasSubstr("resized to a negative size"));
}

TEST(CheckParameterHolds, ComparesTheCountAlone) {
  const Blob<float> blob(1, 1, 2, 6);
  CheckParameterHolds(blob, 3, 4, 1, 1, "weight");
  CheckParameterHolds(blob, 1, 1, 1, 11, "weight");
}

TEST(CheckParameterHoldsDeathTest, NamesTheParameterAndBothShapes) {
  const Blob<float> blob(1, 1, 2, 6);
  EXPECT_DEATH(
      CheckParameterHolds(blob, 1, 1, 1, 13, "bias"),
      HasSubstr("The definition carries bias of shape (1, 1, 2, 6), expected (1, 1, 1, 13)."));
}

}  // namespace
}  // namespace caffe
