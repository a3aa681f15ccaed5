// BNLLLayer: the binomial normal log likelihood, log(1 + exp(x)).

#include <algorithm>
#include <cmath>
#include <vector>

#include "caffe/neuron_layers.hpp"

namespace caffe {
namespace {

// Beyond this exponent the gradient e / (e + 1) is 1 in single precision, while e soon overflows.
constexpr float kExponentLimit = 50.0F;

}  // namespace

template <typename Dtype>
Dtype BNLLLayer<Dtype>::Forward_cpu(const vector<Blob<Dtype>*>& bottom, vector<Blob<Dtype>*>* top) {
  const auto span = this->SpanOf(bottom, top);
  for (int i = 0; i < span.count; ++i) {
    const Dtype x = span.input[i];
    span.output[i] =
        x > 0 ? x + std::log(Dtype(1) + std::exp(-x)) : std::log(Dtype(1) + std::exp(x));
  }
  return Dtype(0);
}

template <typename Dtype>
void BNLLLayer<Dtype>::Backward_cpu(const vector<Blob<Dtype>*>& top, bool propagate_down,
                                    vector<Blob<Dtype>*>* bottom) {
  if (!propagate_down) return;
  const Dtype* bottom_data = (*bottom)[0]->cpu_data();
  const Dtype* top_diff = top[0]->cpu_diff();
  Dtype* bottom_diff = (*bottom)[0]->mutable_cpu_diff();
  for (int i = 0; i < (*bottom)[0]->count(); ++i) {
    const Dtype e = std::exp(std::min(bottom_data[i], Dtype(kExponentLimit)));
    bottom_diff[i] = top_diff[i] * e / (e + Dtype(1));
  }
}

template class BNLLLayer<float>;

}  // namespace caffe
