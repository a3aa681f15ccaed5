// Tests of what the losses of two blobs share.

#include "caffe/loss_layers.hpp"
#include "tests/caffe/loss_test_helpers.h"

namespace caffe_test {
namespace {

using testing::HasSubstr;

const char* const kLossTypes[] = {"EUCLIDEAN_LOSS", "HINGE_LOSS", "INFOGAIN_LOSS",
                                  "MULTINOMIAL_LOGISTIC_LOSS", "SIGMOID_CROSS_ENTROPY_LOSS"};

TEST(LossLayerDeathTest, RefusesOtherThanTwoBottoms) {
  for (const std::string type : kLossTypes) {
    EXPECT_DEATH(LayerBench("type: " + type, {{1, 2, 1, 1}}, 0),
                 HasSubstr("Check failed: bottom.size() == 2 (1 vs. 2) Loss Layer takes two blobs "
                           "as input."));
  }
}

TEST(LossLayerDeathTest, RefusesTop) {
  for (const std::string type : kLossTypes) {
    EXPECT_DEATH(LayerBench("type: " + type, {{1, 2, 1, 1}, {1, 1, 1, 1}}, 1),
                 HasSubstr("Check failed: top->size() == 0 (1 vs. 0) Loss Layer takes no output."));
  }
}

TEST(LossLayerDeathTest, RefusesDifferentNumbersOfImages) {
  for (const std::string type : kLossTypes) {
    EXPECT_DEATH(LayerBench("type: " + type, {{2, 2, 1, 1}, {3, 1, 1, 1}}, 0),
                 HasSubstr("Check failed: bottom[0]->num() == bottom[1]->num() (2 vs. 3) The data "
                           "and label should have the same number."));
  }
}

TEST(LossLayerDeathTest, RefusesForwardOnNothing) {
  LayerBench bench("type: HINGE_LOSS", {{0, 2, 1, 1}, {0, 1, 1, 1}}, 0);
  EXPECT_DEATH(bench.Forward(), HasSubstr("Check failed: data_ "));
}

}  // namespace
}  // namespace caffe_test
