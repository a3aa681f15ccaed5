// Tests of EuclideanLossLayer.

#include "caffe/loss_layers.hpp"
#include "tests/caffe/loss_test_helpers.h"

namespace caffe_test {
namespace {

using testing::HasSubstr;

TEST(EuclideanLossLayer, HalvesMeanSquaredDistance) {
  LayerBench bench("type: EUCLIDEAN_LOSS", {{2, 1, 1, 2}, {2, 1, 1, 2}}, 0);
  SetData(bench.bottom(0), {1, 2, 3, 4});
  SetData(bench.bottom(1), {0, 4, 3, 1});
  EXPECT_FLOAT_EQ((1 + 4 + 0 + 9) / 4.F, bench.Forward());
  bench.Backward();
  EXPECT_EQ((std::vector<float>{0.5, -1, 0, 1.5}), DiffOf(*bench.bottom(0)));
}

TEST(EuclideanLossLayer, MatchesReferenceAndItsGradient) {
  LayerBench bench("type: EUCLIDEAN_LOSS", {{3, 2, 2, 2}, {3, 2, 2, 2}}, 0);
  FillSeeded(bench.bottom(0), 1);
  FillSeeded(bench.bottom(1), 2);
  ExpectLossMatches(bench, [](const std::vector<std::vector<double>>& inputs) {
    double sum = 0;
    for (std::size_t i = 0; i < inputs[0].size(); ++i) {
      sum += (inputs[0][i] - inputs[1][i]) * (inputs[0][i] - inputs[1][i]);
    }
    return sum / 3 / 2;
  });
}

TEST(EuclideanLossLayer, ForgetsGradientFromBefore) {
  LayerBench bench("type: EUCLIDEAN_LOSS", {{1, 1, 1, 1}, {1, 1, 1, 1}}, 0);
  SetData(bench.bottom(0), {3});
  bench.Forward();
  SetDiff(bench.bottom(0), {std::nanf("")});
  bench.Backward();
  EXPECT_EQ((std::vector<float>{3}), DiffOf(*bench.bottom(0)));
  ExpectNoGradientUnlessPropagated(bench);
}

TEST(EuclideanLossLayerDeathTest, RefusesDifferentShapes) {
  EXPECT_DEATH(LayerBench("type: EUCLIDEAN_LOSS", {{1, 2, 1, 1}, {1, 1, 1, 1}}, 0),
               HasSubstr("Check failed: bottom[0]->channels() == bottom[1]->channels() (2 vs. 1)"));
  EXPECT_DEATH(LayerBench("type: EUCLIDEAN_LOSS", {{1, 1, 2, 1}, {1, 1, 1, 1}}, 0),
               HasSubstr("Check failed: bottom[0]->height() == bottom[1]->height() (2 vs. 1)"));
  EXPECT_DEATH(LayerBench("type: EUCLIDEAN_LOSS", {{1, 1, 1, 2}, {1, 1, 1, 1}}, 0),
               HasSubstr("Check failed: bottom[0]->width() == bottom[1]->width() (2 vs. 1)"));
}

}  // namespace
}  // namespace caffe_test
