// Tests of the layers that move or share blobs, and of the product by elements.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstddef>
#include <string>
#include <vector>

#include "caffe/common_layers.hpp"
#include "tests/caffe/test_helpers.h"

namespace caffe_test {
namespace {

using caffe::ConcatLayer;
using caffe::FlattenLayer;
using caffe::SplitLayer;
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

TEST(Split, SharesTheMemoryOfItsInputWithEveryOutput) {
  LayerBench bench("type: SPLIT", {{2, 3, 4, 5}}, 3);
  EXPECT_EQ(bench.layer_as<SplitLayer<float>>().count_, 120);
  FillSeeded(bench.bottom(0), 1);
  EXPECT_EQ(bench.Forward(), 0.0F);
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(ShapeOf(*bench.top(i)), (std::vector<int>{2, 3, 4, 5}));
    EXPECT_EQ(bench.top(i)->cpu_data(), bench.bottom(0)->cpu_data());
  }
}

TEST(Split, BackwardSumsTheGradients) {
  LayerBench bench("type: SPLIT", {{1, 2, 1, 3}}, 3);
  FillSeeded(bench.bottom(0), 1);
  ExpectLayerMatchesReference(bench, [](const std::vector<std::vector<double>>& inputs) {
    return std::vector<std::vector<double>>(3, inputs[0]);
  });
  EXPECT_EQ(bench.bottom(0)->cpu_diff(), bench.top(0)->cpu_diff());
}

TEST(Split, FirstOutputMayBeTheInput) {
  Blob<float> bottom(1, 1, 1, 2), other;
  std::vector<Blob<float>*> bottoms = {&bottom}, tops = {&bottom, &other};
  auto layer = MakeLayer("type: SPLIT");
  layer->SetUp(bottoms, &tops);
  SetData(&bottom, {1, 2});
  layer->Forward(bottoms, &tops);
  EXPECT_EQ(DataOf(bottom), (std::vector<float>{1, 2}));
  EXPECT_EQ(DataOf(other), (std::vector<float>{1, 2}));
}

TEST(SplitDeathTest, ChecksBlobs) {
  EXPECT_DEATH(LayerBench("type: SPLIT", {{1, 1, 1, 1}, {1, 1, 1, 1}}),
               HasSubstr("Check failed: bottom.size() == 1 (2 vs. 1) Split Layer takes a single "
                         "blob as input."));
  EXPECT_DEATH(LayerBench("type: SPLIT", {{1, 1, 1, 1}}, 0),
               HasSubstr("Check failed: top->size() >= 1 (0 vs. 1) Split Layer takes at least one "
                         "blob as output."));
  Blob<float> bottom(1, 1, 1, 2), other;
  std::vector<Blob<float>*> bottoms = {&bottom}, tops = {&other, &bottom};
  auto layer = MakeLayer("type: SPLIT");
  EXPECT_DEATH(layer->SetUp(bottoms, &tops), HasSubstr("Check failed: (*top)[i] != bottom[0]"));
  EXPECT_DEATH(layer->SetUp(bottoms, &tops), HasSubstr("Only 0th top blob may be in place."));
}

TEST(Split, BackwardWithoutPropagationSharesNothing) {
  LayerBench bench("type: SPLIT", {{1, 1, 1, 1}}, 2);
  bench.Forward();
  SetDiff(bench.bottom(0), {7});
  SetDiff(bench.top(0), {1});
  bench.Backward(/*propagate_down=*/false);
  EXPECT_EQ(DiffOf(*bench.bottom(0)), std::vector<float>{7});
}

TEST(Flatten, SharesMemoryBothWays) {
  LayerBench bench("type: FLATTEN", {{2, 3, 4, 5}});
  EXPECT_EQ(ShapeOf(*bench.top(0)), (std::vector<int>{2, 60, 1, 1}));
  EXPECT_EQ(bench.layer_as<FlattenLayer<float>>().count_, 120);
  FillSeeded(bench.bottom(0), 1);
  ExpectLayerMatchesReference(
      bench, [](const std::vector<std::vector<double>>& inputs) { return inputs; });
  EXPECT_EQ(bench.top(0)->cpu_data(), bench.bottom(0)->cpu_data());
  EXPECT_EQ(bench.top(0)->cpu_diff(), bench.bottom(0)->cpu_diff());
}

TEST(FlattenDeathTest, ChecksNumbersOfBlobs) {
  EXPECT_DEATH(LayerBench("type: FLATTEN", {{1, 1, 1, 1}, {1, 1, 1, 1}}),
               HasSubstr("Check failed: bottom.size() == 1 (2 vs. 1) Flatten Layer takes a single "
                         "blob as input."));
  EXPECT_DEATH(LayerBench("type: FLATTEN", {{1, 1, 1, 1}}, 2),
               HasSubstr("Check failed: top->size() == 1 (2 vs. 1) Flatten Layer takes a single "
                         "blob as output."));
}

constexpr char kProduct[] = "type: ELTWISE_PRODUCT";

TEST(EltwiseProduct, MultipliesAllInputs) {
  for (int input_count : {2, 3, 5}) {
    LayerBench bench(kProduct, std::vector<std::vector<int>>(input_count, {2, 2, 3, 1}));
    EXPECT_EQ(ShapeOf(*bench.top(0)), (std::vector<int>{2, 2, 3, 1}));
    for (int i = 0; i < input_count; ++i) FillSeeded(bench.bottom(i), i, 0.5F, 2);
    ExpectLayerMatchesReference(bench, [](const std::vector<std::vector<double>>& inputs) {
      std::vector<double> top(inputs[0].size(), 1.0);
      for (const auto& input : inputs) {
        for (std::size_t i = 0; i < top.size(); ++i) top[i] *= input[i];
      }
      return std::vector<std::vector<double>>{top};
    });
  }
}

TEST(EltwiseProduct, BackwardDividesSoThatZerosSpoilTheGradient) {
  LayerBench bench(kProduct, {{1, 1, 1, 2}, {1, 1, 1, 2}});
  SetData(bench.bottom(0), {0, 2});
  SetData(bench.bottom(1), {3, 5});
  bench.Forward();
  SetDiff(bench.top(0), {1, 10});
  bench.Backward();
  EXPECT_TRUE(std::isnan(bench.bottom(0)->cpu_diff()[0]));
  EXPECT_EQ(bench.bottom(0)->cpu_diff()[1], 50.0F);
  EXPECT_EQ(DiffOf(*bench.bottom(1)), (std::vector<float>{0, 20}));
}

TEST(EltwiseProduct, BackwardWithoutPropagationLeavesTheBottomGradientAlone) {
  LayerBench bench(kProduct, {{1, 1, 1, 1}, {1, 1, 1, 1}});
  bench.Forward();
  SetDiff(bench.bottom(0), {7});
  bench.Backward(/*propagate_down=*/false);
  EXPECT_EQ(DiffOf(*bench.bottom(0)), std::vector<float>{7});
}

TEST(EltwiseProductDeathTest, ChecksBlobsAndShapes) {
  EXPECT_DEATH(LayerBench(kProduct, {{1, 1, 1, 1}}),
               HasSubstr("Check failed: bottom.size() >= 2 (1 vs. 2) Eltwise Product Layer takes "
                         "at least 2 blobs as input."));
  EXPECT_DEATH(LayerBench(kProduct, {{1, 1, 1, 1}, {1, 1, 1, 1}}, 2),
               HasSubstr("Check failed: top->size() == 1 (2 vs. 1) Eltwise Product Layer takes a "
                         "single blob as output."));
  EXPECT_DEATH(LayerBench(kProduct, {{1, 2, 3, 4}, {2, 2, 3, 4}}),
               HasSubstr("Check failed: num == bottom[i]->num() (1 vs. 2)"));
  EXPECT_DEATH(LayerBench(kProduct, {{1, 2, 3, 4}, {1, 2, 3, 4}, {1, 3, 3, 4}}),
               HasSubstr("Check failed: channels == bottom[i]->channels() (2 vs. 3)"));
  EXPECT_DEATH(LayerBench(kProduct, {{1, 2, 3, 4}, {1, 2, 4, 4}}),
               HasSubstr("Check failed: height == bottom[i]->height() (3 vs. 4)"));
  EXPECT_DEATH(LayerBench(kProduct, {{1, 2, 3, 4}, {1, 2, 3, 5}}),
               HasSubstr("Check failed: width == bottom[i]->width() (4 vs. 5)"));
}

}  // namespace
}  // namespace caffe_test
