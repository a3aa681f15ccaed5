// InfogainLossLayer: a logarithmic loss in which a matrix says what each wrong answer costs.

#include <algorithm>
#include <cmath>

#include "caffe/loss_layers.hpp"
#include "caffe/util/blob_file.hpp"
#include "caffe/util/labels.hpp"

namespace caffe {

template <typename Dtype>
void InfogainLossLayer<Dtype>::FurtherSetUp(const vector<Blob<Dtype>*>& bottom,
                                            vector<Blob<Dtype>*>* /*top*/) {
  CHECK_EQ(bottom[1]->channels(), 1);
  CHECK_EQ(bottom[1]->height(), 1);
  CHECK_EQ(bottom[1]->width(), 1);
  BlobProto proto;
  ReadBlobFromFile(this->layer_param_.infogain_loss_param().source().c_str(), &proto);
  infogain_.FromProto(proto);
  CHECK_EQ(infogain_.num(), 1);
  CHECK_EQ(infogain_.channels(), 1);
  CHECK_EQ(infogain_.height(), infogain_.width());
}

template <typename Dtype>
Dtype InfogainLossLayer<Dtype>::Forward_cpu(const vector<Blob<Dtype>*>& bottom,
                                            vector<Blob<Dtype>*>* /*top*/) {
  const Dtype* probabilities = bottom[0]->cpu_data();
  const int num = bottom[0]->num();
  const int dim = bottom[0]->count() / num;
  CHECK_EQ(infogain_.height(), dim);
  Dtype loss = 0;
  for (int image = 0; image < num; ++image) {
    const Dtype* weights = infogain_.cpu_data() + LabelAt(*bottom[1], image, dim) * dim;
    for (int j = 0; j < dim; ++j) {
      const Dtype probability = std::max(probabilities[image * dim + j], Dtype(kLogThreshold));
      loss -= weights[j] * std::log(probability);
    }
  }
  return loss / num;
}

template <typename Dtype>
void InfogainLossLayer<Dtype>::Backward_cpu(const vector<Blob<Dtype>*>& /*top*/,
                                            bool propagate_down, vector<Blob<Dtype>*>* bottom) {
  if (!propagate_down) {
    return;
  }
  const Dtype* probabilities = (*bottom)[0]->cpu_data();
  Dtype* diff = (*bottom)[0]->mutable_cpu_diff();
  const int num = (*bottom)[0]->num();
  const int dim = (*bottom)[0]->count() / num;
  CHECK_EQ(infogain_.height(), dim);
  for (int image = 0; image < num; ++image) {
    const Dtype* weights = infogain_.cpu_data() + LabelAt(*(*bottom)[1], image, dim) * dim;
    for (int j = 0; j < dim; ++j) {
      const int at = image * dim + j;
      diff[at] = -weights[j] / std::max(probabilities[at], Dtype(kLogThreshold)) / num;
    }
  }
}

template class InfogainLossLayer<float>;

}  // namespace caffe
