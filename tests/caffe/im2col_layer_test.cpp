// Tests of the layer that unfolds images into columns.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <vector>

#include "caffe/vision_layers.hpp"
#include "tests/caffe/test_helpers.h"
#include "tests/caffe/unfolding.h"

namespace caffe_test {
namespace {

using caffe::Im2colLayer;
using testing::HasSubstr;

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
