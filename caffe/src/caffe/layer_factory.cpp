// GetLayer: from the type in a definition to the class that does its work.

#include "caffe/common_layers.hpp"
#include "caffe/data_layers.hpp"
#include "caffe/layer.hpp"
#include "caffe/loss_layers.hpp"
#include "caffe/neuron_layers.hpp"
#include "caffe/vision_layers.hpp"

namespace caffe {

Layer<float>* GetLayer(const LayerParameter& param) {
  switch (param.type()) {
    case LayerParameter::ACCURACY:
      return new AccuracyLayer<float>(param);
    case LayerParameter::BNLL:
      return new BNLLLayer<float>(param);
    case LayerParameter::CONCAT:
      return new ConcatLayer<float>(param);
    case LayerParameter::CONVOLUTION:
      return new ConvolutionLayer<float>(param);
    case LayerParameter::DATA:
      return new DataLayer<float>(param);
    case LayerParameter::DROPOUT:
      return new DropoutLayer<float>(param);
    case LayerParameter::EUCLIDEAN_LOSS:
      return new EuclideanLossLayer<float>(param);
    case LayerParameter::ELTWISE_PRODUCT:
      return new EltwiseProductLayer<float>(param);
    case LayerParameter::FLATTEN:
      return new FlattenLayer<float>(param);
    case LayerParameter::HDF5_DATA:
    case LayerParameter::HDF5_OUTPUT:
      return nullptr;
    case LayerParameter::HINGE_LOSS:
      return new HingeLossLayer<float>(param);
    case LayerParameter::IM2COL:
      return new Im2colLayer<float>(param);
    case LayerParameter::IMAGE_DATA:
      return new ImageDataLayer<float>(param);
    case LayerParameter::INFOGAIN_LOSS:
      return new InfogainLossLayer<float>(param);
    case LayerParameter::INNER_PRODUCT:
      return new InnerProductLayer<float>(param);
    case LayerParameter::LRN:
      return new LRNLayer<float>(param);
    case LayerParameter::MEMORY_DATA:
      return new MemoryDataLayer<float>(param);
    case LayerParameter::MULTINOMIAL_LOGISTIC_LOSS:
      return new MultinomialLogisticLossLayer<float>(param);
    case LayerParameter::POOLING:
      return new PoolingLayer<float>(param);
    case LayerParameter::POWER:
      return new PowerLayer<float>(param);
    case LayerParameter::RELU:
      return new ReLULayer<float>(param);
    case LayerParameter::SIGMOID:
      return new SigmoidLayer<float>(param);
    case LayerParameter::SIGMOID_CROSS_ENTROPY_LOSS:
      return new SigmoidCrossEntropyLossLayer<float>(param);
    case LayerParameter::SOFTMAX:
      return new SoftmaxLayer<float>(param);
    case LayerParameter::SOFTMAX_LOSS:
      return new SoftmaxWithLossLayer<float>(param);
    case LayerParameter::SPLIT:
      return new SplitLayer<float>(param);
    case LayerParameter::TANH:
      return new TanHLayer<float>(param);
    case LayerParameter::NONE:
      LOG(FATAL) << "Layer " << param.name() << " has unspecified type.";
      break;
    default:
      LOG(FATAL) << "Layer " << param.name() << " has unknown type "
                 << static_cast<int>(param.type());
  }
  return nullptr;
}

}  // namespace caffe
