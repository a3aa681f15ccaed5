/// The layers that know of images: convolution, unfolding, pooling and local response
/// normalization.
///
/// Fields are public for tests and trainers to read; SetUp and AlterInputShape alone write them.

#ifndef CAFFE_VISION_LAYERS_HPP_
#define CAFFE_VISION_LAYERS_HPP_

#include <cstddef>
#include <vector>

#include "caffe/blob.hpp"
#include "caffe/common.hpp"
#include "caffe/common_layers.hpp"
#include "caffe/layer.hpp"
#include "caffe/neuron_layers.hpp"
#include "caffe/util/binarized_kernel.hpp"

namespace caffe {

/// Slides a bank of filters over each image of its input, as matrix products of the weights with
/// pieces of the unfolded image.
///
/// bottom[0]  float (N, C, H, W), C a multiple of group.
/// top[0]     float (N, num_output, H', W'), H' = (H + 2 * pad - kernel_size) / stride + 1, cut
///            towards zero: an incomplete last window is dropped.
/// blobs()    weights (num_output, C / group, k, k); with bias_term a bias (1, 1, 1, num_output).
/// Errors     A bad definition is fatal in SetUp, an input larger than at SetUp in Forward.
/// Resizing   Follows the bottom down to any size with at least one place.
/// Hazard     Until UpdateDerivedSizes has run, all groups use the first group's data: with more
///            than one group, load parameters or call it before Forward.
/// Memory     Forward takes 128 kB as a rule. Backward, and Forward in place, take one unfolded
///            image, C * k * k * H' * W' floats, whatever N is. A pointwise kernel takes nothing,
///            since its unfolded image is the image.
template <typename Dtype>
class ConvolutionLayer : public Layer<Dtype> {
 public:
  explicit ConvolutionLayer(const LayerParameter& param) : Layer<Dtype>(param) {}
  void SetUp(const vector<Blob<Dtype>*>& bottom, vector<Blob<Dtype>*>* top) override;
  void UpdateDerivedSizes() override;
  void AlterInputShape(int new_width, int new_height, const vector<Blob<Dtype>*>& bottom,
                       vector<Blob<Dtype>*>* top) override;

  /// Checks that there is a single group, which is all that binarization asks for so far.
  void PrepareBinarization();
  /// The forward pass by table lookup. Nothing calls it, and without binarized_kernel_ it is fatal.
  virtual Dtype Forward_binarized(const vector<Blob<Dtype>*>& bottom, vector<Blob<Dtype>*>* top);

  int kernel_size_ = 0;
  int stride_ = 1;
  int num_ = 0;
  int channels_ = 0;
  int pad_ = 0;
  int height_ = 0;  // Present size of the input.
  int width_ = 0;
  int num_output_ = 0;
  int group_ = 0;
  Blob<Dtype> col_buffer_;  // One unfolded image, shaped at SetUp, without memory until it is used.
  shared_ptr<SyncedMemory> bias_multiplier_;  // out_spatial_ ones, as at SetUp.
  bool bias_term_ = true;
  int group_rows_ = 0;     // Rows of one group's weight matrix: num_output_ / group_.
  int group_depth_ = 0;    // Inner dimension of the product: channels_ * k * k / group_.
  int out_spatial_ = 0;    // Present height times width of the output.
  int weight_stride_ = 0;  // The strides between groups, in floats, of weights,
  int col_stride_ = 0;     // column buffer
  int top_stride_ = 0;     // and output.
  shared_ptr<BinarizedKernel> binarized_kernel_;  // Nothing assigns it.

 protected:
  Dtype Forward_cpu(const vector<Blob<Dtype>*>& bottom, vector<Blob<Dtype>*>* top) override;
  void Backward_cpu(const vector<Blob<Dtype>*>& top, bool propagate_down,
                    vector<Blob<Dtype>*>* bottom) override;

 private:
  bool IsPointwise() const { return kernel_size_ == 1 && stride_ == 1 && pad_ == 0; }
  void SetUpParameters();
  void CheckCapacity(const Blob<Dtype>& bottom, const Blob<Dtype>& top) const;
  const Dtype* Unfold(const Dtype* image, bool in_place);
  // The groups that have weights, columns and output of their own: see the hazard above.
  int DistinctGroups() const { return top_stride_ == 0 ? 1 : group_; }
  void FillWithBias(int first_place, int places, Dtype* output);
  void ForwardWhole(const Dtype* columns, Dtype* output);
  void ProvidePiece(int depth, std::size_t floats);
  void ForwardInPieces(const Dtype* image, Dtype* output);
  void AddBias(Dtype* output);
  void BackwardBias(const Blob<Dtype>& top);
  void BackwardWeights(const Dtype* columns, const Dtype* top_diff);
  void BackwardImage(const Dtype* top_diff, Dtype* image_diff);

  vector<Dtype> piece_;  // Of the unfolded image.
};

/// Unfolds each image into columns: the first half of a convolution as a layer of its own.
///
/// bottom[0]  float (N, C, H, W).
/// top[0]     float (N, C * kernel_size^2, H', W'), sizes as those of a convolution.
template <typename Dtype>
class Im2colLayer : public Layer<Dtype> {
 public:
  explicit Im2colLayer(const LayerParameter& param) : Layer<Dtype>(param) {}
  void SetUp(const vector<Blob<Dtype>*>& bottom, vector<Blob<Dtype>*>* top) override;

  int kernel_size_ = 0;
  int stride_ = 0;
  int channels_ = 0;
  int height_ = 0;
  int width_ = 0;
  int pad_ = 0;

 protected:
  Dtype Forward_cpu(const vector<Blob<Dtype>*>& bottom, vector<Blob<Dtype>*>* top) override;
  void Backward_cpu(const vector<Blob<Dtype>*>& top, bool propagate_down,
                    vector<Blob<Dtype>*>* bottom) override;
};

/// Reduces square windows of each channel to their maximum or their average.
///
/// bottom[0]  float (N, C, H, W).
/// top[0]     float (N, C, P, Q), P = ceil((H + 2 * pad - kernel_size) / stride) + 1 in single
///            precision: an incomplete last window counts, where a convolution drops it.
/// MAX        Ignores NaN; a window without a value above -FLT_MAX yields -FLT_MAX.
/// AVE        Divides by the size of the window within the padded image: padding counts, what lies
///            beyond it does not.
/// Backward   MAX passes the gradient to every input that equals the maximum.
/// Errors     Padding with MAX is fatal in SetUp, STOCHASTIC in Forward, an input larger than at
///            SetUp in Forward.
/// Resizing   Follows the bottom.
template <typename Dtype>
class PoolingLayer : public Layer<Dtype> {
 public:
  explicit PoolingLayer(const LayerParameter& param) : Layer<Dtype>(param) {}
  void SetUp(const vector<Blob<Dtype>*>& bottom, vector<Blob<Dtype>*>* top) override;
  void AlterInputShape(int new_width, int new_height, const vector<Blob<Dtype>*>& bottom,
                       vector<Blob<Dtype>*>* top) override;

  int kernel_size_ = 0;
  int stride_ = 0;
  int pad_ = 0;
  int channels_ = 0;
  int height_ = 0;  // Present size of the input.
  int width_ = 0;
  int pooled_height_ = 0;  // Present size of the output.
  int pooled_width_ = 0;
  Blob<Dtype> rand_idx_;  // Shaped for STOCHASTIC alone; nothing reads it.

 protected:
  Dtype Forward_cpu(const vector<Blob<Dtype>*>& bottom, vector<Blob<Dtype>*>* top) override;
  void Backward_cpu(const vector<Blob<Dtype>*>& top, bool propagate_down,
                    vector<Blob<Dtype>*>* bottom) override;

 private:
  void ComputePooledSize();
};

/// Divides each value by a power of the energy around it.
///
/// bottom[0]  float (N, C, H, W).
/// top[0]     float (N, C, H, W), not in place. ACROSS_CHANNELS: x * (1 + alpha / local_size * s) ^
///            -beta, s the sum of squares over the local_size channels around, (local_size - 1) / 2
///            of them before. WITHIN_CHANNEL: the same with the mean of squares over a local_size
///            square of the same channel; local_size must be odd.
/// Resizing   ACROSS_CHANNELS follows the bottom; WITHIN_CHANNEL must not be resized.
/// Source     A. Krizhevsky et al., ImageNet classification with deep convolutional neural
///            networks, 2012.
template <typename Dtype>
class LRNLayer : public Layer<Dtype> {
 public:
  explicit LRNLayer(const LayerParameter& param) : Layer<Dtype>(param) {}
  void SetUp(const vector<Blob<Dtype>*>& bottom, vector<Blob<Dtype>*>* top) override;
  void AlterInputShape(int new_width, int new_height, const vector<Blob<Dtype>*>& bottom,
                       vector<Blob<Dtype>*>* top) override;

  int size_ = 0;
  int pre_pad_ = 0;  // Channels of the window before its own.
  Dtype alpha_ = 0;
  Dtype beta_ = 0;
  int num_ = 0;
  int channels_ = 0;
  int height_ = 0;
  int width_ = 0;
  Blob<Dtype> scale_;  // The base of the power, of ACROSS_CHANNELS.

  // The chain of WITHIN_CHANNEL: split, square, average, power, product.
  shared_ptr<SplitLayer<Dtype>> split_layer_;
  vector<Blob<Dtype>*> split_top_vec_;
  shared_ptr<PowerLayer<Dtype>> square_layer_;
  Blob<Dtype> square_input_;
  Blob<Dtype> square_output_;
  vector<Blob<Dtype>*> square_bottom_vec_;
  vector<Blob<Dtype>*> square_top_vec_;
  shared_ptr<PoolingLayer<Dtype>> pool_layer_;
  Blob<Dtype> pool_output_;
  vector<Blob<Dtype>*> pool_top_vec_;
  shared_ptr<PowerLayer<Dtype>> power_layer_;
  Blob<Dtype> power_output_;
  vector<Blob<Dtype>*> power_top_vec_;
  shared_ptr<EltwiseProductLayer<Dtype>> product_layer_;
  Blob<Dtype> product_input_;
  vector<Blob<Dtype>*> product_bottom_vec_;

 protected:
  Dtype Forward_cpu(const vector<Blob<Dtype>*>& bottom, vector<Blob<Dtype>*>* top) override;
  void Backward_cpu(const vector<Blob<Dtype>*>& top, bool propagate_down,
                    vector<Blob<Dtype>*>* bottom) override;

  virtual Dtype CrossChannelForward_cpu(const vector<Blob<Dtype>*>& bottom,
                                        vector<Blob<Dtype>*>* top);
  virtual Dtype WithinChannelForward(const vector<Blob<Dtype>*>& bottom, vector<Blob<Dtype>*>* top);
  virtual void CrossChannelBackward_cpu(const vector<Blob<Dtype>*>& top, bool propagate_down,
                                        vector<Blob<Dtype>*>* bottom);
  virtual void WithinChannelBackward(const vector<Blob<Dtype>*>& top, bool propagate_down,
                                     vector<Blob<Dtype>*>* bottom);

 private:
  void ReadSizes(const Blob<Dtype>& bottom);
  void SetUpWithinChannel(const vector<Blob<Dtype>*>& bottom, vector<Blob<Dtype>*>* top);
};

}  // namespace caffe

#endif  // CAFFE_VISION_LAYERS_HPP_
