// AccuracyLayer: how often the largest value is at the label, and how sure the values are of it.

#include <algorithm>
#include <cmath>

#include "caffe/loss_layers.hpp"
#include "caffe/util/labels.hpp"

namespace caffe {

template <typename Dtype>
void AccuracyLayer<Dtype>::SetUp(const vector<Blob<Dtype>*>& bottom, vector<Blob<Dtype>*>* top) {
  CHECK_EQ(bottom.size(), 2) << "Accuracy Layer takes two blobs as input.";
  CHECK_EQ(top->size(), 1) << "Accuracy Layer takes 1 output.";
  CHECK_EQ(bottom[0]->num(), bottom[1]->num()) << "The data and label should have the same number.";
  CHECK_EQ(bottom[1]->channels(), 1);
  CHECK_EQ(bottom[1]->height(), 1);
  CHECK_EQ(bottom[1]->width(), 1);
  (*top)[0]->Reshape(1, 2, 1, 1);
}

template <typename Dtype>
Dtype AccuracyLayer<Dtype>::Forward_cpu(const vector<Blob<Dtype>*>& bottom,
                                        vector<Blob<Dtype>*>* top) {
  const Dtype* values = bottom[0]->cpu_data();
  const int num = bottom[0]->num();
  const int dim = bottom[0]->count() / num;
  int hits = 0;
  Dtype log_loss = 0;
  for (int image = 0; image < num; ++image) {
    const Dtype* row = values + image * dim;
    const int label = LabelAt(*bottom[1], image, dim);
    if (std::max_element(row, row + dim) - row == label) {
      ++hits;
    }
    log_loss -= std::log(std::max(row[label], Dtype(kLogThreshold)));
  }
  Dtype* results = (*top)[0]->mutable_cpu_data();
  results[0] = Dtype(hits) / num;
  results[1] = log_loss / num;
  return Dtype(0);
}

template <typename Dtype>
void AccuracyLayer<Dtype>::Backward_cpu(const vector<Blob<Dtype>*>& /*top*/,
                                        bool /*propagate_down*/, vector<Blob<Dtype>*>* /*bottom*/) {
  LOG(FATAL) << "Not Implemented Yet";
}

template class AccuracyLayer<float>;

}  // namespace caffe
