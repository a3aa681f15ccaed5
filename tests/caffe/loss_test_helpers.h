/// What the tests of the losses share: a bench without tops, labels, and the comparison of loss and
/// gradient with a reference in doubles.

#ifndef OZNA_TESTS_CAFFE_LOSS_TEST_HELPERS_H_
#define OZNA_TESTS_CAFFE_LOSS_TEST_HELPERS_H_

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include "tests/caffe/test_helpers.h"

namespace caffe_test {

/// A layer of one type on scores of the given shape and labels (N, 1, 1, 1).
inline LayerBench LossBench(const std::string& type, const std::vector<int>& shape,
                            const std::vector<float>& labels, int top_count = 0,
                            const std::string& fields = "") {
  LayerBench bench("name: 'loss' type: " + type + " " + fields, {shape, {shape[0], 1, 1, 1}},
                   top_count);
  SetData(bench.bottom(1), labels);
  return bench;
}

/// Runs Forward and Backward and compares the loss with the objective and the gradient of bottom[0]
/// with its numeric gradient.
inline void ExpectLossMatches(LayerBench& bench, const Objective& objective,
                              double tolerance = 1e-4, double step = 1e-5) {
  const std::vector<std::vector<double>> inputs = InputsOf(bench.layer(), bench.bottoms());
  const double expected = objective(inputs);
  EXPECT_NEAR(expected, bench.Forward(), 1e-5 * std::fmax(1, std::fabs(expected)));
  ExpectBackwardMatches(bench.layer(), bench.bottoms(), bench.tops(), inputs, objective, {0}, step,
                        tolerance);
}

/// Expects Backward without propagation to leave the gradient of bottom[0] alone.
inline void ExpectNoGradientUnlessPropagated(LayerBench& bench) {
  bench.Forward();
  SetDiff(bench.bottom(0), std::vector<float>(bench.bottom(0)->count(), 42.F));
  bench.Backward(/*propagate_down=*/false);
  EXPECT_EQ(std::vector<float>(bench.bottom(0)->count(), 42.F), DiffOf(*bench.bottom(0)));
}

/// Labels that lie outside of [0, dim) of a loss with dim classes.
inline std::vector<float> BadLabels(int dim) {
  const float infinity = std::numeric_limits<float>::infinity();
  return {-1, float(dim), 1e9F, -1e30F, infinity, -infinity, std::nanf("")};
}

/// Expects Forward and Backward to die of each bad label. The bench has one image.
inline void ExpectBadLabelsAreFatal(LayerBench& bench, bool has_backward = true) {
  const int dim = bench.bottom(0)->count();
  bench.Forward();
  for (const float label : BadLabels(dim)) {
    SetData(bench.bottom(1), {label});
    const auto failure =
        testing::ContainsRegex("Label .* is outside of .0, " + std::to_string(dim) + ".");
    EXPECT_DEATH(bench.Forward(), failure);
    if (has_backward) {
      EXPECT_DEATH(bench.Backward(), failure);
    }
  }
}

}  // namespace caffe_test

#endif  // OZNA_TESTS_CAFFE_LOSS_TEST_HELPERS_H_
