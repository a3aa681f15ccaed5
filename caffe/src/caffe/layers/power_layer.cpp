// PowerLayer: (shift + scale * x) ^ power.

#include <cblas.h>

#include <algorithm>
#include <cmath>
#include <vector>

#include "caffe/neuron_layers.hpp"
#include "caffe/util/math_functions.hpp"

namespace caffe {

template <typename Dtype>
void PowerLayer<Dtype>::SetUp(const vector<Blob<Dtype>*>& bottom, vector<Blob<Dtype>*>* top) {
  NeuronLayer<Dtype>::SetUp(bottom, top);
  power_ = this->layer_param_.power_param().power();
  scale_ = this->layer_param_.power_param().scale();
  shift_ = this->layer_param_.power_param().shift();
  diff_scale_ = power_ * scale_;
}

template <typename Dtype>
Dtype PowerLayer<Dtype>::Forward_cpu(const vector<Blob<Dtype>*>& bottom,
                                     vector<Blob<Dtype>*>* top) {
  const auto span = this->SpanOf(bottom, top);
  if (diff_scale_ == Dtype(0)) {
    const Dtype value = power_ == Dtype(0) ? Dtype(1) : std::pow(shift_, power_);
    std::fill_n(span.output, span.count, value);
    return Dtype(0);
  }
  cblas_scopy(span.count, span.input, 1, span.output, 1);
  if (scale_ != Dtype(1)) {
    cblas_sscal(span.count, scale_, span.output, 1);
  }
  if (shift_ != Dtype(0)) {
    caffe_add_scalar(span.count, shift_, span.output);
  }
  if (power_ != Dtype(1)) {
    vsPowx(span.count, span.output, power_, span.output);
  }
  return Dtype(0);
}

// The derivative is diff_scale * (shift + scale * x) ^ (power - 1). Powers 1 and 2 are worked out,
// which keeps the squares of zeros clear of the division of the general case.
template <typename Dtype>
void PowerLayer<Dtype>::Backward_cpu(const vector<Blob<Dtype>*>& top, bool propagate_down,
                                     vector<Blob<Dtype>*>* bottom) {
  if (!propagate_down) return;
  const int count = (*bottom)[0]->count();
  const Dtype* bottom_data = (*bottom)[0]->cpu_data();
  const Dtype* top_diff = top[0]->cpu_diff();
  Dtype* bottom_diff = (*bottom)[0]->mutable_cpu_diff();
  if (diff_scale_ == Dtype(0) || power_ == Dtype(1)) {
    for (int i = 0; i < count; ++i) bottom_diff[i] = diff_scale_ * top_diff[i];
    return;
  }
  if (power_ == Dtype(2)) {
    for (int i = 0; i < count; ++i) {
      bottom_diff[i] = diff_scale_ * (shift_ + scale_ * bottom_data[i]) * top_diff[i];
    }
    return;
  }
  const Dtype* top_data = top[0]->cpu_data();
  for (int i = 0; i < count; ++i) {
    const Dtype base = shift_ + scale_ * bottom_data[i];
    bottom_diff[i] = diff_scale_ * top_data[i] / base * top_diff[i];
  }
}

template class PowerLayer<float>;

}  // namespace caffe
