// EuclideanLossLayer: half the mean squared distance of two blobs.

#include <cblas.h>

#include "caffe/loss_layers.hpp"
#include "caffe/util/math_functions.hpp"

namespace caffe {

template <typename Dtype>
void EuclideanLossLayer<Dtype>::FurtherSetUp(const vector<Blob<Dtype>*>& bottom,
                                             vector<Blob<Dtype>*>* /*top*/) {
  CHECK_EQ(bottom[0]->channels(), bottom[1]->channels());
  CHECK_EQ(bottom[0]->height(), bottom[1]->height());
  CHECK_EQ(bottom[0]->width(), bottom[1]->width());
  difference_.Reshape(bottom[0]->num(), bottom[0]->channels(), bottom[0]->height(),
                      bottom[0]->width());
}

template <typename Dtype>
Dtype EuclideanLossLayer<Dtype>::Forward_cpu(const vector<Blob<Dtype>*>& bottom,
                                             vector<Blob<Dtype>*>* /*top*/) {
  const int count = bottom[0]->count();
  Dtype* difference = difference_.mutable_cpu_data();
  vsSub(count, bottom[0]->cpu_data(), bottom[1]->cpu_data(), difference);
  const Dtype dot = cblas_sdot(count, difference, 1, difference, 1);
  return dot / bottom[0]->num() * Dtype(0.5);
}

template <typename Dtype>
void EuclideanLossLayer<Dtype>::Backward_cpu(const vector<Blob<Dtype>*>& /*top*/,
                                             bool propagate_down, vector<Blob<Dtype>*>* bottom) {
  if (!propagate_down) {
    return;
  }
  Blob<Dtype>* data = (*bottom)[0];
  Dtype* diff = data->mutable_cpu_diff();
  cblas_scopy(data->count(), difference_.cpu_data(), 1, diff, 1);
  cblas_sscal(data->count(), Dtype(1) / data->num(), diff, 1);
}

template class EuclideanLossLayer<float>;

}  // namespace caffe
