// Tests of HingeLossLayer.

#include "caffe/loss_layers.hpp"
#include "tests/caffe/loss_test_helpers.h"

namespace caffe_test {
namespace {

using testing::HasSubstr;

TEST(HingeLossLayer, AddsMarginsThatAreNotKept) {
  LayerBench bench = LossBench("HINGE_LOSS", {2, 3, 1, 1}, {1, 0});
  // Image 0: label at 0.5 lacks 0.5, score 0.25 is 1.25 too high, -3 is fine.
  // Image 1: label at 2 is fine, -0.5 is 0.5 too high, 0 is 1 too high.
  SetData(bench.bottom(0), {0.25, 0.5, -3, 2, -0.5, 0});
  EXPECT_FLOAT_EQ((0.5F + 1.25F + 0.5F + 1.F) / 2, bench.Forward());
  bench.Backward();
  EXPECT_EQ((std::vector<float>{0.5, -0.5, 0, 0, 0.5, 0.5}), DiffOf(*bench.bottom(0)));
}

TEST(HingeLossLayer, MatchesReferenceAndItsGradient) {
  const std::vector<float> labels = {0, 11, 5, 3};
  LayerBench bench = LossBench("HINGE_LOSS", {4, 3, 2, 2}, labels);
  FillSeeded(bench.bottom(0), 3, -2, 2);
  ExpectLossMatches(bench, [&labels](const std::vector<std::vector<double>>& inputs) {
    double sum = 0;
    for (int i = 0; i < 4; ++i) {
      for (int j = 0; j < 12; ++j) {
        const double score = inputs[0][i * 12 + j];
        sum += std::fmax(0, 1 + (j == labels[i] ? -score : score));
      }
    }
    return sum / 4;
  });
}

TEST(HingeLossLayer, LeavesScoresAlone) {
  LayerBench bench = LossBench("HINGE_LOSS", {1, 2, 1, 1}, {0});
  SetData(bench.bottom(0), {3, 4});
  bench.Forward();
  bench.Backward();
  EXPECT_EQ((std::vector<float>{3, 4}), DataOf(*bench.bottom(0)));
  ExpectNoGradientUnlessPropagated(bench);
}

TEST(HingeLossLayer, TruncatesLabels) {
  LayerBench bench = LossBench("HINGE_LOSS", {2, 2, 1, 1}, {1.99F, -0.99F});
  SetData(bench.bottom(0), {-5, 5, 5, -5});
  EXPECT_EQ(0, bench.Forward());
}

TEST(HingeLossLayerDeathTest, RefusesLabelOutsideOfScores) {
  LayerBench bench = LossBench("HINGE_LOSS", {1, 3, 1, 1}, {0});
  ExpectBadLabelsAreFatal(bench);
}

TEST(HingeLossLayerDeathTest, RefusesBlobWithoutLabels) {
  LayerBench bench("type: HINGE_LOSS", {{1, 2, 1, 1}, {1, 0, 1, 1}}, 0);
  EXPECT_DEATH(bench.Forward(), HasSubstr("Fewer labels than images."));
}

}  // namespace
}  // namespace caffe_test
