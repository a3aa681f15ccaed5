/// The layers that treat an image as a vector, or move blobs without computing on them.
///
/// Fields are public for tests and trainers to read; SetUp and AlterInputShape alone write them.

#ifndef CAFFE_COMMON_LAYERS_HPP_
#define CAFFE_COMMON_LAYERS_HPP_

#include <vector>

#include "caffe/blob.hpp"
#include "caffe/common.hpp"
#include "caffe/layer.hpp"

namespace caffe {

/// Multiplies each image, as one flat row, with a weight matrix.
///
/// bottom[0]  float (N, C, H, W), N at least 1.
/// top[0]     float (N, num_output, 1, 1).
/// blobs()    weights (1, 1, num_output, C * H * W); with bias_term a bias (1, 1, 1, num_output).
/// Errors     A bad definition is fatal in SetUp.
/// Resizing   None: the sizes of SetUp stay.
template <typename Dtype>
class InnerProductLayer : public Layer<Dtype> {
 public:
  explicit InnerProductLayer(const LayerParameter& param) : Layer<Dtype>(param) {}
  void SetUp(const vector<Blob<Dtype>*>& bottom, vector<Blob<Dtype>*>* top) override;

  int rows_ = 0;     // Images of the input.
  int depth_ = 0;    // Length of one flat image.
  int outputs_ = 0;  // From num_output.
  bool bias_term_ = true;
  shared_ptr<SyncedMemory> bias_multiplier_;  // rows_ ones; with a bias only.

 protected:
  Dtype Forward_cpu(const vector<Blob<Dtype>*>& bottom, vector<Blob<Dtype>*>* top) override;
  void Backward_cpu(const vector<Blob<Dtype>*>& top, bool propagate_down,
                    vector<Blob<Dtype>*>* bottom) override;

 private:
  void SetUpParameters();
};

/// Turns the scores at each position into probabilities over the channels.
///
/// bottom[0]  float (N, C, H, W), C at least 2.
/// top[0]     float (N, C, H, W).
/// Limits     Only the first image is normalized, the others end as exponentials. One maximum is
///            subtracted per image, not per position: where all scores lie 104 or more below it,
///            and so come to 0 as exponentials, the result is NaN.
/// Backward   Takes an image as one distribution, which is the gradient for maps of 1 by 1 alone.
/// Errors     An input larger than at SetUp is fatal in Forward.
/// Resizing   Follows the bottom.
template <typename Dtype>
class SoftmaxLayer : public Layer<Dtype> {
 public:
  explicit SoftmaxLayer(const LayerParameter& param) : Layer<Dtype>(param) {}
  void SetUp(const vector<Blob<Dtype>*>& bottom, vector<Blob<Dtype>*>* top) override;
  void AlterInputShape(int new_width, int new_height, const vector<Blob<Dtype>*>& bottom,
                       vector<Blob<Dtype>*>* top) override;

  Blob<Dtype> sum_multiplier_;  // (1, C, H, W) ones.
  Blob<Dtype> scale_;           // (N, 1, 1, 1): the maximum of each image.
  Blob<Dtype> sum_buffer_;      // (1, 1, W, H) in this order: the sum at each position.

 protected:
  Dtype Forward_cpu(const vector<Blob<Dtype>*>& bottom, vector<Blob<Dtype>*>* top) override;
  void Backward_cpu(const vector<Blob<Dtype>*>& top, bool propagate_down,
                    vector<Blob<Dtype>*>* bottom) override;

 private:
  void SubtractFromImages(const Dtype* values, int num, int dim, Dtype* images);
};

/// Joins its inputs along images (concat_dim 0) or channels (concat_dim 1, the default).
///
/// bottom     two or more, float; the first sets the other dimensions.
/// top[0]     float, the sum of the inputs' images or channels.
/// Errors     The other dimensions are compared by the total count alone; inputs that get through
///            but would be copied past their end or the output's are fatal in SetUp too.
template <typename Dtype>
class ConcatLayer : public Layer<Dtype> {
 public:
  explicit ConcatLayer(const LayerParameter& param) : Layer<Dtype>(param) {}
  void SetUp(const vector<Blob<Dtype>*>& bottom, vector<Blob<Dtype>*>* top) override;

  int count_ = 0;
  int num_ = 0;
  int channels_ = 0;
  int height_ = 0;
  int width_ = 0;
  int concat_dim_ = 0;

 protected:
  Dtype Forward_cpu(const vector<Blob<Dtype>*>& bottom, vector<Blob<Dtype>*>* top) override;
  void Backward_cpu(const vector<Blob<Dtype>*>& top, bool propagate_down,
                    vector<Blob<Dtype>*>* bottom) override;

 private:
  void CheckBlocks(const vector<Blob<Dtype>*>& bottom, const Blob<Dtype>& top) const;
};

/// Gives a blob several consumers, without a copy.
///
/// bottom[0]  float (N, C, H, W).
/// top        one or more of the same shape, which share the bottom's memory from the first Forward
///            on. The first alone may be the bottom itself.
/// Backward   Sums all gradients into that of the first top, which the bottom then shares.
template <typename Dtype>
class SplitLayer : public Layer<Dtype> {
 public:
  explicit SplitLayer(const LayerParameter& param) : Layer<Dtype>(param) {}
  void SetUp(const vector<Blob<Dtype>*>& bottom, vector<Blob<Dtype>*>* top) override;

  int count_ = 0;

 protected:
  Dtype Forward_cpu(const vector<Blob<Dtype>*>& bottom, vector<Blob<Dtype>*>* top) override;
  void Backward_cpu(const vector<Blob<Dtype>*>& top, bool propagate_down,
                    vector<Blob<Dtype>*>* bottom) override;
};

/// Gives each image the shape of a vector, without a copy.
///
/// bottom[0]  float (N, C, H, W).
/// top[0]     float (N, C * H * W, 1, 1), sharing the bottom's memory from the first Forward on.
template <typename Dtype>
class FlattenLayer : public Layer<Dtype> {
 public:
  explicit FlattenLayer(const LayerParameter& param) : Layer<Dtype>(param) {}
  void SetUp(const vector<Blob<Dtype>*>& bottom, vector<Blob<Dtype>*>* top) override;

  int count_ = 0;

 protected:
  Dtype Forward_cpu(const vector<Blob<Dtype>*>& bottom, vector<Blob<Dtype>*>* top) override;
  void Backward_cpu(const vector<Blob<Dtype>*>& top, bool propagate_down,
                    vector<Blob<Dtype>*>* bottom) override;
};

/// Multiplies its inputs element by element.
///
/// bottom     two or more, float, of one shape.
/// top[0]     float, of the same shape.
/// Backward   Divides the product by each input: an input of 0 gives infinities or NaN.
template <typename Dtype>
class EltwiseProductLayer : public Layer<Dtype> {
 public:
  explicit EltwiseProductLayer(const LayerParameter& param) : Layer<Dtype>(param) {}
  void SetUp(const vector<Blob<Dtype>*>& bottom, vector<Blob<Dtype>*>* top) override;

 protected:
  Dtype Forward_cpu(const vector<Blob<Dtype>*>& bottom, vector<Blob<Dtype>*>* top) override;
  void Backward_cpu(const vector<Blob<Dtype>*>& top, bool propagate_down,
                    vector<Blob<Dtype>*>* bottom) override;
};

}  // namespace caffe

#endif  // CAFFE_COMMON_LAYERS_HPP_
