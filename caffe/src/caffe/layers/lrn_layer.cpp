// LRNLayer: local response normalization, across channels or within each.

#include <cblas.h>

#include <algorithm>
#include <cstdint>
#include <vector>

#include "caffe/util/math_functions.hpp"
#include "caffe/util/shape_checks.hpp"
#include "caffe/util/wide_loops.hpp"
#include "caffe/vision_layers.hpp"

namespace caffe {
namespace {

// ----------------------------------------------------------------------------
// The running window across channels.

// The sum of squares over the channels around each channel of an image.
struct RunningWindow {
  int channels, plane;
  int ahead;     // Channels from its own on.
  int behind;    // Channels before its own.
  float factor;  // Of each square.
};

// Adds the factor times the squares of a channel's places to the sums; subtracts for a negative
// factor.
OZNA_WIDE_LOOP inline void AddSquares(float factor, const float* __restrict values, int n,
                                      float* __restrict sums) {
  for (int i = 0; i < n; ++i) {
    sums[i] += factor * (values[i] * values[i]);
  }
}

// Writes 1 plus the window's sum for each value of an image. The window runs on: each channel takes
// the sum before it, adds the channel that comes in and subtracts the one that leaves, so that the
// cost does not depend on the size of the window. The order of these steps is that of the trained
// networks: what the sums round away at one channel, the next ones lack too.
void RunOverChannels(const RunningWindow& window, const float* image, float* scale) {
  RunWide([=, &window]() OZNA_WIDE_LOOP {
    constexpr int kBlock = 128;  // Places that go through all channels together.
    const int channels = window.channels;
    const std::int64_t plane = window.plane;
    for (int begin = 0; begin < window.plane; begin += kBlock) {
      const int n = std::min(kBlock, window.plane - begin);
      const float* values = image + begin;
      float* sums = scale + begin;
      std::fill_n(sums, n, 1.0F);
      for (int c = 0; c < std::min(window.ahead, channels); ++c) {
        AddSquares(window.factor, values + c * plane, n, sums);
      }
      for (int c = 1; c < channels; ++c, sums += plane) {
        std::copy_n(sums, n, sums + plane);
        const int entering = c + window.ahead - 1, leaving = c - 1 - window.behind;
        if (entering < channels) {
          AddSquares(window.factor, values + entering * plane, n, sums + plane);
        }
        if (leaving >= 0) {
          AddSquares(-window.factor, values + leaving * plane, n, sums + plane);
        }
      }
    }
  });
}

}  // namespace

// ----------------------------------------------------------------------------
// Shapes.

template <typename Dtype>
void LRNLayer<Dtype>::ReadSizes(const Blob<Dtype>& bottom) {
  num_ = bottom.num();
  channels_ = bottom.channels();
  height_ = bottom.height();
  width_ = bottom.width();
  size_ = this->layer_param_.lrn_param().local_size();
  CHECK_GT(size_, 0) << "local_size should be at least 1.";
  pre_pad_ = (size_ - 1) / 2;
  alpha_ = this->layer_param_.lrn_param().alpha();
  beta_ = this->layer_param_.lrn_param().beta();
}

template <typename Dtype>
void LRNLayer<Dtype>::SetUp(const vector<Blob<Dtype>*>& bottom, vector<Blob<Dtype>*>* top) {
  CHECK_EQ(bottom.size(), 1) << "Local Response Normalization Layer takes a single blob as input.";
  CHECK_EQ(top->size(), 1) << "Local Response Normalization Layer takes a single blob as output.";
  ReadSizes(*bottom[0]);
  CheckShapeFits(1, static_cast<double>(channels_) + size_, height_, width_);
  switch (this->layer_param_.lrn_param().norm_region()) {
    case LRNParameter_NormRegion_ACROSS_CHANNELS:
      (*top)[0]->Reshape(num_, channels_, height_, width_);
      scale_.Reshape(num_, channels_, height_, width_);
      break;
    case LRNParameter_NormRegion_WITHIN_CHANNEL:
      SetUpWithinChannel(bottom, top);
      break;
    default:
      LOG(FATAL) << "Unknown normalization region.";
  }
}

// Builds the chain: split -> square -> average -> power -> product with the second copy.
template <typename Dtype>
void LRNLayer<Dtype>::SetUpWithinChannel(const vector<Blob<Dtype>*>& bottom,
                                         vector<Blob<Dtype>*>* top) {
  split_top_vec_ = {&product_input_, &square_input_};
  split_layer_.reset(new SplitLayer<Dtype>(LayerParameter()));
  split_layer_->SetUp(bottom, &split_top_vec_);

  LayerParameter square_param;
  square_param.mutable_power_param()->set_power(2.0F);
  square_bottom_vec_ = {&square_input_};
  square_top_vec_ = {&square_output_};
  square_layer_.reset(new PowerLayer<Dtype>(square_param));
  square_layer_->SetUp(square_bottom_vec_, &square_top_vec_);
  CHECK_EQ(square_output_.num(), num_);
  CHECK_EQ(square_output_.channels(), channels_);
  CHECK_EQ(square_output_.height(), height_);
  CHECK_EQ(square_output_.width(), width_);

  LayerParameter pool_param;
  pool_param.mutable_pooling_param()->set_pool(PoolingParameter_PoolMethod_AVE);
  pool_param.mutable_pooling_param()->set_kernel_size(size_);
  pool_param.mutable_pooling_param()->set_pad(pre_pad_);
  pool_top_vec_ = {&pool_output_};
  pool_layer_.reset(new PoolingLayer<Dtype>(pool_param));
  pool_layer_->SetUp(square_top_vec_, &pool_top_vec_);
  CHECK_EQ(pool_output_.num(), num_);
  CHECK_EQ(pool_output_.channels(), channels_);
  CHECK_EQ(pool_output_.height(), height_);
  CHECK_EQ(pool_output_.width(), width_);

  LayerParameter power_param;
  power_param.mutable_power_param()->set_power(-beta_);
  power_param.mutable_power_param()->set_scale(alpha_);
  power_param.mutable_power_param()->set_shift(1.0F);
  power_top_vec_ = {&power_output_};
  power_layer_.reset(new PowerLayer<Dtype>(power_param));
  power_layer_->SetUp(pool_top_vec_, &power_top_vec_);
  CHECK_EQ(power_output_.num(), num_);
  CHECK_EQ(power_output_.channels(), channels_);
  CHECK_EQ(power_output_.height(), height_);
  CHECK_EQ(power_output_.width(), width_);

  product_bottom_vec_ = {&power_output_, &product_input_};
  product_layer_.reset(new EltwiseProductLayer<Dtype>(LayerParameter()));
  product_layer_->SetUp(product_bottom_vec_, top);
}

template <typename Dtype>
void LRNLayer<Dtype>::AlterInputShape(int /*new_width*/, int /*new_height*/,
                                      const vector<Blob<Dtype>*>& bottom,
                                      vector<Blob<Dtype>*>* top) {
  CHECK_EQ(bottom.size(), 1) << "Local Response Normalization Layer takes a single blob as input.";
  CHECK_EQ(top->size(), 1) << "Local Response Normalization Layer takes a single blob as output.";
  ReadSizes(*bottom[0]);
  (*top)[0]->OverwriteShape(num_, channels_, height_, width_);
  scale_.OverwriteShape(num_, channels_, height_, width_);
}

// ----------------------------------------------------------------------------
// Forward.

template <typename Dtype>
Dtype LRNLayer<Dtype>::Forward_cpu(const vector<Blob<Dtype>*>& bottom, vector<Blob<Dtype>*>* top) {
  switch (this->layer_param_.lrn_param().norm_region()) {
    case LRNParameter_NormRegion_ACROSS_CHANNELS:
      return CrossChannelForward_cpu(bottom, top);
    case LRNParameter_NormRegion_WITHIN_CHANNEL:
      return WithinChannelForward(bottom, top);
    default:
      LOG(FATAL) << "Unknown normalization region.";
      return Dtype(0);
  }
}

template <typename Dtype>
Dtype LRNLayer<Dtype>::CrossChannelForward_cpu(const vector<Blob<Dtype>*>& bottom,
                                               vector<Blob<Dtype>*>* top) {
  const int plane = height_ * width_;
  const std::int64_t image = std::int64_t{channels_} * plane;
  const std::int64_t count = num_ * image;
  CheckHolds(*bottom[0], count);
  CheckHolds(*(*top)[0], count);
  CheckHolds(scale_, count);
  const Dtype* input = bottom[0]->cpu_data();
  Dtype* output = (*top)[0]->mutable_cpu_data();
  Dtype* scale = scale_.mutable_cpu_data();
  const RunningWindow window{channels_, plane, size_ - pre_pad_, pre_pad_, alpha_ / size_};
  for (int n = 0; n < num_; ++n) {
    RunOverChannels(window, input + n * image, scale + n * image);
  }
  vsPowx(static_cast<int>(count), scale, -beta_, output);
  vsMul(static_cast<int>(count), output, input, output);
  return Dtype(0);
}

template <typename Dtype>
Dtype LRNLayer<Dtype>::WithinChannelForward(const vector<Blob<Dtype>*>& bottom,
                                            vector<Blob<Dtype>*>* top) {
  split_layer_->Forward(bottom, &split_top_vec_);
  square_layer_->Forward(square_bottom_vec_, &square_top_vec_);
  pool_layer_->Forward(square_top_vec_, &pool_top_vec_);
  power_layer_->Forward(pool_top_vec_, &power_top_vec_);
  product_layer_->Forward(product_bottom_vec_, top);
  return Dtype(0);
}

// ----------------------------------------------------------------------------
// Backward.

template <typename Dtype>
void LRNLayer<Dtype>::Backward_cpu(const vector<Blob<Dtype>*>& top, bool propagate_down,
                                   vector<Blob<Dtype>*>* bottom) {
  switch (this->layer_param_.lrn_param().norm_region()) {
    case LRNParameter_NormRegion_ACROSS_CHANNELS:
      CrossChannelBackward_cpu(top, propagate_down, bottom);
      break;
    case LRNParameter_NormRegion_WITHIN_CHANNEL:
      WithinChannelBackward(top, propagate_down, bottom);
      break;
    default:
      LOG(FATAL) << "Unknown normalization region.";
  }
}

// With s the scale and t the output's gradient, the gradient of input x at channel c is
//   t * s^-beta - 2 * alpha * beta / size * x * (sum of t * output / s over the windows with c).
// Those windows belong to the channels c - (size - 1 - pre_pad) to c + pre_pad.
template <typename Dtype>
void LRNLayer<Dtype>::CrossChannelBackward_cpu(const vector<Blob<Dtype>*>& top, bool propagate_down,
                                               vector<Blob<Dtype>*>* bottom) {
  if (!propagate_down) return;
  const int plane = height_ * width_;
  const int image = channels_ * plane;
  const Dtype* input = (*bottom)[0]->cpu_data();
  const Dtype* output = top[0]->cpu_data();
  const Dtype* output_diff = top[0]->cpu_diff();
  const Dtype* scale = scale_.cpu_data();
  Dtype* input_diff = (*bottom)[0]->mutable_cpu_diff();
  vsPowx(num_ * image, scale, -beta_, input_diff);
  vsMul(num_ * image, input_diff, output_diff, input_diff);

  Blob<Dtype> padded_ratio(1, channels_ + size_ - 1, height_, width_);
  Blob<Dtype> window_sum(1, 1, height_, width_);
  Dtype* ratios = padded_ratio.mutable_cpu_data();
  Dtype* sum = window_sum.mutable_cpu_data();
  Dtype* own_ratios = ratios + padded_ratio.offset(0, size_ - 1 - pre_pad_);
  const Dtype factor = -2 * alpha_ * beta_ / size_;
  for (int n = 0; n < num_; ++n) {
    const int begin = scale_.offset(n);
    vsMul(image, output_diff + begin, output + begin, own_ratios);
    vsDiv(image, own_ratios, scale + begin, own_ratios);
    std::fill_n(sum, plane, Dtype(0));
    for (int c = 0; c < size_ - 1; ++c) {
      cblas_saxpy(plane, 1.0F, ratios + padded_ratio.offset(0, c), 1, sum, 1);
    }
    for (int c = 0; c < channels_; ++c) {
      cblas_saxpy(plane, 1.0F, ratios + padded_ratio.offset(0, c + size_ - 1), 1, sum, 1);
      const int at = scale_.offset(n, c);
      for (int i = 0; i < plane; ++i) {
        input_diff[at + i] += factor * input[at + i] * sum[i];
      }
      cblas_saxpy(plane, -1.0F, ratios + padded_ratio.offset(0, c), 1, sum, 1);
    }
  }
}

template <typename Dtype>
void LRNLayer<Dtype>::WithinChannelBackward(const vector<Blob<Dtype>*>& top, bool propagate_down,
                                            vector<Blob<Dtype>*>* bottom) {
  if (!propagate_down) return;
  product_layer_->Backward(top, true, &product_bottom_vec_);
  power_layer_->Backward(power_top_vec_, true, &pool_top_vec_);
  pool_layer_->Backward(pool_top_vec_, true, &square_top_vec_);
  square_layer_->Backward(square_top_vec_, true, &square_bottom_vec_);
  split_layer_->Backward(split_top_vec_, true, bottom);
}

template class LRNLayer<float>;

}  // namespace caffe
