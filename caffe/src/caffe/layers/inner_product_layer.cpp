// InnerProductLayer: multiplies flat images with a weight matrix.

#include <cblas.h>

#include <algorithm>
#include <cstdint>
#include <vector>

#include "caffe/common_layers.hpp"
#include "caffe/filler.hpp"
#include "caffe/util/shape_checks.hpp"

namespace caffe {

template <typename Dtype>
void InnerProductLayer<Dtype>::SetUp(const vector<Blob<Dtype>*>& bottom,
                                     vector<Blob<Dtype>*>* top) {
  CHECK_EQ(bottom.size(), 1) << "IP Layer takes a single blob as input.";
  CHECK_EQ(top->size(), 1) << "IP Layer takes a single blob as output.";
  outputs_ = this->layer_param_.inner_product_param().num_output();
  bias_term_ = this->layer_param_.inner_product_param().bias_term();
  rows_ = bottom[0]->num();
  CHECK_GT(rows_, 0) << "The input holds no image.";
  depth_ = bottom[0]->count() / rows_;
  CheckShapeFits(rows_, outputs_, 1, 1);
  CheckShapeFits(1, 1, outputs_, depth_);
  (*top)[0]->Reshape(rows_, outputs_, 1, 1);
  SetUpParameters();
  if (bias_term_) {
    bias_multiplier_.reset(new SyncedMemory(rows_ * sizeof(Dtype)));
    std::fill_n(static_cast<Dtype*>(bias_multiplier_->mutable_cpu_data()), rows_, Dtype(1));
  }
}

template <typename Dtype>
void InnerProductLayer<Dtype>::SetUpParameters() {
  const InnerProductParameter& param = this->layer_param_.inner_product_param();
  auto& blobs = this->blobs_;
  if (blobs.empty()) {
    blobs.push_back(MakeFilledBlob(1, 1, outputs_, depth_, param.weight_filler()));
    if (bias_term_) {
      blobs.push_back(MakeFilledBlob(1, 1, 1, outputs_, param.bias_filler()));
    }
    return;
  }
  CheckParameterHolds(*blobs[0], 1, 1, outputs_, depth_, "weights");
  if (bias_term_) {
    CHECK_GE(blobs.size(), 2) << "The definition carries weights but no bias.";
    CheckParameterHolds(*blobs[1], 1, 1, 1, outputs_, "a bias");
  }
}

template <typename Dtype>
Dtype InnerProductLayer<Dtype>::Forward_cpu(const vector<Blob<Dtype>*>& bottom,
                                            vector<Blob<Dtype>*>* top) {
  const Dtype* input = bottom[0]->cpu_data();
  const Dtype* weights = this->blobs_[0]->cpu_data();
  Dtype* output = (*top)[0]->mutable_cpu_data();
  // Both products add to what is there, so that the bias costs no pass of its own.
  for (int row = 0; row < rows_; ++row) {
    Dtype* output_row = output + std::int64_t{row} * outputs_;
    if (bias_term_) {
      CHECK(bias_multiplier_);
      std::copy_n(this->blobs_[1]->cpu_data(), outputs_, output_row);
    } else {
      std::fill_n(output_row, outputs_, Dtype(0));
    }
  }
  if (rows_ == 1) {
    // A product of matrices copies the weights into another order first, which pays for many rows.
    cblas_sgemv(CblasRowMajor, CblasNoTrans, outputs_, depth_, 1.0F, weights, depth_, input, 1,
                1.0F, output, 1);
  } else {
    cblas_sgemm(CblasRowMajor, CblasNoTrans, CblasTrans, rows_, outputs_, depth_, 1.0F, input,
                depth_, weights, depth_, 1.0F, output, outputs_);
  }
  return Dtype(0);
}

template <typename Dtype>
void InnerProductLayer<Dtype>::Backward_cpu(const vector<Blob<Dtype>*>& top, bool propagate_down,
                                            vector<Blob<Dtype>*>* bottom) {
  const Dtype* top_diff = top[0]->cpu_diff();
  cblas_sgemm(CblasRowMajor, CblasTrans, CblasNoTrans, outputs_, depth_, rows_, 1.0F, top_diff,
              outputs_, (*bottom)[0]->cpu_data(), depth_, 0.0F, this->blobs_[0]->mutable_cpu_diff(),
              depth_);
  if (bias_term_) {
    cblas_sgemv(CblasRowMajor, CblasTrans, rows_, outputs_, 1.0F, top_diff, outputs_,
                static_cast<const Dtype*>(bias_multiplier_->cpu_data()), 1, 0.0F,
                this->blobs_[1]->mutable_cpu_diff(), 1);
  }
  if (propagate_down) {
    cblas_sgemm(CblasRowMajor, CblasNoTrans, CblasNoTrans, rows_, depth_, outputs_, 1.0F, top_diff,
                outputs_, this->blobs_[0]->cpu_data(), depth_, 0.0F,
                (*bottom)[0]->mutable_cpu_diff(), depth_);
  }
}

template class InnerProductLayer<float>;

}  // namespace caffe
