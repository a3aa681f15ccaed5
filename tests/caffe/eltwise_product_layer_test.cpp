// Tests of the product by elements.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstddef>
#include <vector>

#include "caffe/common_layers.hpp"
#include "tests/caffe/test_helpers.h"

namespace caffe_test {
namespace {

using testing::HasSubstr;

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
