/// Layer: the base of all layers of a network, and the factory that makes them from their
/// definitions.

#ifndef CAFFE_LAYER_HPP_
#define CAFFE_LAYER_HPP_

#include <google/protobuf/arena.h>

#include <vector>

#include "caffe/blob.hpp"
#include "caffe/common.hpp"

namespace caffe {

/// One step of a network: reads its bottom blobs, writes its top blobs, holds its learned
/// parameters.
///
/// Order    Construct, SetUp once, UpdateDerivedSizes after the parameters were copied in, then any
///          number of AlterInputShape and Forward.
/// Owners   Bottom and top lists hold pointers that own nothing; the Net owns blobs and layers.
/// Errors   Bad definitions and shapes are fatal checks in SetUp, never in Forward unless a layer
///          says so.
/// Threads  A layer holds scratch memory and shapes, so one call at a time.
///
/// A subclass may rely on this in Forward_cpu and Backward_cpu; what can be checked is, in Forward
/// and Backward of builds with debug checks:
///   - No list has a null pointer.
///   - The lists are those of SetUp: the same blobs in the same order.
///   - A bottom holds values: the Net runs layers in the order of their definitions, and each
///     bottom is an input of the Net or the top of a layer before.
///   - A top is a bottom only where the definition names one blob for both, and then keeps its
///     size: the Net refuses others. A layer that cannot work in place says so in its contract.
///   - Shapes are those of SetUp, or those that AlterInputShape set since: no larger in count.
/// In return it
///   - shapes every top in SetUp, and allocates there what it needs in every run;
///   - writes every value of every top in Forward_cpu, and no bottom but one that is its top;
///   - returns 0 unless it is a loss.
template <typename Dtype>
class Layer {
 public:
  /// Copies the definition; parameter values that it carries go to blobs().
  explicit Layer(const LayerParameter& param);
  virtual ~Layer() {}
  Layer(const Layer&) = delete;
  Layer& operator=(const Layer&) = delete;

  /// Checks the numbers of bottoms and tops, shapes each top, allocates buffers and parameters.
  virtual void SetUp(const vector<Blob<Dtype>*>& bottom, vector<Blob<Dtype>*>* top) = 0;

  /// Called after the parameters were loaded and after a change of shape.
  virtual void UpdateDerivedSizes() {}

  /// Rewrites the layer's sizes and the shape of its top from the shape of its bottom, in place:
  /// nothing is allocated, so the bottom may be no larger than at SetUp, a rule that nothing here
  /// enforces. Layers without an own version keep the shape of their top, so they must compute in
  /// place. The two sizes are those of the network's input and serve no layer of this library.
  virtual void AlterInputShape(int new_width, int new_height, const vector<Blob<Dtype>*>& bottom,
                               vector<Blob<Dtype>*>* top);

  /// Replaces the contents of param by the definition and the present parameters, with their
  /// gradients if write_diff is set.
  virtual void ToProto(LayerParameter* param, bool write_diff = false);

  /// Runs the layer. Returns its loss: 0 for every layer that is not a loss.
  Dtype Forward(const vector<Blob<Dtype>*>& bottom, vector<Blob<Dtype>*>* top);

  /// Computes the gradients of the parameters and, if propagate_down is set, of the bottoms, from
  /// those of the tops.
  void Backward(const vector<Blob<Dtype>*>& top, bool propagate_down, vector<Blob<Dtype>*>* bottom);

  vector<shared_ptr<Blob<Dtype>>>& blobs() { return blobs_; }
  const LayerParameter& layer_param() const { return layer_param_; }

 protected:
  virtual Dtype Forward_cpu(const vector<Blob<Dtype>*>& bottom, vector<Blob<Dtype>*>* top) = 0;
  virtual Dtype Forward_gpu(const vector<Blob<Dtype>*>& bottom, vector<Blob<Dtype>*>* top) {
    return Forward_cpu(bottom, top);
  }
  virtual void Backward_cpu(const vector<Blob<Dtype>*>& top, bool propagate_down,
                            vector<Blob<Dtype>*>* bottom) = 0;
  virtual void Backward_gpu(const vector<Blob<Dtype>*>& top, bool propagate_down,
                            vector<Blob<Dtype>*>* bottom) {
    Backward_cpu(top, propagate_down, bottom);
  }

  // Messages that are copied one by one leave parts behind where the memory ends; what lies in an
  // arena goes with it.
  google::protobuf::Arena arena_;
  LayerParameter& layer_param_;
  vector<shared_ptr<Blob<Dtype>>> blobs_;  // In the order that the layer defines.
};

/// Makes the layer that a definition's type names. The caller owns it. Null for HDF5_DATA and
/// HDF5_OUTPUT, which have a type but no class; any other type without a class is fatal.
Layer<float>* GetLayer(const LayerParameter& param);

}  // namespace caffe

#endif  // CAFFE_LAYER_HPP_
