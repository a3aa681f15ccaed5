// NeuronLayer: what layers that map each element by itself share.

#include <vector>

#include "caffe/neuron_layers.hpp"
#include "caffe/util/shape_checks.hpp"

namespace caffe {

template <typename Dtype>
void NeuronLayer<Dtype>::SetUp(const vector<Blob<Dtype>*>& bottom, vector<Blob<Dtype>*>* top) {
  CHECK_EQ(bottom.size(), 1) << "Neuron Layer takes a single blob as input.";
  CHECK_EQ(top->size(), 1) << "Neuron Layer takes a single blob as output.";
  if ((*top)[0] != bottom[0]) {
    (*top)[0]->Reshape(bottom[0]->num(), bottom[0]->channels(), bottom[0]->height(),
                       bottom[0]->width());
  }
}

template <typename Dtype>
typename NeuronLayer<Dtype>::Span NeuronLayer<Dtype>::SpanOf(const vector<Blob<Dtype>*>& bottom,
                                                             vector<Blob<Dtype>*>* top) {
  const int count = bottom[0]->count();
  CheckHolds(*bottom[0], count);
  CheckHolds(*(*top)[0], count);
  return {count, bottom[0]->cpu_data(), (*top)[0]->mutable_cpu_data()};
}

template class NeuronLayer<float>;

}  // namespace caffe
