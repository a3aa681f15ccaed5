// Tests of the power of a scaled and shifted input.

#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "caffe/neuron_layers.hpp"
#include "tests/caffe/elementwise_bench.h"
#include "tests/caffe/test_helpers.h"

namespace caffe_test {
namespace {

using caffe::PowerLayer;

std::string Power(float power, float scale, float shift) {
  return "type: POWER power_param { power: " + std::to_string(power) +
         " scale: " + std::to_string(scale) + " shift: " + std::to_string(shift) + " }";
}

TEST(Power, RaisesTheScaledAndShiftedInput) {
  const float cases[][3] = {{1, 1, 0}, {1, 2, 0}, {1, 1, 3},         {1, -2, 3},      {2, 1, 0},
                            {2, 3, 1}, {3, 1, 5}, {-0.75F, 0.5F, 4}, {0.5F, -1, 3.5F}};
  for (const auto& c : cases) {
    const double power = c[0], scale = c[1], shift = c[2];
    ExpectMaps(Power(c[0], c[1], c[2]),
               [=](double x) { return std::pow(shift + scale * x, power); });
  }
}

TEST(Power, ResultIsConstantWhereTheInputHasNoEffect) {
  EXPECT_EQ(Outputs(Power(0, 2, 0), {-1, 0, NAN}), (std::vector<float>{1, 1, 1}));
  EXPECT_EQ(Outputs(Power(2, 0, 3), {-1, 0, NAN}), (std::vector<float>{9, 9, 9}));
  EXPECT_EQ(Outputs(Power(0, 0, 0), {5}), std::vector<float>{1});
  EXPECT_EQ(Gradients(Power(0, 2, 0), {-1, 4}), (std::vector<float>{0, 0}));
  EXPECT_EQ(Gradients(Power(2, 0, 3), {-1, 4}), (std::vector<float>{0, 0}));
}

TEST(Power, SquareOfZeroHasAGradient) {
  EXPECT_EQ(Gradients(Power(2, 1, 0), {0, 3}), (std::vector<float>{0, 6}));
}

TEST(Power, ExposesItsSettings) {
  LayerBench bench(Power(3, 2, 5), {{1, 1, 1, 1}});
  const auto& layer = bench.layer_as<PowerLayer<float>>();
  EXPECT_EQ(layer.power_, 3);
  EXPECT_EQ(layer.scale_, 2);
  EXPECT_EQ(layer.shift_, 5);
  EXPECT_EQ(layer.diff_scale_, 6);
}

}  // namespace
}  // namespace caffe_test
