// Tests of AccuracyLayer.

#include "caffe/loss_layers.hpp"
#include "tests/caffe/loss_test_helpers.h"

namespace caffe_test {
namespace {

using testing::HasSubstr;

TEST(AccuracyLayer, ReportsShareOfHitsAndMeanLogLoss) {
  LayerBench bench = LossBench("ACCURACY", {4, 3, 1, 1}, {0, 1, 2, 2}, 1);
  EXPECT_EQ((std::vector<int>{1, 2, 1, 1}), ShapeOf(*bench.top(0)));
  SetData(bench.bottom(0), {0.5, 0.3, 0.2,      // Hit.
                            0.5, 0.3, 0.2,      // Miss.
                            0.1, 0.1, 0.8,      // Hit.
                            0.25, 0.5, 0.25});  // Miss.
  EXPECT_EQ(0, bench.Forward());
  EXPECT_EQ(0.5, bench.top(0)->cpu_data()[0]);
  const double log_loss = -(std::log(0.5) + std::log(0.3) + std::log(0.8) + std::log(0.25)) / 4;
  EXPECT_NEAR(log_loss, bench.top(0)->cpu_data()[1], 1e-6);
}

TEST(AccuracyLayer, TakesFirstOfEqualValues) {
  LayerBench bench = LossBench("ACCURACY", {2, 2, 1, 1}, {0, 1}, 1);
  SetData(bench.bottom(0), {0.5, 0.5, 0.5, 0.5});
  bench.Forward();
  EXPECT_EQ(0.5, bench.top(0)->cpu_data()[0]);
}

TEST(AccuracyLayer, FindsLargestOfNegativeValues) {
  LayerBench bench = LossBench("ACCURACY", {1, 3, 1, 1}, {1}, 1);
  SetData(bench.bottom(0), {-3, -1, -2});
  bench.Forward();
  EXPECT_EQ(1, bench.top(0)->cpu_data()[0]);
}

TEST(AccuracyLayer, CountsProbabilityOfZeroAsTinyOne) {
  LayerBench bench = LossBench("ACCURACY", {1, 2, 1, 1}, {1}, 1);
  SetData(bench.bottom(0), {1, 0});
  bench.Forward();
  EXPECT_NEAR(46.0517018598809, bench.top(0)->cpu_data()[1], 1e-4);  // -log(1e-20).
}

TEST(AccuracyLayerDeathTest, HasNoBackward) {
  LayerBench bench = LossBench("ACCURACY", {1, 2, 1, 1}, {0}, 1);
  EXPECT_DEATH(bench.Backward(), HasSubstr("Not Implemented Yet"));
}

TEST(AccuracyLayerDeathTest, RefusesLabelOutsideOfValues) {
  LayerBench bench = LossBench("ACCURACY", {1, 3, 1, 1}, {0}, 1);
  ExpectBadLabelsAreFatal(bench, /*has_backward=*/false);
}

TEST(AccuracyLayerDeathTest, RefusesOtherNumbersOfBlobs) {
  EXPECT_DEATH(LayerBench("type: ACCURACY", {{1, 2, 1, 1}}, 1),
               HasSubstr("Check failed: bottom.size() == 2 (1 vs. 2) Accuracy Layer takes two "
                         "blobs as input."));
  EXPECT_DEATH(LayerBench("type: ACCURACY", {{1, 2, 1, 1}, {1, 1, 1, 1}}, 0),
               HasSubstr("Check failed: top->size() == 1 (0 vs. 1) Accuracy Layer takes 1 "
                         "output."));
}

TEST(AccuracyLayerDeathTest, RefusesOtherShapesOfLabels) {
  EXPECT_DEATH(LayerBench("type: ACCURACY", {{2, 2, 1, 1}, {1, 1, 1, 1}}, 1),
               HasSubstr("Check failed: bottom[0]->num() == bottom[1]->num() (2 vs. 1) The data "
                         "and label should have the same number."));
  EXPECT_DEATH(LayerBench("type: ACCURACY", {{1, 2, 1, 1}, {1, 2, 1, 1}}, 1),
               HasSubstr("Check failed: bottom[1]->channels() == 1 (2 vs. 1)"));
  EXPECT_DEATH(LayerBench("type: ACCURACY", {{1, 2, 1, 1}, {1, 1, 2, 1}}, 1),
               HasSubstr("Check failed: bottom[1]->height() == 1 (2 vs. 1)"));
  EXPECT_DEATH(LayerBench("type: ACCURACY", {{1, 2, 1, 1}, {1, 1, 1, 2}}, 1),
               HasSubstr("Check failed: bottom[1]->width() == 1 (2 vs. 1)"));
}

}  // namespace
}  // namespace caffe_test
