// Tests of the layer that hands a blob to several consumers.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <vector>

#include "caffe/common_layers.hpp"
#include "tests/caffe/test_helpers.h"

namespace caffe_test {
namespace {

using caffe::SplitLayer;
using testing::HasSubstr;

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

}  // namespace
}  // namespace caffe_test
