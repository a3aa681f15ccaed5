// EltwiseProductLayer: the product of blobs, element by element.

#include <cstddef>
#include <vector>

#include "caffe/common_layers.hpp"
#include "caffe/util/math_functions.hpp"

namespace caffe {

template <typename Dtype>
void EltwiseProductLayer<Dtype>::SetUp(const vector<Blob<Dtype>*>& bottom,
                                       vector<Blob<Dtype>*>* top) {
  CHECK_GE(bottom.size(), 2) << "Eltwise Product Layer takes at least 2 blobs as input.";
  CHECK_EQ(top->size(), 1) << "Eltwise Product Layer takes a single blob as output.";
  const int num = bottom[0]->num();
  const int channels = bottom[0]->channels();
  const int height = bottom[0]->height();
  const int width = bottom[0]->width();
  for (std::size_t i = 1; i < bottom.size(); ++i) {
    CHECK_EQ(num, bottom[i]->num());
    CHECK_EQ(channels, bottom[i]->channels());
    CHECK_EQ(height, bottom[i]->height());
    CHECK_EQ(width, bottom[i]->width());
  }
  (*top)[0]->Reshape(num, channels, height, width);
}

template <typename Dtype>
Dtype EltwiseProductLayer<Dtype>::Forward_cpu(const vector<Blob<Dtype>*>& bottom,
                                              vector<Blob<Dtype>*>* top) {
  const int count = (*top)[0]->count();
  Dtype* output = (*top)[0]->mutable_cpu_data();
  vsMul(count, bottom[0]->cpu_data(), bottom[1]->cpu_data(), output);
  for (std::size_t i = 2; i < bottom.size(); ++i) {
    vsMul(count, output, bottom[i]->cpu_data(), output);
  }
  return Dtype(0);
}

template <typename Dtype>
void EltwiseProductLayer<Dtype>::Backward_cpu(const vector<Blob<Dtype>*>& top, bool propagate_down,
                                              vector<Blob<Dtype>*>* bottom) {
  if (!propagate_down) return;
  const int count = top[0]->count();
  for (Blob<Dtype>* input : *bottom) {
    Dtype* input_diff = input->mutable_cpu_diff();
    vsDiv(count, top[0]->cpu_data(), input->cpu_data(), input_diff);
    vsMul(count, input_diff, top[0]->cpu_diff(), input_diff);
  }
}

template class EltwiseProductLayer<float>;

}  // namespace caffe
