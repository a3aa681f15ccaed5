// Im2colLayer: unfolds each image into columns.

#include <vector>

#include "caffe/util/im2col.hpp"
#include "caffe/util/shape_checks.hpp"
#include "caffe/vision_layers.hpp"

namespace caffe {

template <typename Dtype>
void Im2colLayer<Dtype>::SetUp(const vector<Blob<Dtype>*>& bottom, vector<Blob<Dtype>*>* top) {
  CHECK_EQ(bottom.size(), 1) << "Im2col Layer takes a single blob as input.";
  CHECK_EQ(top->size(), 1) << "Im2col Layer takes a single blob as output.";
  const ConvolutionParameter& param = this->layer_param_.convolution_param();
  kernel_size_ = param.kernel_size();
  stride_ = param.stride();
  pad_ = param.pad();
  channels_ = bottom[0]->channels();
  height_ = bottom[0]->height();
  width_ = bottom[0]->width();
  CHECK_GT(kernel_size_, 0) << "kernel_size should be at least 1.";
  CheckWindow(kernel_size_, pad_, stride_, height_, width_);
  const int out_height = im2col_output_size(height_, kernel_size_, pad_, stride_);
  const int out_width = im2col_output_size(width_, kernel_size_, pad_, stride_);
  CheckShapeFits(bottom[0]->num(), static_cast<double>(channels_) * kernel_size_ * kernel_size_,
                 out_height, out_width);
  (*top)[0]->Reshape(bottom[0]->num(), channels_ * kernel_size_ * kernel_size_, out_height,
                     out_width);
}

template <typename Dtype>
Dtype Im2colLayer<Dtype>::Forward_cpu(const vector<Blob<Dtype>*>& bottom,
                                      vector<Blob<Dtype>*>* top) {
  CheckHolds(*bottom[0], bottom[0]->count());
  const Dtype* input = bottom[0]->cpu_data();
  Dtype* output = (*top)[0]->mutable_cpu_data();
  for (int n = 0; n < bottom[0]->num(); ++n) {
    im2col_cpu(input + bottom[0]->offset(n), channels_, height_, width_, kernel_size_, pad_,
               stride_, output + (*top)[0]->offset(n));
  }
  return Dtype(0);
}

template <typename Dtype>
void Im2colLayer<Dtype>::Backward_cpu(const vector<Blob<Dtype>*>& top, bool propagate_down,
                                      vector<Blob<Dtype>*>* bottom) {
  if (!propagate_down) return;
  const Dtype* top_diff = top[0]->cpu_diff();
  Dtype* bottom_diff = (*bottom)[0]->mutable_cpu_diff();
  for (int n = 0; n < top[0]->num(); ++n) {
    col2im_cpu(top_diff + top[0]->offset(n), channels_, height_, width_, kernel_size_, pad_,
               stride_, bottom_diff + (*bottom)[0]->offset(n));
  }
}

template class Im2colLayer<float>;

}  // namespace caffe
