// Tests of the rectifier.

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "caffe/neuron_layers.hpp"
#include "tests/caffe/elementwise_bench.h"
#include "tests/caffe/test_helpers.h"

namespace caffe_test {
namespace {

TEST(ReLU, CutsOffNegativeValues) {
  ExpectMaps("type: RELU", [](double x) { return x > 0 ? x : 0; });
}

TEST(ReLU, NotANumberYieldsZeroAndNegativeZeroPasses) {
  // Enough values for the vector loop and its remainder.
  std::vector<float> input;
  for (int i = 0; i < 19; ++i) input.push_back(i % 2 == 0 ? NAN : -0.0F);
  for (bool in_place : {false, true}) {
    LayerBench bench("type: RELU", {{1, 1, 1, 19}}, 1, in_place);
    SetData(bench.bottom(0), input);
    bench.Forward();
    for (int i = 0; i < 19; ++i) {
      const float value = bench.top(0)->cpu_data()[i];
      EXPECT_EQ(value, 0.0F);
      EXPECT_EQ(std::signbit(value), i % 2 == 1);
    }
  }
}

TEST(ReLU, InPlaceAfterAResizeCoversOnlyTheNewCount) {
  LayerBench bench("type: RELU", {{1, 1, 4, 5}}, 1, /*in_place=*/true);
  FillConstant(bench.bottom(0), -1.0F);
  bench.bottom(0)->OverwriteShape(1, 1, 2, 3);
  bench.Forward();
  const float* values = bench.top(0)->cpu_data();
  EXPECT_EQ(std::vector<float>(values, values + 6), std::vector<float>(6, 0.0F));
  EXPECT_EQ(std::vector<float>(values + 6, values + 20), std::vector<float>(14, -1.0F));
}

TEST(ReLU, GradientPassesWhereTheInputIsPositive) {
  EXPECT_EQ(Gradients("type: RELU", {-1, -0.0F, 0, 1e-30F, 2, NAN}),
            (std::vector<float>{0, 0, 0, 1, 1, 0}));
}

}  // namespace
}  // namespace caffe_test
