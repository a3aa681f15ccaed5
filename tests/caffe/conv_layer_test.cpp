// Tests of ConvolutionLayer.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include "caffe/filler.hpp"
#include "caffe/vision_layers.hpp"
#include "tests/caffe/test_helpers.h"

namespace caffe_test {
namespace {

using caffe::BinarizedKernel;
using caffe::ConvolutionLayer;
using testing::HasSubstr;

struct Convolution {
  int num, channels, height, width;
  int outputs, kernel, stride = 1, pad = 0, group = 1;
  bool bias = true;

  int out_height() const { return (height + 2 * pad - kernel) / stride + 1; }
  int out_width() const { return (width + 2 * pad - kernel) / stride + 1; }
  std::vector<int> bottom_shape() const { return {num, channels, height, width}; }

  std::string text() const {
    return "type: CONVOLUTION convolution_param { num_output: " + std::to_string(outputs) +
           " kernel_size: " + std::to_string(kernel) + " stride: " + std::to_string(stride) +
           " pad: " + std::to_string(pad) + " group: " + std::to_string(group) +
           " bias_term: " + (bias ? "true" : "false") +
           " weight_filler { type: 'gaussian' std: 0.5 } bias_filler { type: 'gaussian' } }";
  }

  // The definition: each output is the sum over its group's channels and the kernel.
  std::vector<std::vector<double>> Reference(const std::vector<std::vector<double>>& inputs) const {
    const std::vector<double>& image = inputs[0];
    const std::vector<double>& weights = inputs[1];
    const int group_channels = channels / group, group_outputs = outputs / group;
    std::vector<double> top;
    for (int n = 0; n < num; ++n) {
      for (int o = 0; o < outputs; ++o) {
        const int first_channel = o / group_outputs * group_channels;
        for (int h = 0; h < out_height(); ++h) {
          for (int w = 0; w < out_width(); ++w) {
            double sum = bias ? inputs[2][o] : 0.0;
            for (int c = 0; c < group_channels; ++c) {
              for (int i = 0; i < kernel; ++i) {
                for (int j = 0; j < kernel; ++j) {
                  const int y = h * stride - pad + i, x = w * stride - pad + j;
                  if (y < 0 || y >= height || x < 0 || x >= width) continue;
                  sum += weights[((o * group_channels + c) * kernel + i) * kernel + j] *
                         image[((n * channels + first_channel + c) * height + y) * width + x];
                }
              }
            }
            top.push_back(sum);
          }
        }
      }
    }
    return {top};
  }
};

ConvolutionLayer<float>& ConvolutionOf(LayerBench& bench) {
  return bench.layer_as<ConvolutionLayer<float>>();
}

std::unique_ptr<LayerBench> MakeBench(const Convolution& conv) {
  caffe::Caffe::set_random_seed(11);
  auto bench =
      std::make_unique<LayerBench>(conv.text(), std::vector<std::vector<int>>{conv.bottom_shape()});
  bench->layer().UpdateDerivedSizes();
  FillSeeded(bench->bottom(0), 5);
  return bench;
}

TEST(ConvolutionForward, MatchesDefinitionOverSweptShapes) {
  int cases = 0;
  const int sizes[][2] = {{5, 5}, {7, 4}, {6, 11}};
  for (const auto& size : sizes) {
    for (int kernel = 1; kernel <= 5; ++kernel) {
      for (int stride = 1; stride <= 4; ++stride) {
        for (int pad = 0; pad <= 2; ++pad) {
          for (int group = 1; group <= 2; ++group) {
            const Convolution conv{2,
                                   4,
                                   size[0],
                                   size[1],
                                   6,
                                   kernel,
                                   stride,
                                   pad,
                                   group,
                                   /*bias=*/(kernel + stride + pad) % 2 == 0};
            if (size[0] + 2 * pad < kernel || size[1] + 2 * pad < kernel) continue;
            SCOPED_TRACE(conv.text());
            auto bench = MakeBench(conv);
            EXPECT_EQ(bench->layer().Forward(bench->bottoms(), &bench->tops()), 0.0F);
            EXPECT_EQ(ShapeOf(*bench->top(0)),
                      (std::vector<int>{2, 6, conv.out_height(), conv.out_width()}));
            const auto inputs = InputsOf(bench->layer(), bench->bottoms());
            ExpectAllNear(conv.Reference(inputs)[0], DataOf(*bench->top(0)), 1e-5);
            ++cases;
          }
        }
      }
    }
  }
  EXPECT_GT(cases, 300);
}

// Larger than what is unfolded at once: several rows of places after the other, several groups of
// channels after the other, or both, with a last piece that is smaller than the others.
TEST(ConvolutionForward, MatchesDefinitionWhereItIsDoneInPieces) {
  const Convolution cases[] = {
      {1, 3, 130, 131, 3, 3},
      {2, 3, 61, 67, 4, 3, /*stride=*/1, /*pad=*/1},
      {1, 4, 90, 100, 2, 5, /*stride=*/3, /*pad=*/2, /*group=*/2},
      {1, 3, 7, 1500, 2, 3, /*stride=*/2},
      {1, 2, 1500, 6, 2, 5, /*stride=*/1, /*pad=*/0, /*group=*/1, /*bias=*/false},
      {2, 41, 9, 8, 3, 5},
      {1, 64, 22, 22, 2, 5},
      {1, 90, 40, 37, 6, 3, /*stride=*/1, /*pad=*/1, /*group=*/2},
      {1, 47, 30, 31, 2, 4, /*stride=*/2, /*pad=*/1, /*group=*/1, /*bias=*/false},
      {1, 2, 45, 48, 2, 21, /*stride=*/1, /*pad=*/3},
  };
  for (const Convolution& conv : cases) {
    SCOPED_TRACE(conv.text());
    auto bench = MakeBench(conv);
    FillConstant(bench->top(0), std::numeric_limits<float>::quiet_NaN());
    bench->Forward();
    ExpectAllNear(conv.Reference(InputsOf(bench->layer(), bench->bottoms()))[0],
                  DataOf(*bench->top(0)), 1e-5);
  }
}

TEST(ConvolutionForward, LeavesTheColumnBufferWithoutMemory) {
  auto bench = MakeBench({2, 3, 30, 20, 4, 5});
  bench->Forward();
  const auto& layer = ConvolutionOf(*bench);
  EXPECT_EQ(ShapeOf(layer.col_buffer_), (std::vector<int>{1, 75, 26, 16}));
  EXPECT_EQ(layer.col_buffer_.data()->head(), caffe::SyncedMemory::UNINITIALIZED);
}

TEST(ConvolutionForward, WorksInPlace) {
  const Convolution conv{2, 4, 33, 35, 4, 3, /*stride=*/1, /*pad=*/1, /*group=*/2};
  caffe::Caffe::set_random_seed(11);
  LayerBench bench(conv.text(), {conv.bottom_shape()}, 1, /*in_place=*/true);
  bench.layer().UpdateDerivedSizes();
  FillSeeded(bench.bottom(0), 5);
  const auto inputs = InputsOf(bench.layer(), bench.bottoms());
  bench.Forward();
  ExpectAllNear(conv.Reference(inputs)[0], DataOf(*bench.top(0)), 1e-5);
}

TEST(ConvolutionBackward, IsTheGradient) {
  const Convolution cases[] = {
      {1, 1, 3, 3, 1, 3},
      {2, 3, 5, 4, 2, 2, /*stride=*/1, /*pad=*/1},
      {3, 2, 6, 7, 4, 3, /*stride=*/2, /*pad=*/1, /*group=*/2},
      {2, 4, 7, 5, 6, 5, /*stride=*/3, /*pad=*/2, /*group=*/2, /*bias=*/false},
      {2, 3, 4, 4, 5, 1},
      {1, 3, 6, 6, 3, 1, /*stride=*/2, /*pad=*/1, /*group=*/3},
      {1, 1, 3, 3, 2, 5, /*stride=*/3},
  };
  for (const Convolution& conv : cases) {
    SCOPED_TRACE(conv.text());
    auto bench = MakeBench(conv);
    ExpectLayerMatchesReference(
        *bench, [&](const auto& inputs) { return conv.Reference(inputs); }, 1e-5, 1e-4);
  }
}

TEST(ConvolutionBackward, ReplacesFormerGradients) {
  auto bench = MakeBench({2, 2, 4, 4, 3, 2});
  bench->Forward();
  SetDiff(bench->top(0), SeededValues(bench->top(0)->count(), 6));
  bench->Backward();
  const std::vector<float> weight_diff = DiffOf(*bench->layer().blobs()[0]);
  const std::vector<float> bias_diff = DiffOf(*bench->layer().blobs()[1]);
  bench->Backward();
  EXPECT_EQ(DiffOf(*bench->layer().blobs()[0]), weight_diff);
  EXPECT_EQ(DiffOf(*bench->layer().blobs()[1]), bias_diff);
}

TEST(ConvolutionBackward, WithoutPropagationLeavesTheBottomGradientAlone) {
  auto bench = MakeBench({1, 1, 3, 3, 1, 2});
  SetDiff(bench->bottom(0), std::vector<float>(9, 7.0F));
  bench->Forward();
  SetDiff(bench->top(0), std::vector<float>(4, 1.0F));
  bench->Backward(/*propagate_down=*/false);
  EXPECT_EQ(DiffOf(*bench->bottom(0)), std::vector<float>(9, 7.0F));
  EXPECT_EQ(DiffOf(*bench->layer().blobs()[1]), std::vector<float>(1, 4.0F));
}

TEST(ConvolutionConstructor, ZeroesEveryFieldButStrideAndBias) {
  const ConvolutionLayer<float> layer{caffe::LayerParameter()};
  EXPECT_EQ(layer.stride_, 1);
  EXPECT_TRUE(layer.bias_term_);
  for (int field :
       {layer.kernel_size_, layer.num_, layer.channels_, layer.pad_, layer.height_, layer.width_,
        layer.num_output_, layer.group_, layer.group_rows_, layer.group_depth_, layer.out_spatial_,
        layer.weight_stride_, layer.col_stride_, layer.top_stride_}) {
    EXPECT_EQ(field, 0);
  }
  EXPECT_EQ(layer.col_buffer_.count(), 0);
  EXPECT_FALSE(layer.bias_multiplier_);
  EXPECT_FALSE(layer.binarized_kernel_);
}

TEST(ConvolutionSetUp, LeavesTheStridesBetweenGroupsToUpdateDerivedSizes) {
  const Convolution conv{3, 4, 7, 6, 6, 3, /*stride=*/2, /*pad=*/1, /*group=*/2};
  LayerBench bench(conv.text(), {conv.bottom_shape()});
  auto& layer = ConvolutionOf(bench);
  EXPECT_EQ(ShapeOf(layer.col_buffer_), (std::vector<int>{1, 36, 4, 3}));
  EXPECT_EQ(ShapeOf(*layer.blobs()[0]), (std::vector<int>{6, 2, 3, 3}));
  EXPECT_EQ(ShapeOf(*layer.blobs()[1]), (std::vector<int>{1, 1, 1, 6}));
  EXPECT_EQ(layer.group_rows_, 3);
  EXPECT_EQ(layer.group_depth_, 18);
  EXPECT_EQ(layer.out_spatial_, 12);
  EXPECT_EQ(layer.bias_multiplier_->size(), 12 * sizeof(float));
  EXPECT_EQ(layer.weight_stride_, 0);
  EXPECT_EQ(layer.col_stride_, 0);
  EXPECT_EQ(layer.top_stride_, 0);
  layer.UpdateDerivedSizes();
  EXPECT_EQ(layer.weight_stride_, 54);
  EXPECT_EQ(layer.col_stride_, 216);
  EXPECT_EQ(layer.top_stride_, 36);
}

TEST(ConvolutionGroups, AllUseTheFirstGroupUntilUpdateDerivedSizes) {
  LayerBench bench(
      "type: CONVOLUTION convolution_param { num_output: 2 kernel_size: 1 group: 2 "
      "bias_term: false }",
      {{1, 2, 1, 2}});
  SetData(bench.bottom(0), {1, 2, 3, 4});
  SetData(bench.layer().blobs()[0].get(), {10, 100});
  bench.Forward();
  EXPECT_EQ(DataOf(*bench.top(0)), (std::vector<float>{10, 20, 0, 0}));
  bench.layer().UpdateDerivedSizes();
  bench.Forward();
  EXPECT_EQ(DataOf(*bench.top(0)), (std::vector<float>{10, 20, 300, 400}));
}

TEST(ConvolutionOutputSize, DropsAnIncompleteLastWindow) {
  // (30 - 5) / 3 + 1 = 9, and the last column and row are never read.
  auto bench = MakeBench({1, 1, 30, 30, 1, 5, /*stride=*/3});
  EXPECT_EQ(ShapeOf(*bench->top(0)), (std::vector<int>{1, 1, 9, 9}));
  bench->Forward();
  const std::vector<float> before = DataOf(*bench->top(0));
  for (int i = 0; i < 30; ++i) {
    bench->bottom(0)->mutable_cpu_data()[i * 30 + 29] = 1e6F;
    bench->bottom(0)->mutable_cpu_data()[29 * 30 + i] = 1e6F;
  }
  bench->Forward();
  EXPECT_EQ(DataOf(*bench->top(0)), before);
}

TEST(ConvolutionOutputSize, CutsTowardsZeroBelowTheKernelSize) {
  // (3 - 5) / 3 + 1 = 1: the window overhangs, and what lies outside counts as 0.
  LayerBench bench(
      "type: CONVOLUTION convolution_param { num_output: 1 kernel_size: 5 stride: 3 "
      "weight_filler { type: 'constant' value: 1 } }",
      {{1, 1, 3, 3}});
  SetData(bench.bottom(0), {1, 2, 3, 4, 5, 6, 7, 8, 9});
  bench.Forward();
  EXPECT_EQ(DataOf(*bench.top(0)), std::vector<float>{45});
}

TEST(ConvolutionForward, PointwiseKernelKeepsTheSize) {
  const Convolution conv{2, 3, 4, 5, 2, 1};
  auto bench = MakeBench(conv);
  auto& layer = ConvolutionOf(*bench);
  EXPECT_EQ(layer.col_buffer_.count(), 3 * 4 * 5);
  EXPECT_EQ(ShapeOf(layer.col_buffer_), (std::vector<int>{1, 3, 4, 5}));
  EXPECT_EQ(ShapeOf(*bench->top(0)), (std::vector<int>{2, 2, 4, 5}));
}

TEST(ConvolutionForward, PointwiseKernelWorksInPlace) {
  // Reverses the channels, of which there are too many for the product to read them all before it
  // writes the first.
  constexpr int kChannels = 900;
  LayerBench bench(
      "type: CONVOLUTION convolution_param { num_output: 900 kernel_size: 1 bias_term: false }",
      {{1, kChannels, 1, 3}}, 1, /*in_place=*/true);
  std::vector<float> input, expected, weights(kChannels * kChannels, 0.0F);
  for (int c = 0; c < kChannels; ++c) {
    weights[c * kChannels + kChannels - 1 - c] = 1.0F;
    for (int i = 0; i < 3; ++i) {
      input.push_back(3.0F * c + i);
      expected.push_back(3.0F * (kChannels - 1 - c) + i);
    }
  }
  SetData(bench.layer().blobs()[0].get(), weights);
  SetData(bench.bottom(0), input);
  bench.Forward();
  EXPECT_EQ(DataOf(*bench.top(0)), expected);
}

TEST(ConvolutionForward, NeverReadsFormerOutput) {
  auto bench = MakeBench({1, 2, 5, 5, 3, 3});
  bench->Forward();
  const std::vector<float> expected = DataOf(*bench->top(0));
  FillConstant(bench->top(0), std::numeric_limits<float>::quiet_NaN());
  std::fill_n(ConvolutionOf(*bench).col_buffer_.mutable_cpu_data(), 18 * 9,
              std::numeric_limits<float>::quiet_NaN());
  bench->Forward();
  EXPECT_EQ(DataOf(*bench->top(0)), expected);
}

TEST(ConvolutionSetUp, KeepsParametersThatTheDefinitionCarries) {
  LayerBench bench(
      "type: CONVOLUTION convolution_param { num_output: 1 kernel_size: 2 weight_filler { type: "
      "'no such filler' } } blobs { num: 1 channels: 1 height: 2 width: 2 data: [1, 2, 3, 4] } "
      "blobs { num: 1 channels: 1 height: 1 width: 1 data: 100 }",
      {{1, 1, 2, 2}});
  SetData(bench.bottom(0), {1, 1, 1, 2});
  bench.Forward();
  EXPECT_EQ(DataOf(*bench.top(0)), std::vector<float>{1 + 2 + 3 + 8 + 100});
}

TEST(ConvolutionSetUp, FillsParametersInOrder) {
  caffe::Caffe::set_random_seed(21);
  LayerBench bench(Convolution{1, 1, 3, 3, 2, 3}.text(), {{1, 1, 3, 3}});
  caffe::Caffe::set_random_seed(21);
  caffe::FillerParameter filler_param;
  filler_param.set_type("gaussian");
  filler_param.set_std(0.5F);
  const auto weights = caffe::MakeFilledBlob(2, 1, 3, 3, filler_param);
  filler_param.set_std(1.0F);
  const auto bias = caffe::MakeFilledBlob(1, 1, 1, 2, filler_param);
  EXPECT_EQ(DataOf(*bench.layer().blobs()[0]), DataOf(*weights));
  EXPECT_EQ(DataOf(*bench.layer().blobs()[1]), DataOf(*bias));
}

TEST(ConvolutionSetUp, WithoutBiasHasOneParameter) {
  LayerBench bench(Convolution{1, 1, 3, 3, 2, 3, 1, 0, 1, /*bias=*/false}.text(), {{1, 1, 3, 3}});
  EXPECT_EQ(bench.layer().blobs().size(), 1U);
  EXPECT_FALSE(ConvolutionOf(bench).bias_multiplier_);
}

// A layer of its own for the shape, with the same parameters and the same input.
std::vector<float> FreshOutput(Convolution conv, LayerBench& parameters, int height, int width) {
  conv.height = height;
  conv.width = width;
  LayerBench fresh(conv.text(), {conv.bottom_shape()});
  for (std::size_t i = 0; i < fresh.layer().blobs().size(); ++i) {
    SetData(fresh.layer().blobs()[i].get(), DataOf(*parameters.layer().blobs()[i]));
  }
  fresh.layer().UpdateDerivedSizes();
  SetData(fresh.bottom(0), DataOf(*parameters.bottom(0)));
  fresh.Forward();
  EXPECT_EQ(ShapeOf(*fresh.top(0)), ShapeOf(*parameters.top(0)));
  return DataOf(*fresh.top(0));
}

TEST(ConvolutionAlterInputShape, EqualsAFreshLayerDownAndUp) {
  const Convolution conv{2, 2, 13, 11, 4, 3, /*stride=*/2, /*pad=*/1, /*group=*/2};
  auto bench = MakeBench(conv);
  const float* memory = bench->top(0)->cpu_data();
  const int sizes[][2] = {{13, 11}, {6, 9}, {1, 2}, {11, 13}, {13, 11}};
  for (const auto& size : sizes) {
    SCOPED_TRACE(size[0]);
    bench->AlterBottom(0, 2, 2, size[0], size[1]);
    FillSeeded(bench->bottom(0), 100 + size[0]);
    bench->Forward();
    EXPECT_EQ(DataOf(*bench->top(0)), FreshOutput(conv, *bench, size[0], size[1]));
    EXPECT_EQ(bench->top(0)->cpu_data(), memory);
  }
}

TEST(ConvolutionAlterInputShape, KeepsBuffersAndUpdatesDerivedSizes) {
  auto bench = MakeBench({1, 2, 9, 9, 2, 3});
  auto& layer = ConvolutionOf(*bench);
  bench->AlterBottom(0, 1, 2, 5, 4);
  EXPECT_EQ(ShapeOf(*bench->top(0)), (std::vector<int>{1, 2, 3, 2}));
  EXPECT_EQ(bench->top(0)->count(), 12);
  EXPECT_EQ(layer.height_, 5);
  EXPECT_EQ(layer.width_, 4);
  EXPECT_EQ(layer.out_spatial_, 6);
  EXPECT_EQ(layer.weight_stride_, 36);
  EXPECT_EQ(layer.col_stride_, 18 * 6);
  EXPECT_EQ(layer.top_stride_, 12);
  EXPECT_EQ(ShapeOf(layer.col_buffer_), (std::vector<int>{1, 18, 7, 7}));
  EXPECT_EQ(layer.bias_multiplier_->size(), 49 * sizeof(float));
}

TEST(ConvolutionAlterInputShape, AcceptsASizeWithoutAPlace) {
  // (3 - 5) / 1 + 1 = -1: nothing stops it before the forward pass.
  auto bench = MakeBench({1, 1, 9, 9, 1, 5});
  bench->AlterBottom(0, 1, 1, 3, 3);
  EXPECT_EQ(bench->top(0)->height(), -1);
  EXPECT_EQ(bench->top(0)->width(), -1);
}

TEST(ConvolutionDeathTest, ForwardStopsAtAnInputBeyondTheSizeAtSetUp) {
  auto bench = MakeBench({1, 1, 5, 5, 1, 3});
  bench->AlterBottom(0, 1, 1, 6, 6);
  EXPECT_DEATH(bench->Forward(), HasSubstr("beyond the memory that it got at SetUp"));
}

TEST(ConvolutionDeathTest, ForwardStopsAtANegativeSize) {
  auto bench = MakeBench({1, 1, 9, 9, 1, 5});
  bench->AlterBottom(0, 1, 1, 3, 9);  // -1 by 5 places.
  EXPECT_DEATH(bench->Forward(), HasSubstr("resized to a negative size"));
}

TEST(ConvolutionDeathTest, ForwardStopsWithoutBiasMultiplier) {
  auto bench = MakeBench({1, 1, 5, 5, 1, 3});
  ConvolutionOf(*bench).bias_multiplier_.reset();
  EXPECT_DEATH(bench->Forward(), HasSubstr("Check failed: bias_multiplier_ "));
}

TEST(ConvolutionDeathTest, ChecksNumbersOfBlobs) {
  const std::string text = Convolution{1, 1, 3, 3, 1, 1}.text();
  EXPECT_DEATH(LayerBench(text, {{1, 1, 3, 3}, {1, 1, 3, 3}}),
               HasSubstr("Check failed: bottom.size() == 1 (2 vs. 1) Conv Layer takes a single "
                         "blob as input."));
  EXPECT_DEATH(LayerBench(text, {{1, 1, 3, 3}}, 0),
               HasSubstr("Check failed: top->size() == 1 (0 vs. 1) Conv Layer takes a single blob "
                         "as output."));
}

void ExpectSetUpDies(const std::string& convolution_param, const std::vector<int>& bottom,
                     const std::string& message) {
  EXPECT_DEATH(
      LayerBench("type: CONVOLUTION convolution_param { " + convolution_param + " }", {bottom}),
      HasSubstr(message));
}

TEST(ConvolutionDeathTest, ChecksOutputsAndGroups) {
  ExpectSetUpDies("kernel_size: 1", {1, 1, 3, 3}, "Check failed: num_output_ > 0 (0 vs. 0)");
  ExpectSetUpDies("num_output: 4 kernel_size: 1 group: 2", {1, 3, 3, 3},
                  "Check failed: channels_ % group_ == 0 (1 vs. 0)");
  ExpectSetUpDies("num_output: 3 kernel_size: 1 group: 2", {1, 2, 3, 3},
                  "Check failed: num_output_ % group_ == 0 (1 vs. 0) Number of output should be "
                  "multiples of group.");
  ExpectSetUpDies("num_output: 1 kernel_size: 1 group: 0", {1, 1, 3, 3},
                  "group should be at least 1.");
}

TEST(ConvolutionDeathTest, RefusesBadWindows) {
  ExpectSetUpDies("num_output: 1", {1, 1, 3, 3}, "kernel_size should be at least 1.");
  ExpectSetUpDies("num_output: 1 kernel_size: 4294967295", {1, 1, 3, 3},
                  "kernel_size should be at least 1.");
  ExpectSetUpDies("num_output: 1 kernel_size: 1 stride: 0", {1, 1, 3, 3},
                  "stride should be at least 1.");
  ExpectSetUpDies("num_output: 1 kernel_size: 1 pad: 3000000000", {1, 1, 3, 3},
                  "pad is too large.");
  ExpectSetUpDies("num_output: 1 kernel_size: 1 pad: 1500000000", {1, 1, 3, 3},
                  "too large together");
  ExpectSetUpDies("num_output: 1 kernel_size: 2 pad: 40000", {1, 1, 3, 3}, "too many elements");
  ExpectSetUpDies("num_output: 2000000000 kernel_size: 3", {1, 1, 3, 3}, "too many elements");
  ExpectSetUpDies("num_output: 1 kernel_size: 5", {1, 1, 3, 3}, "Check failed: height >= 0");
  ExpectSetUpDies("num_output: 1 kernel_size: 4", {1, 1, 3, 4},
                  "The kernel is larger than the padded input.");
}

TEST(ConvolutionDeathTest, RefusesCarriedParametersThatAreTooSmall) {
  const std::string param = "num_output: 2 kernel_size: 2 } blobs { ";
  ExpectSetUpDies(param + "num: 1 channels: 1 height: 2 width: 2 data: [1, 2, 3, 4]", {1, 1, 3, 3},
                  "weights of shape (1, 1, 2, 2), expected (2, 1, 2, 2)");
  const std::string weights =
      param + "num: 2 channels: 1 height: 2 width: 2 data: [1, 2, 3, 4, 5, 6, 7, 8] ";
  ExpectSetUpDies(weights, {1, 1, 3, 3}, "carries weights but no bias");
  ExpectSetUpDies(weights + "} blobs { num: 1 channels: 1 height: 1 width: 1 data: 1", {1, 1, 3, 3},
                  "a bias of shape (1, 1, 1, 1), expected (1, 1, 1, 2)");
}

TEST(Binarization, PreparationChecksTheGroupsAndNothingElse) {
  auto bench = MakeBench({1, 2, 3, 3, 2, 3});
  auto& layer = ConvolutionOf(*bench);
  const std::vector<float> weights = DataOf(*layer.blobs()[0]);
  layer.PrepareBinarization();
  EXPECT_EQ(DataOf(*layer.blobs()[0]), weights);
  EXPECT_FALSE(layer.binarized_kernel_);
}

TEST(BinarizationDeathTest, RefusesSeveralGroups) {
  auto bench = MakeBench({1, 2, 3, 3, 2, 3, 1, 0, /*group=*/2});
  EXPECT_DEATH(ConvolutionOf(*bench).PrepareBinarization(),
               HasSubstr("Check failed: group_ == 1 (2 vs. 1) binarization supports only single "
                         "group."));
}

TEST(BinarizationDeathTest, ForwardFailsWithoutAKernel) {
  auto bench = MakeBench({1, 2, 3, 3, 2, 3});
  EXPECT_DEATH(ConvolutionOf(*bench).Forward_binarized(bench->bottoms(), &bench->tops()),
               HasSubstr("Check failed: binarized_kernel_ "));
}

TEST(Binarization, ForwardAddsTheBiasToTheSumOfTheFirstScratchPlanes) {
  // One place an image: the output is scratch 0 + 1 + 2 in each of its two values, then the bias.
  LayerBench bench("type: CONVOLUTION convolution_param { num_output: 2 kernel_size: 3 }",
                   {{2, 3, 3, 3}});
  SetData(bench.layer().blobs()[1].get(), {1000, 2000});
  std::vector<std::uint16_t> codes(9, 0);
  std::vector<float> scratch = {1, 2, 10, 20, 100, 200, 0, 0, 0, 0, 0, 0};
  caffe::shared_ptr<BinarizedKernel> kernel(new BinarizedKernel());
  kernel->height = kernel->width = 3;
  kernel->row_length = 2;
  kernel->output_height = kernel->output_width = 1;
  kernel->plane_length = kernel->plane_stride = 2;
  kernel->scratch = scratch.data();
  for (BinarizedKernel::Colour& colour : kernel->colours) {
    for (std::uint16_t*& array : colour.codes) array = codes.data();
  }
  auto& layer = ConvolutionOf(bench);
  layer.binarized_kernel_ = kernel;
  FillSeeded(bench.bottom(0), 1);
  EXPECT_EQ(layer.Forward_binarized(bench.bottoms(), &bench.tops()), 0.0F);
  EXPECT_EQ(DataOf(*bench.top(0)), (std::vector<float>{1111, 2222, 1111, 2222}));
}

}  // namespace
}  // namespace caffe_test
