// Tests of MultinomialLogisticLossLayer.

#include "caffe/loss_layers.hpp"
#include "tests/caffe/loss_test_helpers.h"

namespace caffe_test {
namespace {

using testing::HasSubstr;

TEST(MultinomialLogisticLossLayer, MatchesReferenceAndItsGradient) {
  const std::vector<float> labels = {0, 3, 1};
  LayerBench bench = LossBench("MULTINOMIAL_LOGISTIC_LOSS", {3, 4, 1, 1}, labels);
  FillSeeded(bench.bottom(0), 4, 0.1F, 1);
  ExpectLossMatches(bench, [&labels](const std::vector<std::vector<double>>& inputs) {
    double sum = 0;
    for (int i = 0; i < 3; ++i) {
      sum -= std::log(inputs[0][i * 4 + static_cast<int>(labels[i])]);
    }
    return sum / 3;
  });
}

TEST(MultinomialLogisticLossLayer, CountsProbabilityOfZeroAsTinyOne) {
  LayerBench bench = LossBench("MULTINOMIAL_LOGISTIC_LOSS", {1, 2, 1, 1}, {0});
  SetData(bench.bottom(0), {0, 1});
  EXPECT_NEAR(46.0517018598809, bench.Forward(), 1e-4);  // -log(1e-20).
  bench.Backward();
  EXPECT_FLOAT_EQ(-1e20F, DiffOf(*bench.bottom(0))[0]);
  EXPECT_EQ(0, DiffOf(*bench.bottom(0))[1]);
}

TEST(MultinomialLogisticLossLayer, LeavesGradientUnlessPropagated) {
  LayerBench bench = LossBench("MULTINOMIAL_LOGISTIC_LOSS", {1, 2, 1, 1}, {0});
  ExpectNoGradientUnlessPropagated(bench);
}

TEST(MultinomialLogisticLossLayerDeathTest, RefusesLabelOutsideOfProbabilities) {
  LayerBench bench = LossBench("MULTINOMIAL_LOGISTIC_LOSS", {1, 3, 1, 1}, {0});
  ExpectBadLabelsAreFatal(bench);
}

TEST(MultinomialLogisticLossLayerDeathTest, RefusesSeveralLabelsAnImage) {
  const std::string text = "type: MULTINOMIAL_LOGISTIC_LOSS";
  EXPECT_DEATH(LayerBench(text, {{1, 2, 1, 1}, {1, 2, 1, 1}}, 0),
               HasSubstr("Check failed: bottom[1]->channels() == 1 (2 vs. 1)"));
  EXPECT_DEATH(LayerBench(text, {{1, 2, 1, 1}, {1, 1, 2, 1}}, 0),
               HasSubstr("Check failed: bottom[1]->height() == 1 (2 vs. 1)"));
  EXPECT_DEATH(LayerBench(text, {{1, 2, 1, 1}, {1, 1, 1, 2}}, 0),
               HasSubstr("Check failed: bottom[1]->width() == 1 (2 vs. 1)"));
}

}  // namespace
}  // namespace caffe_test
