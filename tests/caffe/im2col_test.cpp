// Tests of the unfolding of images into columns, its transpose, and the layer around them.

#include "caffe/util/im2col.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <limits>
#include <string>
#include <vector>

#include "caffe/vision_layers.hpp"
#include "tests/caffe/test_helpers.h"

namespace caffe_test {
namespace {

using caffe::col2im_cpu;
using caffe::im2col_cpu;
using caffe::Im2colLayer;
using testing::HasSubstr;

struct Unfolding {
  int channels, height, width, ksize, pad, stride;

  int out_height() const { return (height + 2 * pad - ksize) / stride + 1; }
  int out_width() const { return (width + 2 * pad - ksize) / stride + 1; }
  int image_count() const { return channels * height * width; }
  int column_count() const { return channels * ksize * ksize * out_height() * out_width(); }
  std::string text() const {
    return "channels " + std::to_string(channels) + " height " + std::to_string(height) +
           " width " + std::to_string(width) + " ksize " + std::to_string(ksize) + " pad " +
           std::to_string(pad) + " stride " + std::to_string(stride);
  }

  // Index into the image of each element of the columns, -1 for the padding, by definition.
  std::vector<int> Sources() const {
    std::vector<int> sources;
    for (int row = 0; row < channels * ksize * ksize; ++row) {
      const int channel = row / ksize / ksize;
      const int kernel_row = (row / ksize) % ksize;
      const int kernel_col = row % ksize;
      for (int h = 0; h < out_height(); ++h) {
        for (int w = 0; w < out_width(); ++w) {
          const int y = h * stride - pad + kernel_row;
          const int x = w * stride - pad + kernel_col;
          const bool inside = y >= 0 && y < height && x >= 0 && x < width;
          sources.push_back(inside ? (channel * height + y) * width + x : -1);
        }
      }
    }
    return sources;
  }
};

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

constexpr char kLayer[] = "type: IM2COL convolution_param { kernel_size: 3 stride: 2 pad: 1 }";

TEST(Im2colLayerTest, UnfoldsEachImage) {
  LayerBench bench(kLayer, {{3, 2, 6, 5}});
  EXPECT_EQ(ShapeOf(*bench.top(0)), (std::vector<int>{3, 18, 3, 3}));
  const auto& layer = bench.layer_as<Im2colLayer<float>>();
  EXPECT_EQ(layer.kernel_size_, 3);
  EXPECT_EQ(layer.stride_, 2);
  EXPECT_EQ(layer.pad_, 1);
  EXPECT_EQ(layer.channels_, 2);
  EXPECT_EQ(layer.height_, 6);
  EXPECT_EQ(layer.width_, 5);

  const Unfolding u{2, 6, 5, 3, 1, 2};
  const std::vector<int> sources = u.Sources();
  FillSeeded(bench.bottom(0), 5);
  ExpectLayerMatchesReference(bench, [&](const std::vector<std::vector<double>>& inputs) {
    std::vector<double> top;
    for (int n = 0; n < 3; ++n) {
      for (int source : sources) {
        top.push_back(source < 0 ? 0.0 : inputs[0][n * u.image_count() + source]);
      }
    }
    return std::vector<std::vector<double>>{top};
  });
}

TEST(Im2colLayerTest, BackwardWithoutPropagationLeavesTheGradientAlone) {
  LayerBench bench(kLayer, {{1, 1, 3, 3}});
  SetDiff(bench.bottom(0), std::vector<float>(9, 7.0F));
  bench.Forward();
  SetDiff(bench.top(0), std::vector<float>(bench.top(0)->count(), 1.0F));
  bench.Backward(/*propagate_down=*/false);
  EXPECT_EQ(DiffOf(*bench.bottom(0)), std::vector<float>(9, 7.0F));
}

TEST(Im2colLayerDeathTest, ChecksNumbersOfBlobs) {
  EXPECT_DEATH(LayerBench(kLayer, {{1, 1, 3, 3}, {1, 1, 3, 3}}),
               HasSubstr("Check failed: bottom.size() == 1 (2 vs. 1) Im2col Layer takes a single "
                         "blob as input."));
  EXPECT_DEATH(LayerBench(kLayer, {{1, 1, 3, 3}}, 2),
               HasSubstr("Check failed: top->size() == 1 (2 vs. 1) Im2col Layer takes a single "
                         "blob as output."));
}

TEST(Im2colLayerDeathTest, ForwardStopsAtAnInputBeyondTheSizeAtSetUp) {
  LayerBench bench(kLayer, {{2, 1, 3, 3}});
  bench.bottom(0)->OverwriteShape(2, 1, 4, 3);
  EXPECT_DEATH(bench.Forward(), HasSubstr("beyond the memory that it got at SetUp"));
}

TEST(Im2colLayerDeathTest, RefusesBadWindows) {
  EXPECT_DEATH(LayerBench("type: IM2COL convolution_param { stride: 1 }", {{1, 1, 3, 3}}),
               HasSubstr("kernel_size_ > 0"));
  EXPECT_DEATH(
      LayerBench("type: IM2COL convolution_param { kernel_size: 1 stride: 0 }", {{1, 1, 3, 3}}),
      HasSubstr("stride should be at least 1."));
  EXPECT_DEATH(LayerBench("type: IM2COL convolution_param { kernel_size: 5 }", {{1, 1, 3, 3}}),
               HasSubstr("height >= 0"));
  EXPECT_DEATH(
      LayerBench("type: IM2COL convolution_param { kernel_size: 9000 pad: 9000 }", {{1, 1, 3, 3}}),
      HasSubstr("too many elements"));
}

}  // namespace
}  // namespace caffe_test
