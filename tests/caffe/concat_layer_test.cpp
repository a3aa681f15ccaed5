// Tests of the layer that joins blobs.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <vector>

#include "caffe/common_layers.hpp"
#include "tests/caffe/test_helpers.h"

namespace caffe_test {
namespace {

using caffe::ConcatLayer;
using testing::HasSubstr;

constexpr char kConcat[] = "type: CONCAT";
constexpr char kConcatImages[] = "type: CONCAT concat_param { concat_dim: 0 }";

TEST(Concat, JoinsFeatureVectorsInOrder) {
  LayerBench bench(kConcat, {{1, 16, 1, 1}, {1, 64, 1, 1}, {1, 256, 1, 1}});
  EXPECT_EQ(ShapeOf(*bench.top(0)), (std::vector<int>{1, 336, 1, 1}));
  for (int i = 0; i < 3; ++i) FillConstant(bench.bottom(i), i + 1.0F);
  EXPECT_EQ(bench.Forward(), 0.0F);
  std::vector<float> expected(336, 3.0F);
  std::fill_n(expected.begin(), 80, 2.0F);
  std::fill_n(expected.begin(), 16, 1.0F);
  EXPECT_EQ(DataOf(*bench.top(0)), expected);
}

TEST(Concat, TwoVectorsGiveTheirSum) {
  LayerBench bench(kConcat, {{1, 16, 1, 1}, {1, 64, 1, 1}});
  const auto& layer = bench.layer_as<ConcatLayer<float>>();
  EXPECT_EQ(ShapeOf(*bench.top(0)), (std::vector<int>{1, 80, 1, 1}));
  EXPECT_EQ(layer.count_, 80);
  EXPECT_EQ(layer.num_, 1);
  EXPECT_EQ(layer.channels_, 80);
  EXPECT_EQ(layer.height_, 1);
  EXPECT_EQ(layer.width_, 1);
  EXPECT_EQ(layer.concat_dim_, 1);
}

// Joins along dim, element by element.
Reference ConcatReference(int dim, int num, const std::vector<int>& inner_sizes) {
  return [=](const std::vector<std::vector<double>>& inputs) {
    std::vector<double> top;
    const auto append = [&](const std::vector<double>& input, int begin, int size) {
      for (int i = begin; i < begin + size; ++i) top.push_back(input[i]);
    };
    if (dim == 0) {
      for (const auto& input : inputs) append(input, 0, static_cast<int>(input.size()));
    } else {
      for (int n = 0; n < num; ++n) {
        for (std::size_t i = 0; i < inputs.size(); ++i) {
          append(inputs[i], n * inner_sizes[i], inner_sizes[i]);
        }
      }
    }
    return std::vector<std::vector<double>>{top};
  };
}

TEST(Concat, AlongChannelsInterleavesTheImages) {
  LayerBench bench(kConcat, {{2, 2, 3, 2}, {2, 1, 3, 2}, {2, 4, 3, 2}});
  EXPECT_EQ(ShapeOf(*bench.top(0)), (std::vector<int>{2, 7, 3, 2}));
  for (int i = 0; i < 3; ++i) FillSeeded(bench.bottom(i), i);
  ExpectLayerMatchesReference(bench, ConcatReference(1, 2, {12, 6, 24}));
  EXPECT_EQ(bench.top(0)->cpu_data()[42], bench.bottom(0)->cpu_data()[12]);
}

TEST(Concat, AlongImagesAppendsWholeInputs) {
  LayerBench bench(kConcatImages, {{2, 2, 3, 2}, {1, 2, 3, 2}, {3, 2, 3, 2}});
  EXPECT_EQ(ShapeOf(*bench.top(0)), (std::vector<int>{6, 2, 3, 2}));
  for (int i = 0; i < 3; ++i) FillSeeded(bench.bottom(i), i);
  ExpectLayerMatchesReference(bench, ConcatReference(0, 0, {}));
}

TEST(Concat, ComparesShapesByTheirCountAlone) {
  LayerBench bench(kConcat, {{1, 1, 2, 3}, {1, 1, 3, 2}});
  EXPECT_EQ(ShapeOf(*bench.top(0)), (std::vector<int>{1, 2, 2, 3}));
  SetData(bench.bottom(0), {1, 2, 3, 4, 5, 6});
  SetData(bench.bottom(1), {7, 8, 9, 10, 11, 12});
  bench.Forward();
  EXPECT_EQ(DataOf(*bench.top(0)), (std::vector<float>{1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12}));
}

TEST(Concat, BackwardWithoutPropagationLeavesTheBottomGradientsAlone) {
  LayerBench bench(kConcat, {{1, 1, 1, 1}, {1, 1, 1, 1}});
  SetDiff(bench.top(0), {1, 2});
  SetDiff(bench.bottom(0), {7});
  bench.Backward(/*propagate_down=*/false);
  EXPECT_EQ(DiffOf(*bench.bottom(0)), std::vector<float>{7});
}

TEST(ConcatDeathTest, ChecksBlobsAndDimension) {
  EXPECT_DEATH(LayerBench(kConcat, {{1, 1, 1, 1}}),
               HasSubstr("Check failed: bottom.size() > 1 (1 vs. 1) Concat Layer takes at least "
                         "two blobs as input."));
  EXPECT_DEATH(LayerBench(kConcat, {{1, 1, 1, 1}, {1, 1, 1, 1}}, 2),
               HasSubstr("Check failed: top->size() == 1 (2 vs. 1) Concat Layer takes a single "
                         "blob as output."));
  EXPECT_DEATH(
      LayerBench("type: CONCAT concat_param { concat_dim: 2 }", {{1, 1, 1, 1}, {1, 1, 1, 1}}),
      HasSubstr("Check failed: concat_dim_ <= 1 (2 vs. 1) For now concat_dim <=1, it can "
                "only concat num and channels"));
  EXPECT_DEATH(LayerBench("type: CONCAT concat_param { concat_dim: 4294967295 }",
                          {{1, 1, 1, 1}, {1, 1, 1, 1}}),
               HasSubstr("Check failed: concat_dim_ >= 0 (-1 vs. 0) concat_dim should be >= 0"));
  EXPECT_DEATH(LayerBench(kConcat, {{1, 1, 2, 2}, {1, 1, 2, 3}}),
               HasSubstr("Check failed: count_ == (*top)[0]->count() (10 vs. 8)"));
  EXPECT_DEATH(LayerBench(kConcat, {{1, 1, 32768, 32768}, {1, 1, 32768, 32768}}),
               HasSubstr("The output has too many elements."));
}

TEST(ConcatDeathTest, RefusesAnotherDimensionInTheForwardPass) {
  LayerBench bench(kConcat, {{1, 1, 1, 1}, {1, 1, 1, 1}});
  bench.layer_as<ConcatLayer<float>>().concat_dim_ = 2;
  EXPECT_DEATH(bench.Forward(), HasSubstr("concat_dim along dim2 not implemented yet"));
}

TEST(ConcatDeathTest, RefusesBlocksThatDoNotFitDespiteTheirCount) {
  EXPECT_DEATH(LayerBench(kConcat, {{2, 1, 2, 1}, {1, 2, 2, 2}}),
               HasSubstr("Input 1 has fewer images than the first."));
  EXPECT_DEATH(LayerBench(kConcatImages, {{1, 1, 2, 1}, {1, 1, 1, 1}, {1, 1, 3, 1}}),
               HasSubstr("Input 2 reaches past the end of the output."));
}

TEST(ConcatDeathTest, ForwardStopsAtAnInputBeyondTheSizeAtSetUp) {
  LayerBench bench(kConcat, {{1, 1, 2, 2}, {1, 1, 2, 2}});
  bench.bottom(1)->OverwriteShape(1, 1, 3, 2);
  EXPECT_DEATH(bench.Forward(), HasSubstr("beyond the memory that it got at SetUp"));
}

}  // namespace
}  // namespace caffe_test
