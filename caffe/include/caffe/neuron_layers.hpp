/// The layers that map each element by itself.
///
/// Fields are public for tests and trainers to read; SetUp alone writes them.

#ifndef CAFFE_NEURON_LAYERS_HPP_
#define CAFFE_NEURON_LAYERS_HPP_

#include <cstdint>
#include <vector>

#include "caffe/blob.hpp"
#include "caffe/common.hpp"
#include "caffe/layer.hpp"

namespace caffe {

/// What neuron layers share.
///
/// bottom[0]  float (N, C, H, W).
/// top[0]     float (N, C, H, W), or the bottom itself.
/// Errors     An input that outgrew its top is fatal in Forward.
/// Resizing   In place, a layer covers whatever its bottom holds. Otherwise its top keeps the shape
///            of SetUp.
template <typename Dtype>
class NeuronLayer : public Layer<Dtype> {
 public:
  explicit NeuronLayer(const LayerParameter& param) : Layer<Dtype>(param) {}
  void SetUp(const vector<Blob<Dtype>*>& bottom, vector<Blob<Dtype>*>* top) override;

 protected:
  /// The elements of one forward pass; input and output may be the same.
  struct Span {
    int count;
    const Dtype* input;
    Dtype* output;
  };
  /// All elements of the bottom, with their places in the top.
  static Span SpanOf(const vector<Blob<Dtype>*>& bottom, vector<Blob<Dtype>*>* top);
};

/// x where x >= 0, else 0. NaN yields 0, and -0 stays -0.
template <typename Dtype>
class ReLULayer : public NeuronLayer<Dtype> {
 public:
  explicit ReLULayer(const LayerParameter& param) : NeuronLayer<Dtype>(param) {}

 protected:
  Dtype Forward_cpu(const vector<Blob<Dtype>*>& bottom, vector<Blob<Dtype>*>* top) override;
  void Backward_cpu(const vector<Blob<Dtype>*>& top, bool propagate_down,
                    vector<Blob<Dtype>*>* bottom) override;
};

/// 1 / (1 + exp(-x)).
template <typename Dtype>
class SigmoidLayer : public NeuronLayer<Dtype> {
 public:
  explicit SigmoidLayer(const LayerParameter& param) : NeuronLayer<Dtype>(param) {}

 protected:
  Dtype Forward_cpu(const vector<Blob<Dtype>*>& bottom, vector<Blob<Dtype>*>* top) override;
  void Backward_cpu(const vector<Blob<Dtype>*>& top, bool propagate_down,
                    vector<Blob<Dtype>*>* bottom) override;
};

/// (e - 1) / (e + 1) with e = exp(2x), without a guard: above x = 44.36, where e is infinite,
/// it is NaN.
template <typename Dtype>
class TanHLayer : public NeuronLayer<Dtype> {
 public:
  explicit TanHLayer(const LayerParameter& param) : NeuronLayer<Dtype>(param) {}

 protected:
  Dtype Forward_cpu(const vector<Blob<Dtype>*>& bottom, vector<Blob<Dtype>*>* top) override;
  void Backward_cpu(const vector<Blob<Dtype>*>& top, bool propagate_down,
                    vector<Blob<Dtype>*>* bottom) override;
};

/// log(1 + exp(x)), from the side that does not overflow. Its gradient needs the values of the
/// bottom, so a trained one may not work in place.
template <typename Dtype>
class BNLLLayer : public NeuronLayer<Dtype> {
 public:
  explicit BNLLLayer(const LayerParameter& param) : NeuronLayer<Dtype>(param) {}

 protected:
  Dtype Forward_cpu(const vector<Blob<Dtype>*>& bottom, vector<Blob<Dtype>*>* top) override;
  void Backward_cpu(const vector<Blob<Dtype>*>& top, bool propagate_down,
                    vector<Blob<Dtype>*>* bottom) override;
};

/// (shift + scale * x) ^ power. Its gradient needs the values of the bottom, so a trained one may
/// not work in place; powers other than 1 and 2 divide by the base, which must not be 0 there.
template <typename Dtype>
class PowerLayer : public NeuronLayer<Dtype> {
 public:
  explicit PowerLayer(const LayerParameter& param) : NeuronLayer<Dtype>(param) {}
  void SetUp(const vector<Blob<Dtype>*>& bottom, vector<Blob<Dtype>*>* top) override;

  Dtype power_ = 0;
  Dtype scale_ = 0;
  Dtype shift_ = 0;
  Dtype diff_scale_ = 0;  // power_ * scale_.

 protected:
  Dtype Forward_cpu(const vector<Blob<Dtype>*>& bottom, vector<Blob<Dtype>*>* top) override;
  void Backward_cpu(const vector<Blob<Dtype>*>& top, bool propagate_down,
                    vector<Blob<Dtype>*>* bottom) override;
};

/// In the training phase, drops each element with probability dropout_ratio and scales the others
/// up by 1 / (1 - dropout_ratio); outside it, the identity. Draws from the generator of Caffe, one
/// draw per element. Backward outside the training phase is fatal.
/// Source: G. Hinton et al., Improving neural networks by preventing co-adaptation of feature
/// detectors, 2012.
template <typename Dtype>
class DropoutLayer : public NeuronLayer<Dtype> {
 public:
  explicit DropoutLayer(const LayerParameter& param) : NeuronLayer<Dtype>(param) {}
  void SetUp(const vector<Blob<Dtype>*>& bottom, vector<Blob<Dtype>*>* top) override;

  shared_ptr<SyncedMemory> rand_vec_;  // The mask of the last training pass, one int per element.
  Dtype threshold_ = 0;                // dropout_ratio.
  Dtype scale_ = 0;
  std::uint32_t uint_thres_ = 0;  // threshold_ * 2^32; nothing reads it.

 protected:
  Dtype Forward_cpu(const vector<Blob<Dtype>*>& bottom, vector<Blob<Dtype>*>* top) override;
  void Backward_cpu(const vector<Blob<Dtype>*>& top, bool propagate_down,
                    vector<Blob<Dtype>*>* bottom) override;
};

}  // namespace caffe

#endif  // CAFFE_NEURON_LAYERS_HPP_
