// SigmoidLayer: the logistic function.

#include <cmath>
#include <vector>

#include "caffe/neuron_layers.hpp"

namespace caffe {

template <typename Dtype>
Dtype SigmoidLayer<Dtype>::Forward_cpu(const vector<Blob<Dtype>*>& bottom,
                                       vector<Blob<Dtype>*>* top) {
  const auto span = this->SpanOf(bottom, top);
  for (int i = 0; i < span.count; ++i) {
    span.output[i] = Dtype(1) / (Dtype(1) + std::exp(-span.input[i]));
  }
  return Dtype(0);
}

template <typename Dtype>
void SigmoidLayer<Dtype>::Backward_cpu(const vector<Blob<Dtype>*>& top, bool propagate_down,
                                       vector<Blob<Dtype>*>* bottom) {
  if (!propagate_down) return;
  const Dtype* top_data = top[0]->cpu_data();
  const Dtype* top_diff = top[0]->cpu_diff();
  Dtype* bottom_diff = (*bottom)[0]->mutable_cpu_diff();
  for (int i = 0; i < (*bottom)[0]->count(); ++i) {
    bottom_diff[i] = top_diff[i] * top_data[i] * (Dtype(1) - top_data[i]);
  }
}

template class SigmoidLayer<float>;

}  // namespace caffe
