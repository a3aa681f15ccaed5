// MultinomialLogisticLossLayer: the mean negative logarithm of the probability at the label.

#include <algorithm>
#include <cmath>

#include "caffe/loss_layers.hpp"
#include "caffe/util/labels.hpp"

namespace caffe {

template <typename Dtype>
void MultinomialLogisticLossLayer<Dtype>::FurtherSetUp(const vector<Blob<Dtype>*>& bottom,
                                                       vector<Blob<Dtype>*>* /*top*/) {
  CHECK_EQ(bottom[1]->channels(), 1);
  CHECK_EQ(bottom[1]->height(), 1);
  CHECK_EQ(bottom[1]->width(), 1);
}

template <typename Dtype>
Dtype MultinomialLogisticLossLayer<Dtype>::Forward_cpu(const vector<Blob<Dtype>*>& bottom,
                                                       vector<Blob<Dtype>*>* /*top*/) {
  const Dtype* probabilities = bottom[0]->cpu_data();
  const int num = bottom[0]->num();
  const int dim = bottom[0]->count() / num;
  Dtype loss = 0;
  for (int image = 0; image < num; ++image) {
    const Dtype probability = probabilities[image * dim + LabelAt(*bottom[1], image, dim)];
    loss -= std::log(std::max(probability, Dtype(kLogThreshold)));
  }
  return loss / num;
}

template <typename Dtype>
void MultinomialLogisticLossLayer<Dtype>::Backward_cpu(const vector<Blob<Dtype>*>& /*top*/,
                                                       bool propagate_down,
                                                       vector<Blob<Dtype>*>* bottom) {
  if (!propagate_down) {
    return;
  }
  const Dtype* probabilities = (*bottom)[0]->cpu_data();
  Dtype* diff = (*bottom)[0]->mutable_cpu_diff();
  const int num = (*bottom)[0]->num();
  const int dim = (*bottom)[0]->count() / num;
  std::fill_n(diff, (*bottom)[0]->count(), Dtype(0));
  for (int image = 0; image < num; ++image) {
    const int at = image * dim + LabelAt(*(*bottom)[1], image, dim);
    diff[at] = Dtype(-1) / std::max(probabilities[at], Dtype(kLogThreshold)) / num;
  }
}

template class MultinomialLogisticLossLayer<float>;

}  // namespace caffe
