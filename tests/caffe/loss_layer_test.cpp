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

// A loss that needs nothing beyond what all losses share.
class CountingLoss : public caffe::LossLayer<float> {
 public:
  using caffe::LossLayer<float>::LossLayer;

 protected:
  float Forward_cpu(const std::vector<Blob<float>*>& bottom,
                    std::vector<Blob<float>*>* /*top*/) override {
    return static_cast<float>(bottom[0]->num());
  }
  void Backward_cpu(const std::vector<Blob<float>*>& /*top*/, bool /*propagate_down*/,
                    std::vector<Blob<float>*>* /*bottom*/) override {}
};

TEST(LossLayer, NeedsNoSetUpOfItsOwn) {
  CountingLoss loss(ParseLayer("name: 'count'"));
  Blob<float> data(3, 2, 1, 1);
  Blob<float> labels(3, 1, 1, 1);
  const std::vector<Blob<float>*> bottom = {&data, &labels};
  std::vector<Blob<float>*> top;
  loss.SetUp(bottom, &top);
  EXPECT_EQ(3, loss.Forward(bottom, &top));
}

TEST(LossLayerDeathTest, RefusesForwardOnNothing) {
  LayerBench bench("type: HINGE_LOSS", {{0, 2, 1, 1}, {0, 1, 1, 1}}, 0);
  EXPECT_DEATH(bench.Forward(), HasSubstr("Check failed: data_ "));
}

}  // namespace
}  // namespace caffe_test
