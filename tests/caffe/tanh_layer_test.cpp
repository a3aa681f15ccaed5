// Tests of the hyperbolic tangent.

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "caffe/neuron_layers.hpp"
#include "tests/caffe/elementwise_bench.h"

namespace caffe_test {
namespace {

TEST(TanH, FollowsItsFormulaAtAllSizes) {
  ExpectMaps("type: TANH", [](double x) { return std::tanh(x); });
  const std::vector<float> outputs = Outputs("type: TANH", {0, -60, 60});
  EXPECT_EQ(outputs[0], 0.0F);
  EXPECT_EQ(outputs[1], -1.0F);
  EXPECT_TRUE(std::isnan(outputs[2]));  // Infinity over infinity.
  // The exponential of 88.72 is the last that is finite.
  EXPECT_EQ(Outputs("type: TANH", {44.36F})[0], 1.0F);
  EXPECT_TRUE(std::isnan(Outputs("type: TANH", {44.37F})[0]));
}

}  // namespace
}  // namespace caffe_test
