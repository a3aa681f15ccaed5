// Tests of the smooth rectifier.

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "caffe/neuron_layers.hpp"
#include "tests/caffe/elementwise_bench.h"

namespace caffe_test {
namespace {

TEST(BNLL, IsLogOfOnePlusExp) {
  ExpectMaps(
      "type: BNLL", [](double x) { return std::log(1 + std::exp(x)); }, -8, 8);
  EXPECT_EQ(Outputs("type: BNLL", {0, 300, -300}), (std::vector<float>{std::log(2.0F), 300, 0}));
}

TEST(BNLL, GradientLimitsItsExponent) {
  // Without the limit exp(300) would be infinite and the gradient NaN.
  EXPECT_EQ(Gradients("type: BNLL", {300, 51, 0}), (std::vector<float>{1, 1, 0.5F}));
}

}  // namespace
}  // namespace caffe_test
