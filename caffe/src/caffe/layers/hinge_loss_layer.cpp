// HingeLossLayer: scores of the labelled class above 1, all others below -1, or a linear penalty.

#include <cblas.h>

#include <algorithm>

#include "caffe/loss_layers.hpp"
#include "caffe/util/labels.hpp"
#include "caffe/util/math_functions.hpp"

namespace caffe {

template <typename Dtype>
void HingeLossLayer<Dtype>::FurtherSetUp(const vector<Blob<Dtype>*>& bottom,
                                         vector<Blob<Dtype>*>* /*top*/) {
  margins_.Reshape(bottom[0]->num(), bottom[0]->channels(), bottom[0]->height(),
                   bottom[0]->width());
}

template <typename Dtype>
Dtype HingeLossLayer<Dtype>::Forward_cpu(const vector<Blob<Dtype>*>& bottom,
                                         vector<Blob<Dtype>*>* /*top*/) {
  const int count = bottom[0]->count();
  Dtype* margins = margins_.mutable_cpu_data();
  cblas_scopy(count, bottom[0]->cpu_data(), 1, margins, 1);
  const int num = bottom[0]->num();
  const int dim = count / num;
  for (int image = 0; image < num; ++image) {
    Dtype& labelled = margins[image * dim + LabelAt(*bottom[1], image, dim)];
    labelled = -labelled;
  }
  for (int i = 0; i < count; ++i) {
    margins[i] = std::max(Dtype(0), 1 + margins[i]);
  }
  return cblas_sasum(count, margins, 1) / num;
}

template <typename Dtype>
void HingeLossLayer<Dtype>::Backward_cpu(const vector<Blob<Dtype>*>& /*top*/, bool propagate_down,
                                         vector<Blob<Dtype>*>* bottom) {
  if (!propagate_down) {
    return;
  }
  const int count = (*bottom)[0]->count();
  Dtype* diff = (*bottom)[0]->mutable_cpu_diff();
  const int num = (*bottom)[0]->num();
  const int dim = count / num;
  caffe_cpu_sign(count, margins_.cpu_data(), diff);
  for (int image = 0; image < num; ++image) {
    Dtype& labelled = diff[image * dim + LabelAt(*(*bottom)[1], image, dim)];
    labelled = -labelled;
  }
  cblas_sscal(count, Dtype(1) / num, diff, 1);
}

template class HingeLossLayer<float>;

}  // namespace caffe
