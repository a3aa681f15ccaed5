/// The layers that end a network under training: losses, and the accuracy.
///
///   LossLayer                       base of the losses that compare two blobs
///   EuclideanLossLayer              half the mean squared distance
///   HingeLossLayer                  margin of 1 between the labelled class and the others
///   InfogainLossLayer               logarithmic loss weighted by a matrix of label pairs
///   MultinomialLogisticLossLayer    logarithmic loss of class probabilities
///   SigmoidCrossEntropyLossLayer    logarithmic loss of independent scores against targets
///   SoftmaxWithLossLayer            softmax, then the logarithmic loss
///   AccuracyLayer                   share of right answers and mean logarithmic loss
///
/// All take bottom[0], float (N, C, H, W) with D = C * H * W values per image, and bottom[1]. Where
/// bottom[1] holds labels, it is float (N, 1, 1, 1), each truncated to a position among the D
/// values; a label outside of them, NaN included, is a fatal check in Forward and
/// Backward. Losses have no top: Forward returns the loss, a mean over the N images. Backward
/// writes the gradient of that loss into bottom[0], never into bottom[1], and follows a Forward on
/// the same values; it does nothing if nothing is propagated. Bad numbers and shapes of blobs are
/// fatal in SetUp. One thread an instance.

#ifndef CAFFE_LOSS_LAYERS_HPP_
#define CAFFE_LOSS_LAYERS_HPP_

#include <vector>

#include "caffe/blob.hpp"
#include "caffe/common.hpp"
#include "caffe/layer.hpp"

namespace caffe {

template <typename Dtype>
class SigmoidLayer;
template <typename Dtype>
class SoftmaxLayer;

/// Checks two bottoms with equal numbers of images and no top, then lets the loss set itself up.
template <typename Dtype>
class LossLayer : public Layer<Dtype> {
 public:
  explicit LossLayer(const LayerParameter& param) : Layer<Dtype>(param) {}
  void SetUp(const vector<Blob<Dtype>*>& bottom, vector<Blob<Dtype>*>* top) override;
  /// The checks and the buffers of the one loss.
  virtual void FurtherSetUp(const vector<Blob<Dtype>*>& /*bottom*/, vector<Blob<Dtype>*>* /*top*/) {
  }
};

/// sum((a - b)^2) / (2 N) for bottoms a and b of one shape. No labels.
template <typename Dtype>
class EuclideanLossLayer : public LossLayer<Dtype> {
 public:
  using LossLayer<Dtype>::LossLayer;
  void FurtherSetUp(const vector<Blob<Dtype>*>& bottom, vector<Blob<Dtype>*>* top) override;

 protected:
  Dtype Forward_cpu(const vector<Blob<Dtype>*>& bottom, vector<Blob<Dtype>*>* top) override;
  void Backward_cpu(const vector<Blob<Dtype>*>& top, bool propagate_down,
                    vector<Blob<Dtype>*>* bottom) override;

  Blob<Dtype> difference_;  // a - b.
};

/// sum over the values s of max(0, 1 + s), with the sign of the labelled value turned, over N.
/// bottom[0] holds scores. The gradient at the hinge itself is 0.
template <typename Dtype>
class HingeLossLayer : public LossLayer<Dtype> {
 public:
  using LossLayer<Dtype>::LossLayer;
  void FurtherSetUp(const vector<Blob<Dtype>*>& bottom, vector<Blob<Dtype>*>* top) override;

 protected:
  Dtype Forward_cpu(const vector<Blob<Dtype>*>& bottom, vector<Blob<Dtype>*>* top) override;
  void Backward_cpu(const vector<Blob<Dtype>*>& top, bool propagate_down,
                    vector<Blob<Dtype>*>* bottom) override;

  Blob<Dtype> margins_;  // max(0, 1 + s).
};

/// -sum over images i and values j of H(label of i, j) * log(max(p(i, j), 1e-20)), over N.
/// bottom[0] holds probabilities; H is a (1, 1, D, D) blob in the binary file that
/// infogain_loss_param.source names. A file that is missing, malformed or no square is fatal in
/// SetUp, another D in Forward.
template <typename Dtype>
class InfogainLossLayer : public LossLayer<Dtype> {
 public:
  using LossLayer<Dtype>::LossLayer;
  void FurtherSetUp(const vector<Blob<Dtype>*>& bottom, vector<Blob<Dtype>*>* top) override;

 protected:
  Dtype Forward_cpu(const vector<Blob<Dtype>*>& bottom, vector<Blob<Dtype>*>* top) override;
  void Backward_cpu(const vector<Blob<Dtype>*>& top, bool propagate_down,
                    vector<Blob<Dtype>*>* bottom) override;

  Blob<Dtype> infogain_;
};

/// -sum over images of log(max(p, 1e-20)), p the probability at the label, over N. The gradient is
/// that of the unlimited logarithm taken at the limited p, so that a probability of 0 still moves.
template <typename Dtype>
class MultinomialLogisticLossLayer : public LossLayer<Dtype> {
 public:
  using LossLayer<Dtype>::LossLayer;
  void FurtherSetUp(const vector<Blob<Dtype>*>& bottom, vector<Blob<Dtype>*>* top) override;

 protected:
  Dtype Forward_cpu(const vector<Blob<Dtype>*>& bottom, vector<Blob<Dtype>*>* top) override;
  void Backward_cpu(const vector<Blob<Dtype>*>& top, bool propagate_down,
                    vector<Blob<Dtype>*>* bottom) override;
};

/// -sum(t * log(s(x)) + (1 - t) * log(1 - s(x))) over N, s the sigmoid, for scores x in bottom[0]
/// and targets t in bottom[1], as many of them. Computed in a form that no x overflows.
template <typename Dtype>
class SigmoidCrossEntropyLossLayer : public LossLayer<Dtype> {
 public:
  explicit SigmoidCrossEntropyLossLayer(const LayerParameter& param);
  ~SigmoidCrossEntropyLossLayer() override;
  void FurtherSetUp(const vector<Blob<Dtype>*>& bottom, vector<Blob<Dtype>*>* top) override;

 protected:
  Dtype Forward_cpu(const vector<Blob<Dtype>*>& bottom, vector<Blob<Dtype>*>* top) override;
  void Backward_cpu(const vector<Blob<Dtype>*>& top, bool propagate_down,
                    vector<Blob<Dtype>*>* bottom) override;

  shared_ptr<SigmoidLayer<Dtype>> sigmoid_layer_;
  Blob<Dtype> sigmoid_output_;               // s(x), kept for Backward.
  vector<Blob<Dtype>*> sigmoid_bottom_vec_;  // Not owned.
  vector<Blob<Dtype>*> sigmoid_top_vec_;     // Not owned.
};

/// -sum over images of log(max(p, 1e-20)), p the output of a SoftmaxLayer at the label, over N.
///
/// The gradient is that of the loss as the SoftmaxLayer makes it. That layer normalises the first
/// image of a batch only, position by position, and leaves each further image at exp(x - m) with m
/// its largest score; so the first image has the usual gradient, p less 1 at the label, at the
/// label's position, and for a further image the loss is m - x(label), which moves the two of them.
/// Train with one image a batch where the usual gradient is wanted for all.
template <typename Dtype>
class SoftmaxWithLossLayer : public Layer<Dtype> {
 public:
  explicit SoftmaxWithLossLayer(const LayerParameter& param);
  ~SoftmaxWithLossLayer() override;
  void SetUp(const vector<Blob<Dtype>*>& bottom, vector<Blob<Dtype>*>* top) override;

 protected:
  Dtype Forward_cpu(const vector<Blob<Dtype>*>& bottom, vector<Blob<Dtype>*>* top) override;
  void Backward_cpu(const vector<Blob<Dtype>*>& top, bool propagate_down,
                    vector<Blob<Dtype>*>* bottom) override;

  shared_ptr<SoftmaxLayer<Dtype>> softmax_layer_;
  Blob<Dtype> prob_;                         // Output of the softmax, kept for Backward.
  vector<Blob<Dtype>*> softmax_bottom_vec_;  // Not owned.
  vector<Blob<Dtype>*> softmax_top_vec_;     // Not owned.
};

/// top[0], float (1, 2, 1, 1): the share of images whose largest value, the first of equals, is at
/// the label, and the mean of -log(max(p, 1e-20)) with p the value at the label. No loss; Backward
/// is fatal.
template <typename Dtype>
class AccuracyLayer : public Layer<Dtype> {
 public:
  explicit AccuracyLayer(const LayerParameter& param) : Layer<Dtype>(param) {}
  void SetUp(const vector<Blob<Dtype>*>& bottom, vector<Blob<Dtype>*>* top) override;

 protected:
  Dtype Forward_cpu(const vector<Blob<Dtype>*>& bottom, vector<Blob<Dtype>*>* top) override;
  void Backward_cpu(const vector<Blob<Dtype>*>& top, bool propagate_down,
                    vector<Blob<Dtype>*>* bottom) override;
};

}  // namespace caffe

#endif  // CAFFE_LOSS_LAYERS_HPP_
