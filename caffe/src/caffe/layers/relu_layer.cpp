// ReLULayer: cuts off negative values.

#include <vector>

#include "caffe/neuron_layers.hpp"

namespace caffe {
namespace {

// Two loops, since the compiler vectorises the first only for blobs that do not overlap, and in
// place they do.
void Rectify(int count, const float* input, float* output) {
  for (int i = 0; i < count; ++i) {
    output[i] = input[i] >= 0.0f ? input[i] : 0.0f;
  }
}

void RectifyInPlace(int count, float* values) {
  for (int i = 0; i < count; ++i) {
    values[i] = values[i] >= 0.0f ? values[i] : 0.0f;
  }
}

}  // namespace

template <typename Dtype>
Dtype ReLULayer<Dtype>::Forward_cpu(const vector<Blob<Dtype>*>& bottom, vector<Blob<Dtype>*>* top) {
  const auto span = this->SpanOf(bottom, top);
  if (span.input == span.output) {
    RectifyInPlace(span.count, span.output);
  } else {
    Rectify(span.count, span.input, span.output);
  }
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
