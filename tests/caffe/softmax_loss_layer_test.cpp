// Tests of SoftmaxWithLossLayer. The reference follows the softmax of this library, which
// normalises the first image of a batch alone, position by position.

#include "caffe/loss_layers.hpp"
#include "tests/caffe/loss_test_helpers.h"

namespace caffe_test {
namespace {

using testing::HasSubstr;

Objective ReferenceOf(int num, int channels, int spatial, const std::vector<float>& labels) {
  return [=](const std::vector<std::vector<double>>& inputs) {
    const int dim = channels * spatial;
    double sum = 0;
    for (int i = 0; i < num; ++i) {
      const double* scores = inputs[0].data() + i * dim;
      double largest = scores[0];
      for (int j = 0; j < dim; ++j) {
        largest = std::fmax(largest, scores[j]);
      }
      const int label = static_cast<int>(labels[i]);
      double probability = std::exp(scores[label] - largest);
      double total = 0;
      for (int c = 0; c < channels; ++c) {
        total += std::exp(scores[c * spatial + label % spatial] - largest);
      }
      if (i == 0) {
        probability /= total;
      }
      sum -= std::log(probability);
    }
    return sum / num;
  };
}

TEST(SoftmaxWithLossLayer, MatchesReferenceAndItsGradientOnOneImage) {
  for (const float label : {0.F, 1.F, 2.F, 3.F}) {
    LayerBench bench = LossBench("SOFTMAX_LOSS", {1, 4, 1, 1}, {label});
    FillSeeded(bench.bottom(0), 7, -3, 3);
    ExpectLossMatches(bench, ReferenceOf(1, 4, 1, {label}));
  }
}

TEST(SoftmaxWithLossLayer, MatchesReferenceAndItsGradientOnMap) {
  const std::vector<float> labels = {13};  // Channel 2, position 1.
  LayerBench bench = LossBench("SOFTMAX_LOSS", {1, 3, 2, 3}, labels);
  FillSeeded(bench.bottom(0), 8, -3, 3);
  ExpectLossMatches(bench, ReferenceOf(1, 3, 6, labels));
}

TEST(SoftmaxWithLossLayer, MatchesReferenceAndItsGradientOnBatch) {
  const std::vector<float> labels = {1, 0, 2};
  LayerBench bench = LossBench("SOFTMAX_LOSS", {3, 3, 1, 1}, labels);
  FillSeeded(bench.bottom(0), 9, -3, 3);
  ExpectLossMatches(bench, ReferenceOf(3, 3, 1, labels));
}

TEST(SoftmaxWithLossLayer, GivesTextbookGradientOnEqualScores) {
  LayerBench bench = LossBench("SOFTMAX_LOSS", {1, 4, 1, 1}, {2});
  EXPECT_FLOAT_EQ(1.3862944F, bench.Forward());  // log 4.
  bench.Backward();
  EXPECT_EQ((std::vector<float>{0.25, 0.25, -0.75, 0.25}), DiffOf(*bench.bottom(0)));
  ExpectNoGradientUnlessPropagated(bench);
}

TEST(SoftmaxWithLossLayer, CountsProbabilityOfZeroAsTinyOne) {
  LayerBench bench = LossBench("SOFTMAX_LOSS", {1, 2, 1, 1}, {0});
  SetData(bench.bottom(0), {0, 1000});
  EXPECT_NEAR(46.0517018598809, bench.Forward(), 1e-4);  // -log(1e-20).
}

TEST(SoftmaxWithLossLayerDeathTest, RefusesOtherThanTwoBottoms) {
  EXPECT_DEATH(LayerBench("type: SOFTMAX_LOSS", {{1, 2, 1, 1}}, 0),
               HasSubstr("Check failed: bottom.size() == 2 (1 vs. 2) SoftmaxLoss Layer takes two "
                         "blobs as input."));
}

TEST(SoftmaxWithLossLayerDeathTest, RefusesTop) {
  EXPECT_DEATH(LayerBench("type: SOFTMAX_LOSS", {{1, 2, 1, 1}, {1, 1, 1, 1}}, 1),
               HasSubstr("Check failed: top->size() == 0 (1 vs. 0) SoftmaxLoss Layer takes no blob "
                         "as output."));
}

TEST(SoftmaxWithLossLayerDeathTest, RefusesLabelOutsideOfScores) {
  LayerBench bench = LossBench("SOFTMAX_LOSS", {1, 3, 1, 1}, {0});
  ExpectBadLabelsAreFatal(bench);
}

TEST(SoftmaxWithLossLayerDeathTest, RefusesFewerLabelsThanImages) {
  LayerBench bench("type: SOFTMAX_LOSS", {{3, 2, 1, 1}, {2, 1, 1, 1}}, 0);
  EXPECT_DEATH(bench.Forward(), HasSubstr("Fewer labels than images."));
}

}  // namespace
}  // namespace caffe_test
