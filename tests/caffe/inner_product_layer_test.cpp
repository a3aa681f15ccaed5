// Tests of InnerProductLayer.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>
#include <string>
#include <vector>

#include "caffe/common_layers.hpp"
#include "tests/caffe/test_helpers.h"

namespace caffe_test {
namespace {

using caffe::InnerProductLayer;
using testing::HasSubstr;

std::string Definition(int outputs, bool bias) {
  return "type: INNER_PRODUCT inner_product_param { num_output: " + std::to_string(outputs) +
         " bias_term: " + (bias ? "true" : "false") +
         " weight_filler { type: 'gaussian' } bias_filler { type: 'gaussian' } }";
}

Reference MakeReference(int rows, int depth, int outputs, bool bias) {
  return [=](const std::vector<std::vector<double>>& inputs) {
    std::vector<double> top;
    for (int r = 0; r < rows; ++r) {
      for (int o = 0; o < outputs; ++o) {
        double sum = bias ? inputs[2][o] : 0.0;
        for (int k = 0; k < depth; ++k) sum += inputs[0][r * depth + k] * inputs[1][o * depth + k];
        top.push_back(sum);
      }
    }
    return std::vector<std::vector<double>>{top};
  };
}

TEST(InnerProduct, MatchesDefinitionAndGradient) {
  for (int rows : {1, 3}) {
    for (int outputs : {1, 2, 7}) {
      for (bool bias : {true, false}) {
        for (const std::vector<int>& image : {std::vector<int>{1, 1, 1}, {3, 2, 5}}) {
          const int depth = image[0] * image[1] * image[2];
          SCOPED_TRACE(Definition(outputs, bias) + " rows " + std::to_string(rows) + " depth " +
                       std::to_string(depth));
          LayerBench bench(Definition(outputs, bias), {{rows, image[0], image[1], image[2]}});
          FillSeeded(bench.bottom(0), 8);
          ExpectLayerMatchesReference(bench, MakeReference(rows, depth, outputs, bias), 1e-5, 1e-4);
        }
      }
    }
  }
}

TEST(InnerProduct, MatchesDefinitionForLongRowsAndNeverReadsFormerOutput) {
  for (int rows : {1, 2}) {
    for (bool bias : {true, false}) {
      LayerBench bench(Definition(13, bias), {{rows, 7, 23, 21}});
      FillSeeded(bench.bottom(0), 8);
      FillConstant(bench.top(0), std::numeric_limits<float>::quiet_NaN());
      bench.Forward();
      const auto inputs = InputsOf(bench.layer(), bench.bottoms());
      ExpectAllNear(MakeReference(rows, 7 * 23 * 21, 13, bias)(inputs)[0], DataOf(*bench.top(0)),
                    1e-4);
    }
  }
}

TEST(InnerProduct, TreatsAnImageAsOneRow) {
  LayerBench bench(Definition(64, true), {{1, 32, 10, 10}});
  const auto& layer = bench.layer_as<InnerProductLayer<float>>();
  EXPECT_EQ(layer.rows_, 1);
  EXPECT_EQ(layer.depth_, 3200);
  EXPECT_EQ(layer.outputs_, 64);
  EXPECT_TRUE(layer.bias_term_);
  EXPECT_EQ(ShapeOf(*bench.top(0)), (std::vector<int>{1, 64, 1, 1}));
  EXPECT_EQ(ShapeOf(*bench.layer().blobs()[0]), (std::vector<int>{1, 1, 64, 3200}));
  EXPECT_EQ(ShapeOf(*bench.layer().blobs()[1]), (std::vector<int>{1, 1, 1, 64}));
}

TEST(InnerProduct, WithoutBiasHasOneParameterAndNoMultiplier) {
  LayerBench bench(Definition(2, false), {{3, 1, 1, 4}});
  EXPECT_EQ(bench.layer().blobs().size(), 1U);
  EXPECT_FALSE(bench.layer_as<InnerProductLayer<float>>().bias_multiplier_);
}

TEST(InnerProduct, BiasReachesEveryRow) {
  LayerBench bench(Definition(2, true), {{3, 1, 1, 4}});
  SetData(bench.layer().blobs()[1].get(), {5, -7});
  EXPECT_EQ(bench.layer_as<InnerProductLayer<float>>().bias_multiplier_->size(), 3 * sizeof(float));
  EXPECT_EQ(bench.Forward(), 0.0F);  // The input is zero.
  EXPECT_EQ(DataOf(*bench.top(0)), (std::vector<float>{5, -7, 5, -7, 5, -7}));
}

TEST(InnerProduct, KeepsParametersThatTheDefinitionCarries) {
  LayerBench bench(
      "type: INNER_PRODUCT inner_product_param { num_output: 1 weight_filler { type: 'none' } } "
      "blobs { num: 1 channels: 1 height: 1 width: 2 data: [3, 4] } "
      "blobs { num: 1 channels: 1 height: 1 width: 1 data: 100 }",
      {{1, 1, 2, 1}});
  SetData(bench.bottom(0), {1, 2});
  bench.Forward();
  EXPECT_EQ(DataOf(*bench.top(0)), std::vector<float>{111});
}

TEST(InnerProduct, BackwardWithoutPropagationLeavesTheBottomGradientAlone) {
  LayerBench bench(Definition(2, true), {{1, 1, 1, 2}});
  SetDiff(bench.bottom(0), {7, 7});
  SetData(bench.bottom(0), {1, 2});
  bench.Forward();
  SetDiff(bench.top(0), {10, 100});
  bench.Backward(/*propagate_down=*/false);
  EXPECT_EQ(DiffOf(*bench.bottom(0)), (std::vector<float>{7, 7}));
  EXPECT_EQ(DiffOf(*bench.layer().blobs()[0]), (std::vector<float>{10, 20, 100, 200}));
  EXPECT_EQ(DiffOf(*bench.layer().blobs()[1]), (std::vector<float>{10, 100}));
}

TEST(InnerProductDeathTest, ChecksNumbersOfBlobs) {
  EXPECT_DEATH(LayerBench(Definition(1, true), {}),
               HasSubstr("Check failed: bottom.size() == 1 (0 vs. 1) IP Layer takes a single blob "
                         "as input."));
  EXPECT_DEATH(LayerBench(Definition(1, true), {{1, 1, 1, 1}}, 2),
               HasSubstr("Check failed: top->size() == 1 (2 vs. 1) IP Layer takes a single blob as "
                         "output."));
}

TEST(InnerProductDeathTest, ForwardStopsWithoutBiasMultiplier) {
  LayerBench bench(Definition(1, true), {{1, 1, 1, 1}});
  bench.layer_as<InnerProductLayer<float>>().bias_multiplier_.reset();
  EXPECT_DEATH(bench.Forward(), HasSubstr("Check failed: bias_multiplier_ "));
}

TEST(InnerProductDeathTest, RefusesBadDefinitions) {
  EXPECT_DEATH(LayerBench(Definition(1, true), {{0, 1, 1, 1}}),
               HasSubstr("The input holds no image."));
  EXPECT_DEATH(LayerBench("type: INNER_PRODUCT inner_product_param { num_output: 3000000000 }",
                          {{1, 1, 1, 1}}),
               HasSubstr("Check failed: channels >= 0"));
  EXPECT_DEATH(LayerBench("type: INNER_PRODUCT inner_product_param { num_output: 2000000000 }",
                          {{1, 1, 1, 2}}),
               HasSubstr("too many elements"));
  const std::string carried =
      "type: INNER_PRODUCT inner_product_param { num_output: 2 } blobs { num: 1 channels: 1 ";
  EXPECT_DEATH(LayerBench(carried + "height: 2 width: 1 data: [1, 2] }", {{1, 1, 1, 2}}),
               HasSubstr("weights of shape (1, 1, 2, 1), expected (1, 1, 2, 2)"));
  const std::string weights = carried + "height: 2 width: 2 data: [1, 2, 3, 4] }";
  EXPECT_DEATH(LayerBench(weights, {{1, 1, 1, 2}}), HasSubstr("carries weights but no bias"));
  EXPECT_DEATH(LayerBench(weights + " blobs { num: 1 channels: 1 height: 1 width: 1 data: 1 }",
                          {{1, 1, 1, 2}}),
               HasSubstr("a bias of shape (1, 1, 1, 1), expected (1, 1, 1, 2)"));
}

}  // namespace
}  // namespace caffe_test
