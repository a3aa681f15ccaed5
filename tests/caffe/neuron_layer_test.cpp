// What the layers that map each element by itself have in common.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "caffe/neuron_layers.hpp"
#include "tests/caffe/test_helpers.h"

namespace caffe_test {
namespace {

using caffe::Caffe;
using testing::HasSubstr;

TEST(NeuronLayer, GivesTheTopTheShapeOfTheBottom) {
  LayerBench bench("type: RELU", {{2, 3, 4, 5}});
  EXPECT_EQ(ShapeOf(*bench.top(0)), (std::vector<int>{2, 3, 4, 5}));
}

TEST(NeuronLayer, InPlaceLeavesTheBlobAlone) {
  Blob<float> blob(1, 1, 1, 2);
  SetData(&blob, {-5, 5});
  std::vector<Blob<float>*> bottoms = {&blob}, tops = {&blob};
  auto layer = MakeLayer("type: RELU");
  layer->SetUp(bottoms, &tops);
  EXPECT_EQ(DataOf(blob), (std::vector<float>{-5, 5}));
}

TEST(NeuronLayerDeathTest, ChecksNumbersOfBlobs) {
  for (const char* type : {"RELU", "SIGMOID", "TANH", "BNLL", "POWER", "DROPOUT"}) {
    const std::string text = std::string("type: ") + type;
    EXPECT_DEATH(LayerBench(text, {{1, 1, 1, 1}, {1, 1, 1, 1}}),
                 HasSubstr("Check failed: bottom.size() == 1 (2 vs. 1) Neuron Layer takes a single "
                           "blob as input."));
    EXPECT_DEATH(LayerBench(text, {{1, 1, 1, 1}}, 2),
                 HasSubstr("Check failed: top->size() == 1 (2 vs. 1) Neuron Layer takes a single "
                           "blob as output."));
  }
}

TEST(NeuronLayerDeathTest, ForwardStopsAtAnInputThatOutgrewItsTop) {
  LayerBench bench("type: RELU", {{1, 1, 1, 4}});
  Blob<float> larger(1, 1, 1, 5);
  std::vector<Blob<float>*> bottoms = {&larger};
  EXPECT_DEATH(bench.layer().Forward(bottoms, &bench.tops()),
               HasSubstr("beyond the memory that it got at SetUp"));
}

TEST(NeuronLayer, BackwardWithoutPropagationLeavesTheBottomGradientAlone) {
  const ScopedRuntimeState state(Caffe::TRAIN);
  for (const char* type : {"RELU", "SIGMOID", "TANH", "BNLL", "POWER", "DROPOUT"}) {
    LayerBench bench(std::string("type: ") + type, {{1, 1, 1, 1}});
    bench.Forward();
    SetDiff(bench.top(0), {1});
    SetDiff(bench.bottom(0), {7});
    bench.Backward(/*propagate_down=*/false);
    EXPECT_EQ(DiffOf(*bench.bottom(0)), std::vector<float>{7}) << type;
  }
}

}  // namespace
}  // namespace caffe_test
