// FlattenLayer: gives images the shape of vectors by sharing their memory.

#include <vector>

#include "caffe/common_layers.hpp"

namespace caffe {

template <typename Dtype>
void FlattenLayer<Dtype>::SetUp(const vector<Blob<Dtype>*>& bottom, vector<Blob<Dtype>*>* top) {
  CHECK_EQ(bottom.size(), 1) << "Flatten Layer takes a single blob as input.";
  CHECK_EQ(top->size(), 1) << "Flatten Layer takes a single blob as output.";
  const int length = bottom[0]->channels() * bottom[0]->height() * bottom[0]->width();
  (*top)[0]->Reshape(bottom[0]->num(), length, 1, 1);
  count_ = bottom[0]->num() * length;
  CHECK_EQ(count_, bottom[0]->count());
  CHECK_EQ(count_, (*top)[0]->count());
}

template <typename Dtype>
Dtype FlattenLayer<Dtype>::Forward_cpu(const vector<Blob<Dtype>*>& bottom,
                                       vector<Blob<Dtype>*>* top) {
  (*top)[0]->ShareData(*bottom[0]);
  return Dtype(0);
}

template <typename Dtype>
void FlattenLayer<Dtype>::Backward_cpu(const vector<Blob<Dtype>*>& top, bool propagate_down,
                                       vector<Blob<Dtype>*>* bottom) {
  if (!propagate_down) return;
  (*bottom)[0]->ShareDiff(*top[0]);
}

template class FlattenLayer<float>;

}  // namespace caffe
