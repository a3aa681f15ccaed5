// LossLayer: the checks that the losses of two blobs share.

#include "caffe/loss_layers.hpp"

namespace caffe {

template <typename Dtype>
void LossLayer<Dtype>::SetUp(const vector<Blob<Dtype>*>& bottom, vector<Blob<Dtype>*>* top) {
  CHECK_EQ(bottom.size(), 2) << "Loss Layer takes two blobs as input.";
  CHECK_EQ(top->size(), 0) << "Loss Layer takes no output.";
  CHECK_EQ(bottom[0]->num(), bottom[1]->num()) << "The data and label should have the same number.";
  FurtherSetUp(bottom, top);
}

template class LossLayer<float>;

}  // namespace caffe
