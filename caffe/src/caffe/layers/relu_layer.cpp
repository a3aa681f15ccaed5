// ReLULayer: cuts off negative values.

#include <vector>

#include "caffe/neuron_layers.hpp"
#include "caffe/util/wide_loops.hpp"

namespace caffe {
namespace {

void Rectify(int count, const float* input, float* output) {
  RunWide([=]() OZNA_WIDE_LOOP {
    OZNA_VECTOR_LOOP
    for (int i = 0; i < count; ++i) {
      output[i] = input[i] >= 0.0F ? input[i] : 0.0F;
    }
  });
}

}  // namespace

template <typename Dtype>
Dtype ReLULayer<Dtype>::Forward_cpu(const vector<Blob<Dtype>*>& bottom, vector<Blob<Dtype>*>* top) {
  const auto span = this->SpanOf(bottom, top);
  Rectify(span.count, span.input, span.output);
  return Dtype(0);
}

template <typename Dtype>
void ReLULayer<Dtype>::Backward_cpu(const vector<Blob<Dtype>*>& top, bool propagate_down,
                                    vector<Blob<Dtype>*>* bottom) {
  if (!propagate_down) return;
  const Dtype* bottom_data = (*bottom)[0]->cpu_data();
  const Dtype* top_diff = top[0]->cpu_diff();
  Dtype* bottom_diff = (*bottom)[0]->mutable_cpu_diff();
  for (int i = 0; i < (*bottom)[0]->count(); ++i) {
    bottom_diff[i] = bottom_data[i] > 0 ? top_diff[i] : Dtype(0);
  }
}

template class ReLULayer<float>;

}  // namespace caffe
