// Tests of the unfolding of images into columns and of its transpose.

#include "caffe/util/im2col.hpp"

#include <gtest/gtest.h>

#include <cstddef>
#include <limits>
#include <vector>

#include "tests/caffe/test_helpers.h"
#include "tests/caffe/unfolding.h"

namespace caffe_test {
namespace {

using caffe::col2im_cpu;
using caffe::im2col_cpu;

// Odd and even shapes around every border case: kernels larger than the image, strides larger than
// the kernel, padding larger than the kernel.
std::vector<Unfolding> SweptUnfoldings() {
  std::vector<Unfolding> cases;
  const int sizes[][2] = {{1, 1}, {3, 3}, {4, 7}, {7, 4}, {11, 10}};
  for (const auto& size : sizes) {
    for (int ksize = 1; ksize <= 5; ++ksize) {
      for (int pad = 0; pad <= 6; pad += pad < 2 ? 1 : 4) {
        for (int stride = 1; stride <= 6; ++stride) {
          const Unfolding u{2, size[0], size[1], ksize, pad, stride};
          const bool negative = size[0] + 2 * pad < ksize || size[1] + 2 * pad < ksize;
          if (!negative || (u.out_height() > 0 && u.out_width() > 0)) cases.push_back(u);
        }
      }
    }
  }
  return cases;
}

void ExpectUnfolds(const Unfolding& u) {
  SCOPED_TRACE(u.text());
  const std::vector<float> image = SeededValues(u.image_count(), 3);
  std::vector<float> columns(u.column_count(), std::numeric_limits<float>::quiet_NaN());
  im2col_cpu(image.data(), u.channels, u.height, u.width, u.ksize, u.pad, u.stride, columns.data());
  const std::vector<int> sources = u.Sources();
  ASSERT_EQ(columns.size(), sources.size());
  for (std::size_t i = 0; i < sources.size(); ++i) {
    ASSERT_EQ(columns[i], sources[i] < 0 ? 0.0F : image[sources[i]]) << "at element " << i;
  }
}

TEST(Im2col, WritesWhatEachKernelPositionMeets) {
  const std::vector<Unfolding> cases = SweptUnfoldings();
  ASSERT_GT(cases.size(), 300U);
  for (const Unfolding& u : cases) ExpectUnfolds(u);
}

TEST(Im2colBand, WritesTheRowsOfItsPlacesAsIfTheyWereAll) {
  for (const Unfolding& u : SweptUnfoldings()) {
    SCOPED_TRACE(u.text());
    const std::vector<float> image = SeededValues(u.image_count(), 3);
    const std::vector<int> sources = u.Sources();
    for (int rows = 1; rows <= u.out_height(); rows += 2) {
      for (int first = 0; first + rows <= u.out_height(); ++first) {
        const int places = rows * u.out_width(), all_places = u.out_height() * u.out_width();
        const int depth = u.channels * u.ksize * u.ksize;
        std::vector<float> columns(depth * places, std::numeric_limits<float>::quiet_NaN());
        caffe::im2col_band(image.data(), u.channels, u.height, u.width, u.ksize, u.pad, u.stride,
                           first, rows, columns.data());
        for (int i = 0; i < depth * places; ++i) {
          const int source = sources[i / places * all_places + first * u.out_width() + i % places];
          ASSERT_EQ(columns[i], source < 0 ? 0.0F : image[source])
              << "at element " << i << " of rows " << first << " to " << first + rows;
        }
      }
    }
  }
}

TEST(Im2col, HandlesPlanesLargerThanTheCache) {
  ExpectUnfolds({2, 140, 131, 3, 0, 1});
  ExpectUnfolds({1, 140, 131, 3, 1, 1});
  ExpectUnfolds({1, 401, 399, 5, 2, 3});
}

TEST(Im2col, OverhangingWindowReadsZerosOutside) {
  // (3 - 5) / 3 + 1 = 1, since the division cuts towards zero.
  const std::vector<float> image = {1, 2, 3, 4, 5, 6, 7, 8, 9};
  std::vector<float> columns(25, -1.0F);
  im2col_cpu(image.data(), 1, 3, 3, 5, 0, 3, columns.data());
  EXPECT_EQ(columns, (std::vector<float>{1, 2, 3, 0, 0, 4, 5, 6, 0, 0, 7, 8, 9,
                                         0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}));
}

TEST(Im2col, PaddingIsZeroWhateverTheImageHolds) {
  const float nan = std::numeric_limits<float>::quiet_NaN();
  // One pixel, kernel 2, padding 1: each of the 4 kernel positions meets the pixel at one of the 4
  // places and the padding at the others.
  std::vector<float> columns(16, -1.0F);
  im2col_cpu(&nan, 1, 1, 1, 2, 1, 1, columns.data());
  int zeros = 0;
  for (float value : columns) zeros += value == 0.0F;
  EXPECT_EQ(zeros, 12);
}

TEST(Im2col, ReturnsAtOnceWithoutKernelOrChannels) {
  const float image = 5;
  float columns = 7;
  im2col_cpu(&image, 1, 1, 1, /*ksize=*/0, 0, 1, &columns);
  im2col_cpu(&image, /*channels=*/0, 1, 1, 1, 0, 1, &columns);
  EXPECT_EQ(columns, 7);
}

TEST(Col2im, AddsEachElementToItsSource) {
  for (const Unfolding& u : SweptUnfoldings()) {
    SCOPED_TRACE(u.text());
    // Small integers, whose sums are exact.
    std::vector<float> columns = SeededValues(u.column_count(), 4, 0, 100);
    for (float& value : columns) value = static_cast<float>(static_cast<int>(value));
    std::vector<float> expected(u.image_count(), 0.0F);
    const std::vector<int> sources = u.Sources();
    for (std::size_t i = 0; i < sources.size(); ++i) {
      if (sources[i] >= 0) expected[sources[i]] += columns[i];
    }
    std::vector<float> image(u.image_count(), std::numeric_limits<float>::quiet_NaN());
    col2im_cpu(columns.data(), u.channels, u.height, u.width, u.ksize, u.pad, u.stride,
               image.data());
    ASSERT_EQ(image, expected);
  }
}

}  // namespace
}  // namespace caffe_test
