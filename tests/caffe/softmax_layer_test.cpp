// Tests of SoftmaxLayer.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

#include "caffe/common_layers.hpp"
#include "tests/caffe/test_helpers.h"

namespace caffe_test {
namespace {

using caffe::SoftmaxLayer;
using testing::HasSubstr;

constexpr char kSoftmax[] = "type: SOFTMAX";

// One maximum per image; only the first image is divided by its sums.
std::vector<double> ReferenceSoftmax(const std::vector<double>& input, int num, int channels,
                                     int spatial) {
  std::vector<double> output;
  const int dim = channels * spatial;
  for (int n = 0; n < num; ++n) {
    const double maximum = *std::max_element(&input[n * dim], &input[n * dim] + dim);
    for (int i = 0; i < dim; ++i) output.push_back(std::exp(input[n * dim + i] - maximum));
  }
  for (int s = 0; s < spatial; ++s) {
    double sum = 0;
    for (int c = 0; c < channels; ++c) sum += output[c * spatial + s];
    for (int c = 0; c < channels; ++c) output[c * spatial + s] /= sum;
  }
  return output;
}

void ExpectSoftmax(const Blob<float>* bottom, const Blob<float>* top) {
  const std::vector<float> input = DataOf(*bottom);
  ExpectAllNear(ReferenceSoftmax({input.begin(), input.end()}, bottom->num(), bottom->channels(),
                                 bottom->height() * bottom->width()),
                DataOf(*top), 2e-6);
}

TEST(Softmax, MatchesDefinitionOverSweptShapes) {
  for (int num : {1, 2, 3}) {
    for (int channels : {2, 3, 19}) {
      for (const std::vector<int>& size : {std::vector<int>{1, 1}, {3, 5}, {7, 2}, {6, 11}}) {
        SCOPED_TRACE(channels);
        LayerBench bench(kSoftmax, {{num, channels, size[0], size[1]}});
        FillSeeded(bench.bottom(0), 9, -4, 4);
        EXPECT_EQ(bench.Forward(), 0.0F);
        EXPECT_EQ(ShapeOf(*bench.top(0)), (std::vector<int>{num, channels, size[0], size[1]}));
        ExpectSoftmax(bench.bottom(0), bench.top(0));
      }
    }
  }
}

TEST(Softmax, SetUpShapesItsBuffers) {
  LayerBench bench(kSoftmax, {{2, 3, 4, 5}});
  const auto& layer = bench.layer_as<SoftmaxLayer<float>>();
  EXPECT_EQ(ShapeOf(layer.sum_multiplier_), (std::vector<int>{1, 3, 4, 5}));
  EXPECT_EQ(DataOf(layer.sum_multiplier_), std::vector<float>(60, 1.0F));
  EXPECT_EQ(ShapeOf(layer.scale_), (std::vector<int>{2, 1, 1, 1}));
  EXPECT_EQ(ShapeOf(layer.sum_buffer_), (std::vector<int>{1, 1, 5, 4}));
}

TEST(Softmax, TwoProbabilitiesSumToOne) {
  LayerBench bench(kSoftmax, {{1, 2, 1, 1}});
  SetData(bench.bottom(0), {1.5F, -2});
  bench.Forward();
  const std::vector<float> probabilities = DataOf(*bench.top(0));
  EXPECT_NEAR(probabilities[0] + probabilities[1], 1.0F, 1e-6);
  EXPECT_NEAR(probabilities[0], 1 / (1 + std::exp(-3.5)), 1e-6);
}

// The smallest number above 0 is 2^-149; the exponential of -104 is less than half of it.
TEST(Softmax, GapsOfLessThan104AreStillNumbers) {
  LayerBench bench(kSoftmax, {{1, 2, 1, 2}});
  for (const float gap : {88.0F, 100.0F, 103.0F, 104.0F}) {
    SetData(bench.bottom(0), {gap, 0, gap, 0});  // Both scores of the second position lie below.
    bench.Forward();
    const std::vector<float> probabilities = DataOf(*bench.top(0));
    EXPECT_EQ(probabilities[0], 0.5F) << gap;
    if (gap < 104) {
      EXPECT_EQ(probabilities[1], 0.5F) << gap;
    } else {
      EXPECT_TRUE(std::isnan(probabilities[1])) << gap;
    }
  }
}

TEST(Softmax, PositionsFarBelowTheMaximumAreNotANumber) {
  LayerBench bench(kSoftmax, {{1, 2, 1, 2}});
  SetData(bench.bottom(0), {0, 200, 0, 200});
  bench.Forward();
  const std::vector<float> probabilities = DataOf(*bench.top(0));
  EXPECT_TRUE(std::isnan(probabilities[0]));
  EXPECT_TRUE(std::isnan(probabilities[2]));
  EXPECT_EQ(probabilities[1], 0.5F);
  EXPECT_EQ(probabilities[3], 0.5F);
}

TEST(Softmax, NormalizesOnlyTheFirstImage) {
  LayerBench bench(kSoftmax, {{2, 2, 1, 1}});
  SetData(bench.bottom(0), {3, 3, 7, 7});
  bench.Forward();
  EXPECT_EQ(DataOf(*bench.top(0)), (std::vector<float>{0.5F, 0.5F, 1, 1}));
  EXPECT_EQ(DataOf(bench.layer_as<SoftmaxLayer<float>>().scale_), (std::vector<float>{3, 7}));
}

TEST(Softmax, MaximumIsFoundAtEveryPosition) {
  // 41 values: two rounds of the lanes and a remainder.
  for (int at = 0; at < 82; ++at) {
    LayerBench bench(kSoftmax, {{1, 2, 1, 41}});
    FillConstant(bench.bottom(0), -50.0F);
    bench.bottom(0)->mutable_cpu_data()[at] = 30.0F;
    bench.Forward();
    EXPECT_EQ(bench.layer_as<SoftmaxLayer<float>>().scale_.cpu_data()[0], 30.0F) << at;
  }
}

TEST(Softmax, WorksInPlace) {
  LayerBench apart(kSoftmax, {{1, 3, 2, 2}}), in_place(kSoftmax, {{1, 3, 2, 2}}, 1, true);
  FillSeeded(apart.bottom(0), 2);
  FillSeeded(in_place.bottom(0), 2);
  apart.Forward();
  in_place.Forward();
  EXPECT_EQ(DataOf(*in_place.top(0)), DataOf(*apart.top(0)));
}

TEST(SoftmaxAlterInputShape, EqualsAFreshLayerDownAndUp) {
  LayerBench bench(kSoftmax, {{1, 2, 9, 7}});
  const auto& layer = bench.layer_as<SoftmaxLayer<float>>();
  const float* memory = bench.top(0)->cpu_data();
  const int sizes[][2] = {{9, 7}, {4, 5}, {2, 2}, {7, 9}, {9, 7}};
  for (const auto& size : sizes) {
    bench.AlterBottom(0, 1, 2, size[0], size[1]);
    FillSeeded(bench.bottom(0), size[0]);
    bench.Forward();
    LayerBench fresh(kSoftmax, {{1, 2, size[0], size[1]}});
    SetData(fresh.bottom(0), DataOf(*bench.bottom(0)));
    fresh.Forward();
    EXPECT_EQ(ShapeOf(*bench.top(0)), (std::vector<int>{1, 2, size[0], size[1]}));
    EXPECT_EQ(DataOf(*bench.top(0)), DataOf(*fresh.top(0)));
    EXPECT_EQ(ShapeOf(layer.sum_multiplier_), (std::vector<int>{1, 2, size[0], size[1]}));
    EXPECT_EQ(layer.sum_multiplier_.count(), 2 * size[0] * size[1]);
    EXPECT_EQ(ShapeOf(layer.scale_), (std::vector<int>{1, 1, 1, 1}));
    EXPECT_EQ(ShapeOf(layer.sum_buffer_), (std::vector<int>{1, 1, 7, 9}));
    EXPECT_EQ(bench.top(0)->cpu_data(), memory);
  }
}

TEST(SoftmaxBackward, IsTheGradientForASingleImageAndPosition) {
  for (int channels : {2, 5}) {
    LayerBench bench(kSoftmax, {{1, channels, 1, 1}});
    FillSeeded(bench.bottom(0), 12);
    ExpectLayerMatchesReference(bench, [&](const std::vector<std::vector<double>>& inputs) {
      return std::vector<std::vector<double>>{ReferenceSoftmax(inputs[0], 1, channels, 1)};
    });
  }
}

TEST(SoftmaxBackward, TakesEachImageAsOneDistribution) {
  LayerBench bench(kSoftmax, {{2, 3, 2, 1}});
  FillSeeded(bench.bottom(0), 13);
  bench.Forward();
  SetDiff(bench.top(0), SeededValues(12, 14));
  bench.Backward();
  const float* y = bench.top(0)->cpu_data();
  const float* t = bench.top(0)->cpu_diff();
  std::vector<double> expected;
  for (int n = 0; n < 2; ++n) {
    double dot = 0;
    for (int i = 0; i < 6; ++i) dot += static_cast<double>(y[n * 6 + i]) * t[n * 6 + i];
    for (int i = 0; i < 6; ++i) expected.push_back((t[n * 6 + i] - dot) * y[n * 6 + i]);
  }
  ExpectAllNear(expected, DiffOf(*bench.bottom(0)), 1e-6);
}

TEST(SoftmaxBackward, WithoutPropagationLeavesTheBottomGradientAlone) {
  LayerBench bench(kSoftmax, {{1, 2, 1, 1}});
  bench.Forward();
  SetDiff(bench.top(0), {1, 2});
  SetDiff(bench.bottom(0), {7, 7});
  bench.Backward(/*propagate_down=*/false);
  EXPECT_EQ(DiffOf(*bench.bottom(0)), (std::vector<float>{7, 7}));
}

TEST(SoftmaxDeathTest, ChecksBlobsAndChannels) {
  EXPECT_DEATH(LayerBench(kSoftmax, {{1, 2, 1, 1}, {1, 2, 1, 1}}),
               HasSubstr("Check failed: bottom.size() == 1 (2 vs. 1) Softmax Layer takes a single "
                         "blob as input."));
  EXPECT_DEATH(LayerBench(kSoftmax, {{1, 2, 1, 1}}, 2),
               HasSubstr("Check failed: top->size() == 1 (2 vs. 1) Softmax Layer takes a single "
                         "blob as output."));
  EXPECT_DEATH(LayerBench(kSoftmax, {{1, 1, 1, 1}}),
               HasSubstr("Check failed: (*top)[0]->channels() >= 2 (1 vs. 2) Softmax Layer takes "
                         "more than two-channels output."));
}

TEST(SoftmaxDeathTest, ForwardStopsAtAnInputBeyondTheSizeAtSetUp) {
  LayerBench bench(kSoftmax, {{1, 2, 3, 3}});
  bench.AlterBottom(0, 1, 2, 4, 3);
  EXPECT_DEATH(bench.Forward(), HasSubstr("beyond the memory that it got at SetUp"));
}

}  // namespace
}  // namespace caffe_test
