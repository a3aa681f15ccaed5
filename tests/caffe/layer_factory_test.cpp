// Tests of the factory: the class of each type of layer.

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <typeinfo>

#include "caffe/common_layers.hpp"
#include "caffe/data_layers.hpp"
#include "caffe/layer.hpp"
#include "caffe/loss_layers.hpp"
#include "caffe/neuron_layers.hpp"
#include "caffe/vision_layers.hpp"
#include "tests/caffe/test_helpers.h"

namespace caffe {
namespace {

using caffe_test::MakeLayer;

template <typename Class>
void ExpectClass(const std::string& type) {
  const std::unique_ptr<Layer<float>> layer = MakeLayer("name: 'l' type: " + type);
  ASSERT_TRUE(layer) << type;
  const Layer<float>& made = *layer;
  EXPECT_EQ(typeid(Class), typeid(made)) << type;
  EXPECT_EQ("l", layer->layer_param().name());
}

TEST(GetLayer, MakesTheClassOfEachType) {
  ExpectClass<AccuracyLayer<float>>("ACCURACY");
  ExpectClass<BNLLLayer<float>>("BNLL");
  ExpectClass<ConcatLayer<float>>("CONCAT");
  ExpectClass<ConvolutionLayer<float>>("CONVOLUTION");
  ExpectClass<DataLayer<float>>("DATA");
  ExpectClass<DropoutLayer<float>>("DROPOUT");
  ExpectClass<EuclideanLossLayer<float>>("EUCLIDEAN_LOSS");
  ExpectClass<EltwiseProductLayer<float>>("ELTWISE_PRODUCT");
  ExpectClass<FlattenLayer<float>>("FLATTEN");
  ExpectClass<HingeLossLayer<float>>("HINGE_LOSS");
  ExpectClass<Im2colLayer<float>>("IM2COL");
  ExpectClass<ImageDataLayer<float>>("IMAGE_DATA");
  ExpectClass<InfogainLossLayer<float>>("INFOGAIN_LOSS");
  ExpectClass<InnerProductLayer<float>>("INNER_PRODUCT");
  ExpectClass<LRNLayer<float>>("LRN");
  ExpectClass<MemoryDataLayer<float>>("MEMORY_DATA");
  ExpectClass<MultinomialLogisticLossLayer<float>>("MULTINOMIAL_LOGISTIC_LOSS");
  ExpectClass<PoolingLayer<float>>("POOLING");
  ExpectClass<PowerLayer<float>>("POWER");
  ExpectClass<ReLULayer<float>>("RELU");
  ExpectClass<SigmoidLayer<float>>("SIGMOID");
  ExpectClass<SigmoidCrossEntropyLossLayer<float>>("SIGMOID_CROSS_ENTROPY_LOSS");
  ExpectClass<SoftmaxLayer<float>>("SOFTMAX");
  ExpectClass<SoftmaxWithLossLayer<float>>("SOFTMAX_LOSS");
  ExpectClass<SplitLayer<float>>("SPLIT");
  ExpectClass<TanHLayer<float>>("TANH");
}

TEST(GetLayer, HasNoClassForTheHdf5Types) {
  EXPECT_EQ(nullptr, MakeLayer("type: HDF5_DATA"));
  EXPECT_EQ(nullptr, MakeLayer("type: HDF5_OUTPUT"));
}

TEST(GetLayerDeathTest, EndsForAnUnspecifiedType) {
  EXPECT_DEATH(MakeLayer("name: 'l' type: NONE"), "Layer l has unspecified type.");
  EXPECT_DEATH(MakeLayer("name: 'l'"), "Layer l has unspecified type.");
}

TEST(GetLayerDeathTest, EndsForAnUnknownType) {
  EXPECT_DEATH(MakeLayer("name: 'l' type: WINDOW_DATA"), "Layer l has unknown type 24");
}

}  // namespace
}  // namespace caffe
