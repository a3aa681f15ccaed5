// SplitLayer: gives one blob several consumers by sharing its memory.

#include <cblas.h>

#include <cstddef>
#include <vector>

#include "caffe/common_layers.hpp"

namespace caffe {

template <typename Dtype>
void SplitLayer<Dtype>::SetUp(const vector<Blob<Dtype>*>& bottom, vector<Blob<Dtype>*>* top) {
  CHECK_EQ(bottom.size(), 1) << "Split Layer takes a single blob as input.";
  CHECK_GE(top->size(), 1) << "Split Layer takes at least one blob as output.";
  count_ = bottom[0]->count();
  for (std::size_t i = 0; i < top->size(); ++i) {
    if (i > 0) {
      CHECK((*top)[i] != bottom[0]) << "Only 0th top blob may be in place.";
    }
    (*top)[i]->Reshape(bottom[0]->num(), bottom[0]->channels(), bottom[0]->height(),
                       bottom[0]->width());
    CHECK_EQ(count_, (*top)[i]->count());
  }
}

template <typename Dtype>
Dtype SplitLayer<Dtype>::Forward_cpu(const vector<Blob<Dtype>*>& bottom,
                                     vector<Blob<Dtype>*>* top) {
  for (Blob<Dtype>* output : *top) {
    output->ShareData(*bottom[0]);
  }
  return Dtype(0);
}

template <typename Dtype>
void SplitLayer<Dtype>::Backward_cpu(const vector<Blob<Dtype>*>& top, bool propagate_down,
                                     vector<Blob<Dtype>*>* bottom) {
  if (!propagate_down) return;
  (*bottom)[0]->ShareDiff(*top[0]);
  Dtype* sum = (*bottom)[0]->mutable_cpu_diff();
  for (std::size_t i = 1; i < top.size(); ++i) {
    cblas_saxpy(count_, 1.0F, top[i]->cpu_diff(), 1, sum, 1);
  }
}

template class SplitLayer<float>;

}  // namespace caffe
