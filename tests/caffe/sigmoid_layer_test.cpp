// Tests of the logistic function.

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "caffe/neuron_layers.hpp"
#include "tests/caffe/elementwise_bench.h"

namespace caffe_test {
namespace {

TEST(Sigmoid, IsTheLogisticFunction) {
  ExpectMaps(
      "type: SIGMOID", [](double x) { return 1 / (1 + std::exp(-x)); }, -8, 8);
  EXPECT_EQ(Outputs("type: SIGMOID", {0, 200, -200, INFINITY, -INFINITY}),
            (std::vector<float>{0.5F, 1, 0, 1, 0}));
}

}  // namespace
}  // namespace caffe_test
