// TanHLayer: the hyperbolic tangent.

#include <cmath>
#include <vector>

#include "caffe/neuron_layers.hpp"

namespace caffe {

template <typename Dtype>
Dtype TanHLayer<Dtype>::Forward_cpu(const vector<Blob<Dtype>*>& bottom, vector<Blob<Dtype>*>* top) {
  const auto span = this->SpanOf(bottom, top);
  for (int i = 0; i < span.count; ++i) {
    const Dtype e = std::exp(2 * span.input[i]);
    span.output[i] = (e - Dtype(1)) / (e + Dtype(1));
  }
  return Dtype(0);
}

template <typename Dtype>
void TanHLayer<Dtype>::Backward_cpu(const vector<Blob<Dtype>*>& top, bool propagate_down,
                                    vector<Blob<Dtype>*>* bottom) {
  if (!propagate_down) return;
  const Dtype* top_data = top[0]->cpu_data();
  const Dtype* top_diff = top[0]->cpu_diff();
  Dtype* bottom_diff = (*bottom)[0]->mutable_cpu_diff();
  for (int i = 0; i < (*bottom)[0]->count(); ++i) {
    bottom_diff[i] = top_diff[i] * (Dtype(1) - top_data[i] * top_data[i]);
  }
}

template class TanHLayer<float>;

}  // namespace caffe
