// SigmoidCrossEntropyLossLayer: the cross entropy of sigmoid scores against targets of 0 to 1.

#include <cblas.h>

#include <cmath>

#include "caffe/loss_layers.hpp"
#include "caffe/neuron_layers.hpp"
#include "caffe/util/math_functions.hpp"

namespace caffe {

template <typename Dtype>
SigmoidCrossEntropyLossLayer<Dtype>::SigmoidCrossEntropyLossLayer(const LayerParameter& param)
    : LossLayer<Dtype>(param), sigmoid_layer_(new SigmoidLayer<Dtype>(param)) {}

template <typename Dtype>
SigmoidCrossEntropyLossLayer<Dtype>::~SigmoidCrossEntropyLossLayer() {}

template <typename Dtype>
void SigmoidCrossEntropyLossLayer<Dtype>::FurtherSetUp(const vector<Blob<Dtype>*>& bottom,
                                                       vector<Blob<Dtype>*>* /*top*/) {
  CHECK_EQ(bottom[0]->count(), bottom[1]->count())
      << "SigmoidCrossEntropyLoss Layer inputs must have same count.";
  sigmoid_bottom_vec_.assign(1, bottom[0]);
  sigmoid_top_vec_.assign(1, &sigmoid_output_);
  sigmoid_layer_->SetUp(sigmoid_bottom_vec_, &sigmoid_top_vec_);
}

// The exponent is -|x| for every x, so nothing overflows.
template <typename Dtype>
Dtype SigmoidCrossEntropyLossLayer<Dtype>::Forward_cpu(const vector<Blob<Dtype>*>& bottom,
                                                       vector<Blob<Dtype>*>* /*top*/) {
  sigmoid_bottom_vec_[0] = bottom[0];
  sigmoid_layer_->Forward(sigmoid_bottom_vec_, &sigmoid_top_vec_);
  const Dtype* scores = bottom[0]->cpu_data();
  const Dtype* targets = bottom[1]->cpu_data();
  Dtype loss = 0;
  for (int i = 0; i < bottom[0]->count(); ++i) {
    const Dtype x = scores[i];
    const Dtype is_positive = x >= 0 ? 1 : 0;
    loss -= x * (targets[i] - is_positive) - std::log(1 + std::exp(x - 2 * x * is_positive));
  }
  return loss / bottom[0]->num();
}

template <typename Dtype>
void SigmoidCrossEntropyLossLayer<Dtype>::Backward_cpu(const vector<Blob<Dtype>*>& /*top*/,
                                                       bool propagate_down,
                                                       vector<Blob<Dtype>*>* bottom) {
  if (!propagate_down) {
    return;
  }
  const int count = (*bottom)[0]->count();
  Dtype* diff = (*bottom)[0]->mutable_cpu_diff();
  vsSub(count, sigmoid_output_.cpu_data(), (*bottom)[1]->cpu_data(), diff);
  cblas_sscal(count, Dtype(1) / (*bottom)[0]->num(), diff, 1);
}

template class SigmoidCrossEntropyLossLayer<float>;

}  // namespace caffe
