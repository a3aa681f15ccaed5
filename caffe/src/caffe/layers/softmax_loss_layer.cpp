// SoftmaxWithLossLayer: softmax, then the mean negative logarithm at the label.

#include <cblas.h>

#include <algorithm>
#include <cmath>

#include "caffe/common_layers.hpp"
#include "caffe/loss_layers.hpp"
#include "caffe/util/labels.hpp"

namespace caffe {

namespace {

// The loss of an image that the softmax normalised: log(sum over channels at the label's position)
// - x(label). The other positions have no part in it.
void AddNormalisedGradient(const float* probabilities, int channels, int spatial, int label,
                           float* diff) {
  const int position = label % spatial;
  for (int channel = 0; channel < channels; ++channel) {
    const int at = channel * spatial + position;
    diff[at] += probabilities[at];
  }
  diff[label] -= 1;
}

// The loss of an image that the softmax left at exp(x - max): max - x(label).
void AddUnnormalisedGradient(const float* scores, int dim, int label, float* diff) {
  diff[std::max_element(scores, scores + dim) - scores] += 1;
  diff[label] -= 1;
}

}  // namespace

template <typename Dtype>
SoftmaxWithLossLayer<Dtype>::SoftmaxWithLossLayer(const LayerParameter& param)
    : Layer<Dtype>(param), softmax_layer_(new SoftmaxLayer<Dtype>(param)) {}

template <typename Dtype>
SoftmaxWithLossLayer<Dtype>::~SoftmaxWithLossLayer() {}

template <typename Dtype>
void SoftmaxWithLossLayer<Dtype>::SetUp(const vector<Blob<Dtype>*>& bottom,
                                        vector<Blob<Dtype>*>* top) {
  CHECK_EQ(bottom.size(), 2) << "SoftmaxLoss Layer takes two blobs as input.";
  CHECK_EQ(top->size(), 0) << "SoftmaxLoss Layer takes no blob as output.";
  softmax_bottom_vec_.assign(1, bottom[0]);
  softmax_top_vec_.assign(1, &prob_);
  softmax_layer_->SetUp(softmax_bottom_vec_, &softmax_top_vec_);
}

template <typename Dtype>
Dtype SoftmaxWithLossLayer<Dtype>::Forward_cpu(const vector<Blob<Dtype>*>& bottom,
                                               vector<Blob<Dtype>*>* /*top*/) {
  softmax_bottom_vec_[0] = bottom[0];
  softmax_layer_->Forward(softmax_bottom_vec_, &softmax_top_vec_);
  const Dtype* probabilities = prob_.cpu_data();
  const int num = prob_.num();
  const int dim = prob_.count() / num;
  Dtype loss = 0;
  for (int image = 0; image < num; ++image) {
    const Dtype probability = probabilities[image * dim + LabelAt(*bottom[1], image, dim)];
    loss -= std::log(std::max(probability, Dtype(kLogThreshold)));
  }
  return loss / num;
}

template <typename Dtype>
void SoftmaxWithLossLayer<Dtype>::Backward_cpu(const vector<Blob<Dtype>*>& /*top*/,
                                               bool propagate_down, vector<Blob<Dtype>*>* bottom) {
  if (!propagate_down) {
    return;
  }
  const Dtype* scores = (*bottom)[0]->cpu_data();
  Dtype* diff = (*bottom)[0]->mutable_cpu_diff();
  const int num = prob_.num();
  const int dim = prob_.count() / num;
  const int spatial = prob_.height() * prob_.width();
  std::fill_n(diff, prob_.count(), Dtype(0));
  AddNormalisedGradient(prob_.cpu_data(), prob_.channels(), spatial, LabelAt(*(*bottom)[1], 0, dim),
                        diff);
  for (int image = 1; image < num; ++image) {
    AddUnnormalisedGradient(scores + image * dim, dim, LabelAt(*(*bottom)[1], image, dim),
                            diff + image * dim);
  }
  cblas_sscal(prob_.count(), Dtype(1) / num, diff, 1);
}

template class SoftmaxWithLossLayer<float>;

}  // namespace caffe
