// The shape that each kind of layer makes, and parameters that are refused.

#include "kit/models/layer_shapes.h"

#include <google/protobuf/text_format.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "tests/kit/models/refusal.h"

namespace {

using caffe::LayerParameter;
using kit::LayerPlan;
using kit::Shape;
using kit_test::expectWords;
using kit_test::refusalOf;

LayerParameter layerOf(const std::string& text) {
  LayerParameter layer;
  EXPECT_TRUE(google::protobuf::TextFormat::ParseFromString(text, &layer)) << text;
  return layer;
}

LayerPlan planOf(const std::string& text, const std::vector<Shape>& bottoms,
                 bool is_dense = false) {
  LayerParameter for_runtime;
  return kit::planLayer("it", layerOf(text), bottoms, is_dense, for_runtime);
}

std::string refusal(const std::string& text, const std::vector<Shape>& bottoms,
                    bool is_dense = false) {
  return refusalOf(OZNAKIT_BAD_MODEL, [&] { planOf(text, bottoms, is_dense); });
}

void expectTop(const LayerPlan& plan, std::int64_t channels, std::int64_t height,
               std::int64_t width) {
  EXPECT_EQ(plan.top.channels, channels);
  EXPECT_EQ(plan.top.height, height);
  EXPECT_EQ(plan.top.width, width);
}

TEST(PlanLayer, ConvolutionsCutTheirSidesDown) {
  // (11 + 2 * 1 - 4) / 2 + 1 = 5 rows, (8 + 2 - 4) / 2 + 1 = 4 columns.
  const LayerPlan plan = planOf(
      "type: CONVOLUTION convolution_param { num_output: 6 kernel_size: 4 stride: 2 pad: 1 "
      "group: 3 }",
      {{3, 11, 8}});
  expectTop(plan, 6, 5, 4);
  EXPECT_TRUE(plan.has_weights);
  EXPECT_TRUE(plan.has_bias);
  EXPECT_EQ(plan.weight_shape, (std::vector<int>{6, 1, 4, 4}));
  EXPECT_EQ(plan.outputs, 6);
  EXPECT_EQ(plan.products, 6 * 16 * 20);
}

TEST(PlanLayer, PoolingsRoundUp) {
  // (11 - 3) / 2 + 1 = 5 in full, (8 - 3) / 2 + 1 = 3.5.
  expectTop(planOf("type: POOLING pooling_param { kernel_size: 3 stride: 2 }", {{7, 11, 8}}), 7, 5,
            4);
}

TEST(PlanLayer, InnerProductsSeeAllValues) {
  const LayerPlan plan = planOf(
      "type: INNER_PRODUCT inner_product_param { num_output: 5 bias_term: false }", {{2, 3, 4}});
  expectTop(plan, 5, 1, 1);
  EXPECT_FALSE(plan.has_bias);
  EXPECT_EQ(plan.weight_shape, (std::vector<int>{1, 1, 5, 24}));
  EXPECT_EQ(plan.products, 120);
}

TEST(PlanLayer, JoinsFlattensAndMultiplies) {
  expectTop(planOf("type: CONCAT", {{2, 3, 4}, {5, 3, 4}, {1, 3, 4}}), 8, 3, 4);
  expectTop(planOf("type: FLATTEN", {{2, 3, 4}}), 24, 1, 1);
  expectTop(planOf("type: ELTWISE_PRODUCT", {{2, 3, 4}, {2, 3, 4}}), 2, 3, 4);
  for (const char* type :
       {"RELU", "SIGMOID", "TANH", "BNLL", "POWER", "DROPOUT", "SOFTMAX", "LRN"}) {
    expectTop(planOf("type: " + std::string(type), {{2, 3, 4}}), 2, 3, 4);
  }
}

TEST(PlanLayer, CopiesWhatARunNeedsAndNoMore) {
  LayerParameter for_runtime;
  kit::planLayer("it",
                 layerOf("name: 'c' type: CONVOLUTION bottom: 'a' top: 'b' blobs_lr: 1 "
                         "convolution_param { num_output: 2 kernel_size: 1 weight_filler { type: "
                         "'xavier' } }"),
                 {{1, 1, 1}}, false, for_runtime);
  EXPECT_EQ(for_runtime.ShortDebugString(),
            "type: CONVOLUTION convolution_param { num_output: 2 bias_term: true pad: 0 "
            "kernel_size: 1 group: 1 stride: 1 }");
}

TEST(PlanLayer, RefusesParametersOutOfRange) {
  const std::vector<Shape> bottom = {{4, 9, 9}};
  const auto conv = [](const std::string& fields) {
    return "type: CONVOLUTION convolution_param { " + fields + " }";
  };
  expectWords(refusal(conv("kernel_size: 3"), bottom), "num_output of 1 to 65536, found 0.");
  expectWords(refusal(conv("num_output: 1 kernel_size: 0"), bottom), "kernel_size of 1 to 255");
  expectWords(refusal(conv("num_output: 1 kernel_size: 3 stride: 0"), bottom), "stride of 1");
  expectWords(refusal(conv("num_output: 1 kernel_size: 3 pad: 3"), bottom), "pad of 0 to 2");
  expectWords(refusal(conv("num_output: 1 kernel_size: 10"), bottom),
              "it: expected kernel_size within the padded input of 9 by 9, found 10.");
  expectWords(refusal(conv("num_output: 2 kernel_size: 3 group: 3"), bottom),
              "group to divide 4 channels and 2 outputs, found 3.");
  expectWords(refusal("type: POOLING pooling_param { kernel_size: 2 stride: 3 }", bottom),
              "stride of 1 to 2");
  expectWords(refusal("type: POOLING pooling_param { kernel_size: 2 pool: STOCHASTIC }", bottom),
              "pool MAX or AVE");
  expectWords(refusal("type: DROPOUT dropout_param { dropout_ratio: 1 }", bottom), "dropout_ratio");
  expectWords(refusal("type: POWER power_param { power: inf }", bottom), "a finite power");
  expectWords(refusal("type: LRN lrn_param { local_size: 4 norm_region: WITHIN_CHANNEL }", bottom),
              "an odd local_size, found 4.");
  expectWords(refusal("type: SOFTMAX", {{1, 2, 2}}), "an input of at least two channels, found 1.");
}

TEST(PlanLayer, RefusesInputsThatDoNotFit) {
  expectWords(refusal("type: RELU", {}), "one input, found 0.");
  expectWords(refusal("type: RELU", {{1, 1, 1}, {1, 1, 1}}), "one input, found 2.");
  expectWords(refusal("type: CONCAT", {{1, 1, 1}}), "at least two inputs, found 1.");
  expectWords(refusal("type: CONCAT", {{1, 2, 3}, {1, 3, 2}}), "inputs of 3 by 2, found 2 by 3.");
  expectWords(refusal("type: CONCAT concat_param { concat_dim: 0 }", {{1, 1, 1}, {1, 1, 1}}),
              "concat_dim 1");
  expectWords(refusal("type: ELTWISE_PRODUCT", {{2, 1, 1}, {3, 1, 1}}), "inputs of 2 channels");
}

TEST(PlanLayer, RefusesMoreValuesThanAnyNetworkNeeds) {
  const std::int64_t side = 8192;  // Squared, exactly as many as there may be.
  expectTop(planOf("type: RELU", {{1, side, side}}), 1, side, side);
  expectWords(refusal("type: CONCAT", {{1, side, side}, {1, side, side}}),
              "an output of at most 67108864 values, found 134217728.");
  expectWords(
      refusal("type: INNER_PRODUCT inner_product_param { num_output: 2 }", {{1, side, side}}),
      "weights of at most");
}

TEST(PlanLayer, RefusesInASlidingNetworkWhatDoesNotSlide) {
  const std::vector<Shape> bottom = {{4, 9, 9}};
  expectWords(refusal("type: FLATTEN", bottom, true), "a kind of layer that slides over pictures");
  expectWords(refusal("type: INNER_PRODUCT", bottom, true), "found INNER_PRODUCT.");
  // Padding that would make a side grow.
  expectWords(refusal("type: CONVOLUTION convolution_param { num_output: 1 kernel_size: 3 pad: 2 }",
                      bottom, true),
              "pad of 0 to 1, found 2.");
  expectWords(refusal("type: DATA", bottom), "a kind of layer that a search can run, found DATA.");
  expectWords(refusal("name: 'x'", bottom), "found an unknown one.");
}

TEST(MapsEachValue, HoldsForTheKindsThatWorkInPlace) {
  EXPECT_TRUE(kit::mapsEachValue(LayerParameter::RELU));
  EXPECT_TRUE(kit::mapsEachValue(LayerParameter::DROPOUT));
  EXPECT_FALSE(kit::mapsEachValue(LayerParameter::SOFTMAX));
  EXPECT_FALSE(kit::mapsEachValue(LayerParameter::POOLING));
}

}  // namespace
