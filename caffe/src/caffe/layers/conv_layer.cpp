// ConvolutionLayer: unfolds each image and multiplies it with the weights.

#include <cblas.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "caffe/filler.hpp"
#include "caffe/util/im2col.hpp"
#include "caffe/util/math_functions.hpp"
#include "caffe/util/shape_checks.hpp"
#include "caffe/vision_layers.hpp"

namespace caffe {
namespace {

// A piece of the columns has about so many floats, 128 kB, which most processors' second cache
// holds along with the weights and the output. It has more only where its width, in places, would
// not pay for what a product costs besides: the copies that the library makes of the weights. Its
// depth, in values of a window over some channels, is that at which libraries cut a product anyway.
// Measured: half or twice of each changes little.
constexpr int kPieceFloats = 32 * 1024;
constexpr int kPiecePlaces = 512;
constexpr int kPieceDepth = 384;

// The size of the parts of a total that is cut into as few parts of at most limit as can be, all of
// about one size.
int EvenPart(int total, int limit) {
  const int parts = (total + limit - 1) / limit;
  return (total + parts - 1) / parts;
}

}  // namespace

// ----------------------------------------------------------------------------
// Shapes and parameters.

template <typename Dtype>
void ConvolutionLayer<Dtype>::SetUp(const vector<Blob<Dtype>*>& bottom, vector<Blob<Dtype>*>* top) {
  CHECK_EQ(bottom.size(), 1) << "Conv Layer takes a single blob as input.";
  CHECK_EQ(top->size(), 1) << "Conv Layer takes a single blob as output.";
  const ConvolutionParameter& param = this->layer_param_.convolution_param();
  kernel_size_ = param.kernel_size();
  stride_ = param.stride();
  group_ = param.group();
  pad_ = param.pad();
  num_ = bottom[0]->num();
  channels_ = bottom[0]->channels();
  height_ = bottom[0]->height();
  width_ = bottom[0]->width();
  num_output_ = param.num_output();
  CHECK_GT(num_output_, 0);
  CHECK_GT(group_, 0) << "group should be at least 1.";
  CHECK_EQ(channels_ % group_, 0);
  CHECK_GT(kernel_size_, 0) << "kernel_size should be at least 1.";
  CheckWindow(kernel_size_, pad_, stride_, height_, width_);

  const int out_height = im2col_output_size(height_, kernel_size_, pad_, stride_);
  const int out_width = im2col_output_size(width_, kernel_size_, pad_, stride_);
  const double window = static_cast<double>(kernel_size_) * kernel_size_;
  CheckShapeFits(1, channels_ * window, out_height, out_width);
  CheckShapeFits(num_output_, channels_ / group_, kernel_size_, kernel_size_);
  CheckShapeFits(num_, num_output_, out_height, out_width);
  col_buffer_.Reshape(1, channels_ * kernel_size_ * kernel_size_, out_height, out_width);
  CHECK_EQ(num_output_ % group_, 0) << "Number of output should be multiples of group.";
  CHECK_GT(out_height, 0) << "The kernel is larger than the padded input.";
  CHECK_GT(out_width, 0) << "The kernel is larger than the padded input.";
  bias_term_ = param.bias_term();
  group_rows_ = num_output_ / group_;
  group_depth_ = channels_ * kernel_size_ * kernel_size_ / group_;
  out_spatial_ = out_height * out_width;
  (*top)[0]->Reshape(num_, num_output_, out_height, out_width);

  SetUpParameters();
  if (bias_term_) {
    bias_multiplier_.reset(new SyncedMemory(out_spatial_ * sizeof(Dtype)));
    std::fill_n(static_cast<Dtype*>(bias_multiplier_->mutable_cpu_data()), out_spatial_, Dtype(1));
  }
}

template <typename Dtype>
void ConvolutionLayer<Dtype>::SetUpParameters() {
  const ConvolutionParameter& param = this->layer_param_.convolution_param();
  auto& blobs = this->blobs_;
  if (blobs.empty()) {
    blobs.push_back(MakeFilledBlob(num_output_, channels_ / group_, kernel_size_, kernel_size_,
                                   param.weight_filler()));
    if (bias_term_) {
      blobs.push_back(MakeFilledBlob(1, 1, 1, num_output_, param.bias_filler()));
    }
    return;
  }
  CheckParameterHolds(*blobs[0], num_output_, channels_ / group_, kernel_size_, kernel_size_,
                      "weights");
  if (bias_term_) {
    CHECK_GE(blobs.size(), 2) << "The definition carries weights but no bias.";
    CheckParameterHolds(*blobs[1], 1, 1, 1, num_output_, "a bias");
  }
}

template <typename Dtype>
void ConvolutionLayer<Dtype>::UpdateDerivedSizes() {
  weight_stride_ = group_rows_ * group_depth_;
  col_stride_ = group_depth_ * out_spatial_;
  top_stride_ = out_spatial_ * group_rows_;
}

template <typename Dtype>
void ConvolutionLayer<Dtype>::AlterInputShape(int /*new_width*/, int /*new_height*/,
                                              const vector<Blob<Dtype>*>& bottom,
                                              vector<Blob<Dtype>*>* top) {
  height_ = bottom[0]->height();
  width_ = bottom[0]->width();
  const int out_height = im2col_output_size(height_, kernel_size_, pad_, stride_);
  const int out_width = im2col_output_size(width_, kernel_size_, pad_, stride_);
  out_spatial_ = out_height * out_width;
  (*top)[0]->OverwriteShape(bottom[0]->num(), num_output_, out_height, out_width);
  UpdateDerivedSizes();
}

template <typename Dtype>
void ConvolutionLayer<Dtype>::CheckCapacity(const Blob<Dtype>& bottom,
                                            const Blob<Dtype>& top) const {
  const std::int64_t places = std::int64_t{top.height()} * top.width();
  CheckHolds(bottom, std::int64_t{num_} * channels_ * height_ * width_);
  CheckHolds(top, num_ * num_output_ * places);
  CheckHolds(col_buffer_, group_ * group_depth_ * places);
  if (bias_term_) {
    CHECK(bias_multiplier_);
    CHECK_LE(out_spatial_ * sizeof(Dtype), bias_multiplier_->size());
  }
}

// ----------------------------------------------------------------------------
// Forward: whole columns where they are there anyway, pieces otherwise.

// The columns of one image. Those of a pointwise kernel are the image itself, unless the product
// would overwrite it.
template <typename Dtype>
const Dtype* ConvolutionLayer<Dtype>::Unfold(const Dtype* image, bool in_place) {
  if (IsPointwise() && !in_place) return image;
  Dtype* columns = col_buffer_.mutable_cpu_data();
  im2col_cpu(image, channels_, height_, width_, kernel_size_, pad_, stride_, columns);
  return columns;
}

// Adds the bias of each output channel to all its places.
template <typename Dtype>
void ConvolutionLayer<Dtype>::AddBias(Dtype* output) {
  const Dtype* bias = this->blobs_[1]->cpu_data();
  for (int o = 0; o < num_output_; ++o) {
    caffe_add_scalar(out_spatial_, bias[o], output + std::int64_t{o} * out_spatial_);
  }
}

// Sets places of all output channels to what the products are added to: the bias, or zeros.
template <typename Dtype>
void ConvolutionLayer<Dtype>::FillWithBias(int first_place, int places, Dtype* output) {
  const Dtype* bias = bias_term_ ? this->blobs_[1]->cpu_data() : nullptr;
  for (int o = 0; o < num_output_; ++o) {
    std::fill_n(output + std::int64_t{o} * out_spatial_ + first_place, places,
                bias_term_ ? bias[o] : Dtype(0));
  }
}

// Multiplies the columns of one image, of which there is a whole set.
template <typename Dtype>
void ConvolutionLayer<Dtype>::ForwardWhole(const Dtype* columns, Dtype* output) {
  const Dtype* weights = this->blobs_[0]->cpu_data();
  FillWithBias(/*first_place=*/0, out_spatial_, output);
  for (int g = 0; g < DistinctGroups(); ++g) {
    cblas_sgemm(CblasRowMajor, CblasNoTrans, CblasNoTrans, group_rows_, out_spatial_, group_depth_,
                1.0F, weights + g * weight_stride_, group_depth_, columns + g * col_stride_,
                out_spatial_, 1.0F, output + g * top_stride_, out_spatial_);
  }
}

// Makes room for floats, and, at the first time, for whatever a smaller image than that of SetUp
// will need: a narrow one's pieces are up to kPiecePlaces wide and the rest of a row.
template <typename Dtype>
void ConvolutionLayer<Dtype>::ProvidePiece(int depth, std::size_t floats) {
  if (piece_.size() >= floats) return;
  const std::int64_t places = std::int64_t{col_buffer_.height()} * col_buffer_.width();
  const std::int64_t widest = std::min<std::int64_t>(kPiecePlaces + col_buffer_.width(), places);
  piece_.reserve(
      std::max<std::int64_t>(depth * widest, std::min<std::int64_t>(depth * places, kPieceFloats)));
  piece_.resize(floats);
}

// Unfolds and multiplies one image piece by piece: some rows of places at a time, and of them some
// channels at a time, so that the columns of a piece are still in the cache when they are
// multiplied. Each piece adds to the output.
template <typename Dtype>
void ConvolutionLayer<Dtype>::ForwardInPieces(const Dtype* image, Dtype* output) {
  const int out_height = im2col_output_size(height_, kernel_size_, pad_, stride_);
  const int out_width = im2col_output_size(width_, kernel_size_, pad_, stride_);
  if (out_height < 1 || out_width < 1) return;
  const int window = kernel_size_ * kernel_size_;
  const int group_channels = channels_ / group_;
  const int most_channels = EvenPart(group_channels, std::max(kPieceDepth / window, 1));
  const int row_floats = most_channels * window * out_width;
  const int most_rows =
      EvenPart(out_height, std::max(kPieceFloats / row_floats, (kPiecePlaces - 1) / out_width + 1));
  ProvidePiece(most_channels * window, static_cast<std::size_t>(row_floats) * most_rows);
  const Dtype* weights = this->blobs_[0]->cpu_data();
  const std::int64_t plane = std::int64_t{height_} * width_;
  for (int first_row = 0; first_row < out_height; first_row += most_rows) {
    const int rows = std::min(most_rows, out_height - first_row);
    const int first_place = first_row * out_width, places = rows * out_width;
    FillWithBias(first_place, places, output);
    for (int channel = 0; channel < DistinctGroups() * group_channels;) {
      const int g = channel / group_channels, first_of_group = channel % group_channels;
      const int channels = std::min(most_channels, group_channels - first_of_group);
      im2col_band(image + channel * plane, channels, height_, width_, kernel_size_, pad_, stride_,
                  first_row, rows, piece_.data());
      cblas_sgemm(CblasRowMajor, CblasNoTrans, CblasNoTrans, group_rows_, places, channels * window,
                  1.0F, weights + g * weight_stride_ + first_of_group * window, group_depth_,
                  piece_.data(), places, 1.0F, output + g * top_stride_ + first_place,
                  out_spatial_);
      channel += channels;
    }
  }
}

template <typename Dtype>
Dtype ConvolutionLayer<Dtype>::Forward_cpu(const vector<Blob<Dtype>*>& bottom,
                                           vector<Blob<Dtype>*>* top) {
  CheckCapacity(*bottom[0], *(*top)[0]);
  const Dtype* input = bottom[0]->cpu_data();
  Dtype* output = (*top)[0]->mutable_cpu_data();
  const bool in_place = input == output;
  for (int n = 0; n < num_; ++n) {
    const Dtype* image = input + bottom[0]->offset(n);
    Dtype* image_output = output + (*top)[0]->offset(n);
    if (IsPointwise() || in_place) {
      ForwardWhole(Unfold(image, in_place), image_output);
    } else {
      ForwardInPieces(image, image_output);
    }
  }
  return Dtype(0);
}

// ----------------------------------------------------------------------------
// Forward by table lookup, which nothing calls.

template <typename Dtype>
void ConvolutionLayer<Dtype>::PrepareBinarization() {
  CHECK_EQ(group_, 1) << "binarization supports only single group.";
}

template <typename Dtype>
Dtype ConvolutionLayer<Dtype>::Forward_binarized(const vector<Blob<Dtype>*>& bottom,
                                                 vector<Blob<Dtype>*>* top) {
  CHECK(binarized_kernel_);
  const Dtype* input = bottom[0]->cpu_data();
  Dtype* output = (*top)[0]->mutable_cpu_data();
  for (int n = 0; n < num_; ++n) {
    Dtype* image_output = output + (*top)[0]->offset(n);
    binarized_kernel_->AddLookups(input + bottom[0]->offset(n), image_output);
    if (bias_term_) {
      AddBias(image_output);
    }
  }
  return Dtype(0);
}

// ----------------------------------------------------------------------------
// Backward.

// Each gradient of the bias is the sum of the output gradients of its channel.
template <typename Dtype>
void ConvolutionLayer<Dtype>::BackwardBias(const Blob<Dtype>& top) {
  Blob<Dtype>& bias = *this->blobs_[1];
  Dtype* bias_diff = bias.mutable_cpu_diff();
  std::fill_n(bias_diff, num_output_, Dtype(0));
  for (int n = 0; n < num_; ++n) {
    cblas_sgemv(CblasRowMajor, CblasNoTrans, num_output_, out_spatial_, 1.0F,
                top.cpu_diff() + top.offset(n), out_spatial_,
                static_cast<const Dtype*>(bias_multiplier_->cpu_data()), 1, 1.0F, bias_diff, 1);
  }
}

// Adds one image's share: output gradients times columns transposed.
template <typename Dtype>
void ConvolutionLayer<Dtype>::BackwardWeights(const Dtype* columns, const Dtype* top_diff) {
  Dtype* weight_diff = this->blobs_[0]->mutable_cpu_diff();
  for (int g = 0; g < group_; ++g) {
    cblas_sgemm(CblasRowMajor, CblasNoTrans, CblasTrans, group_rows_, group_depth_, out_spatial_,
                1.0F, top_diff + g * top_stride_, out_spatial_, columns + g * col_stride_,
                out_spatial_, 1.0F, weight_diff + g * weight_stride_, group_depth_);
  }
}

// Weights transposed times output gradients, folded back into the image.
template <typename Dtype>
void ConvolutionLayer<Dtype>::BackwardImage(const Dtype* top_diff, Dtype* image_diff) {
  const Dtype* weights = this->blobs_[0]->cpu_data();
  Dtype* col_diff = col_buffer_.mutable_cpu_diff();
  for (int g = 0; g < group_; ++g) {
    cblas_sgemm(CblasRowMajor, CblasTrans, CblasNoTrans, group_depth_, out_spatial_, group_rows_,
                1.0F, weights + g * weight_stride_, group_depth_, top_diff + g * top_stride_,
                out_spatial_, 0.0F, col_diff + g * col_stride_, out_spatial_);
  }
  col2im_cpu(col_diff, channels_, height_, width_, kernel_size_, pad_, stride_, image_diff);
}

template <typename Dtype>
void ConvolutionLayer<Dtype>::Backward_cpu(const vector<Blob<Dtype>*>& top, bool propagate_down,
                                           vector<Blob<Dtype>*>* bottom) {
  CheckCapacity(*(*bottom)[0], *top[0]);
  if (bias_term_) {
    BackwardBias(*top[0]);
  }
  Blob<Dtype>& weights = *this->blobs_[0];
  std::fill_n(weights.mutable_cpu_diff(), weights.count(), Dtype(0));
  const Dtype* top_diff = top[0]->cpu_diff();
  const Dtype* input = (*bottom)[0]->cpu_data();
  for (int n = 0; n < num_; ++n) {
    const Dtype* image_top_diff = top_diff + top[0]->offset(n);
    const Dtype* columns = Unfold(input + (*bottom)[0]->offset(n), /*in_place=*/false);
    BackwardWeights(columns, image_top_diff);
    if (propagate_down) {
      BackwardImage(image_top_diff, (*bottom)[0]->mutable_cpu_diff() + (*bottom)[0]->offset(n));
    }
  }
}

template class ConvolutionLayer<float>;

}  // namespace caffe
