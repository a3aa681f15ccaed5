// Layer: what all layers share.

#include "caffe/layer.hpp"

#include <algorithm>

namespace caffe {

namespace {

template <typename Dtype>
bool HasNoNull(const vector<Blob<Dtype>*>& blobs) {
  return std::find(blobs.begin(), blobs.end(), nullptr) == blobs.end();
}

}  // namespace

template <typename Dtype>
Layer<Dtype>::Layer(const LayerParameter& param)
    : layer_param_(*google::protobuf::Arena::CreateMessage<LayerParameter>(&arena_)) {
  layer_param_.CopyFrom(param);
  blobs_.resize(layer_param_.blobs_size());
  for (int i = 0; i < layer_param_.blobs_size(); ++i) {
    blobs_[i].reset(new Blob<Dtype>());
    blobs_[i]->FromProto(layer_param_.blobs(i));
  }
}

template <typename Dtype>
void Layer<Dtype>::AlterInputShape(int /*new_width*/, int /*new_height*/,
                                   const vector<Blob<Dtype>*>& /*bottom*/,
                                   vector<Blob<Dtype>*>* /*top*/) {}

template <typename Dtype>
void Layer<Dtype>::ToProto(LayerParameter* param, bool write_diff) {
  param->Clear();
  if (param != &layer_param_) {
    param->CopyFrom(layer_param_);
  }
  param->clear_blobs();
  for (const shared_ptr<Blob<Dtype>>& blob : blobs_) {
    blob->ToProto(param->add_blobs(), write_diff);
  }
}

template <typename Dtype>
Dtype Layer<Dtype>::Forward(const vector<Blob<Dtype>*>& bottom, vector<Blob<Dtype>*>* top) {
  DCHECK(HasNoNull(bottom) && HasNoNull(*top)) << "A layer was given a null blob.";
  switch (Caffe::mode()) {
    case Caffe::CPU:
      return Forward_cpu(bottom, top);
    case Caffe::GPU:
      return Forward_gpu(bottom, top);
  }
  LOG(FATAL) << "Unknown caffe mode.";
  return Dtype(0);
}

template <typename Dtype>
void Layer<Dtype>::Backward(const vector<Blob<Dtype>*>& top, bool propagate_down,
                            vector<Blob<Dtype>*>* bottom) {
  DCHECK(HasNoNull(top) && HasNoNull(*bottom)) << "A layer was given a null blob.";
  switch (Caffe::mode()) {
    case Caffe::CPU:
      Backward_cpu(top, propagate_down, bottom);
      return;
    case Caffe::GPU:
      Backward_gpu(top, propagate_down, bottom);
      return;
  }
  LOG(FATAL) << "Unknown caffe mode.";
}

template class Layer<float>;

}  // namespace caffe
