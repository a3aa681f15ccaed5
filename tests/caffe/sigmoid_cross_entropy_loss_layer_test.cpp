// Tests of SigmoidCrossEntropyLossLayer.

#include "caffe/loss_layers.hpp"
#include "tests/caffe/loss_test_helpers.h"

namespace caffe_test {
namespace {

using testing::HasSubstr;

TEST(SigmoidCrossEntropyLossLayer, MatchesReferenceAndItsGradient) {
  LayerBench bench("type: SIGMOID_CROSS_ENTROPY_LOSS", {{3, 2, 2, 1}, {3, 4, 1, 1}}, 0);
  FillSeeded(bench.bottom(0), 5, -4, 4);
  FillSeeded(bench.bottom(1), 6, 0, 1);
  ExpectLossMatches(bench, [](const std::vector<std::vector<double>>& inputs) {
    double sum = 0;
    for (int i = 0; i < 12; ++i) {
      const double probability = 1 / (1 + std::exp(-inputs[0][i]));
      const double target = inputs[1][i];
      sum -= target * std::log(probability) + (1 - target) * std::log(1 - probability);
    }
    return sum / 3;
  });
}

TEST(SigmoidCrossEntropyLossLayer, StaysFiniteOnLargeScores) {
  LayerBench bench("type: SIGMOID_CROSS_ENTROPY_LOSS", {{1, 4, 1, 1}, {1, 4, 1, 1}}, 0);
  SetData(bench.bottom(0), {1000, -1000, 1000, -1000});
  SetData(bench.bottom(1), {1, 0, 0, 1});
  EXPECT_FLOAT_EQ(2000, bench.Forward());
  bench.Backward();
  EXPECT_EQ((std::vector<float>{0, 0, 1, -1}), DiffOf(*bench.bottom(0)));
}

TEST(SigmoidCrossEntropyLossLayer, IsLogTwoAtScoreZero) {
  LayerBench bench("type: SIGMOID_CROSS_ENTROPY_LOSS", {{1, 1, 1, 1}, {1, 1, 1, 1}}, 0);
  EXPECT_FLOAT_EQ(0.69314718F, bench.Forward());
  ExpectNoGradientUnlessPropagated(bench);
}

TEST(SigmoidCrossEntropyLossLayerDeathTest, RefusesDifferentCounts) {
  EXPECT_DEATH(LayerBench("type: SIGMOID_CROSS_ENTROPY_LOSS", {{1, 3, 1, 1}, {1, 2, 1, 1}}, 0),
               HasSubstr("Check failed: bottom[0]->count() == bottom[1]->count() (3 vs. 2) "
                         "SigmoidCrossEntropyLoss Layer inputs must have same count."));
}

}  // namespace
}  // namespace caffe_test
