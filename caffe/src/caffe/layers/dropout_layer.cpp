// DropoutLayer: drops elements at random while training.

#include <cblas.h>

#include <algorithm>
#include <cstdint>
#include <vector>

#include "caffe/neuron_layers.hpp"
#include "caffe/util/math_functions.hpp"

namespace caffe {

template <typename Dtype>
void DropoutLayer<Dtype>::SetUp(const vector<Blob<Dtype>*>& bottom, vector<Blob<Dtype>*>* top) {
  NeuronLayer<Dtype>::SetUp(bottom, top);
  rand_vec_.reset(new SyncedMemory(bottom[0]->count() * sizeof(int)));
  threshold_ = this->layer_param_.dropout_param().dropout_ratio();
  scale_ = static_cast<Dtype>(1.0 / (1.0 - threshold_));
  // Bounded, since the conversion of a ratio outside 0 to 1 would be undefined.
  const double scaled = std::min(std::max(0.0, threshold_ * 4294967296.0), 4294967295.0);
  uint_thres_ = static_cast<std::uint32_t>(scaled);
}

template <typename Dtype>
Dtype DropoutLayer<Dtype>::Forward_cpu(const vector<Blob<Dtype>*>& bottom,
                                       vector<Blob<Dtype>*>* top) {
  const auto span = this->SpanOf(bottom, top);
  if (Caffe::phase() != Caffe::TRAIN) {
    cblas_scopy(span.count, span.input, 1, span.output, 1);
    return Dtype(0);
  }
  CHECK_LE(span.count * sizeof(int), rand_vec_->size());
  int* mask = static_cast<int*>(rand_vec_->mutable_cpu_data());
  caffe_rng_bernoulli(span.count, 1.0 - threshold_, mask);
  for (int i = 0; i < span.count; ++i) {
    span.output[i] = span.input[i] * mask[i] * scale_;
  }
  return Dtype(0);
}

template <typename Dtype>
void DropoutLayer<Dtype>::Backward_cpu(const vector<Blob<Dtype>*>& top, bool propagate_down,
                                       vector<Blob<Dtype>*>* bottom) {
  CHECK(Caffe::phase() == Caffe::TRAIN);
  if (!propagate_down) return;
  const int* mask = static_cast<const int*>(rand_vec_->cpu_data());
  const Dtype* top_diff = top[0]->cpu_diff();
  Dtype* bottom_diff = (*bottom)[0]->mutable_cpu_diff();
  for (int i = 0; i < (*bottom)[0]->count(); ++i) {
    bottom_diff[i] = top_diff[i] * mask[i] * scale_;
  }
}

template class DropoutLayer<float>;

}  // namespace caffe
