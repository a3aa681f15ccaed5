/// Net: a directed acyclic graph of layers over named blobs, built once and run many times.

#ifndef CAFFE_NET_HPP_
#define CAFFE_NET_HPP_

#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "caffe/blob.hpp"
#include "caffe/common.hpp"
#include "caffe/layer.hpp"

namespace cv {
class Mat;
}

namespace caffe {

/// Selects the constructor of Net that takes the text of a definition in place of the name of its
/// file.
struct FromText {};

/// A network in one of two modes.
///
/// Plain, from construction on: ForwardAll runs all layers on what the input blob holds.
///
/// Fast, from FirstRun on: AlterInputShape and FF, for a network that slides over images of many
/// sizes. FF adds to the first convolution's output the response to a constant input of 100,
/// measured by FirstRun.
///
/// Memory: built at the largest input size; every smaller size works in the same memory, and a run
/// allocates nothing once each blob was touched, unless a layer says so.
///
/// Errors: a definition or weight file that is missing or malformed is fatal. Use of a run
/// operation in the wrong mode logs an error and ends the process with exit(-1).
///
/// Threads: one thread at a time. Nothing locks.
template <typename Dtype>
class Net {
 public:
  /// From the text definition in a file.
  explicit Net(const string& param_file);
  /// From the text of a definition.
  Net(FromText, const string& param_text);
  /// From a parsed definition in the present layout.
  explicit Net(const NetParameter& param);
  virtual ~Net() {}
  Net(const Net&) = delete;
  Net& operator=(const Net&) = delete;

  /// Copies trained parameters into the layers of the same name, from a binary file or from a
  /// message. Layers of the source without a counterpart are skipped; layers that the source lacks
  /// keep their values. Other numbers or sizes of blobs are fatal.
  void CopyTrainedLayersFrom(const string& trained_filename);
  void CopyTrainedLayersFrom(const NetParameter& param);

  /// Measures the response of the first convolution to an input of 100.0 and enters the fast mode.
  /// Once only, after the trained parameters were copied. The input blob holds 100.0 afterwards.
  void FirstRun();

  /// Rewrites the shape of the first input and of everything after it, in place. Width first.
  /// Sizes above those of construction overrun memory and are not refused: the caller keeps within
  /// them.
  void AlterInputShape(int new_width, int new_height);

  /// Runs the network in fast mode. The first layer must be the first convolution. Returns the
  /// outputs.
  const vector<Blob<Dtype>*>& FF();

  /// Runs the network in plain mode. Returns the outputs.
  const vector<Blob<Dtype>*>& ForwardAll();

  /// The blob of that name, or null.
  shared_ptr<Blob<Dtype>> blob_by_name(const string& name) const;

  const string& name() const { return name_; }
  const vector<shared_ptr<Layer<Dtype>>>& layers() const { return layers_; }
  const vector<string>& layer_names() const { return layer_names_; }
  const map<string, int>& layer_names_index() const { return layer_names_index_; }
  const vector<bool>& layer_need_backward() const { return layer_need_backward_; }
  const vector<shared_ptr<Blob<Dtype>>>& blobs() const { return blobs_; }
  const vector<string>& blob_names() const { return blob_names_; }
  const map<string, int>& blob_names_index() const { return blob_names_index_; }
  const vector<bool>& blob_need_backward() const { return blob_need_backward_; }
  const vector<vector<Blob<Dtype>*>>& bottom_vecs() const { return bottom_vecs_; }
  const vector<vector<Blob<Dtype>*>>& top_vecs() const { return top_vecs_; }
  const vector<vector<int>>& bottom_id_vecs() const { return bottom_id_vecs_; }
  const vector<vector<int>>& top_id_vecs() const { return top_id_vecs_; }
  const vector<Blob<Dtype>*>& input_blobs() const { return net_input_blobs_; }
  const vector<Blob<Dtype>*>& output_blobs() const { return net_output_blobs_; }
  const vector<int>& input_blob_indices() const { return net_input_blob_indices_; }
  const vector<int>& output_blob_indices() const { return net_output_blob_indices_; }
  const vector<Blob<unsigned char>*>& input_blobs_u8() const { return net_input_blobs_u8_; }
  const vector<shared_ptr<Blob<Dtype>>>& params() const { return params_; }
  const vector<float>& params_lr() const { return params_lr_; }
  const vector<float>& params_weight_decay() const { return params_weight_decay_; }
  bool first_run_pending() const { return first_run_pending_; }
  int firstConvLayerIndex() const { return firstConvLayerIndex_; }
  /// As many zeros as the first convolution's first top has values, until FirstRun measures it.
  /// Made when it is asked for: a run works with the response itself.
  const vector<float>& first_run_offsets() const;
  /// The length of that list.
  int first_run_count() const { return first_run_count_; }
  /// The response that FirstRun measured, first_run_count() floats; null before.
  const shared_ptr<SyncedMemory>& first_run_response() const { return first_run_response_; }

  /// Lets the trained parameters and what FirstRun measured be held once by all networks of the
  /// process that have equal ones, and gives back the memory of all other blobs, which read as
  /// zeros until a run writes them. Runs and their results stay the same. Threads: those of
  /// ShareEqualValues.
  void ShareAndRelease();

 private:
  friend class NetTestPeer;  // Nothing else can set use_active_images_.

  // What Init knows of the blobs made so far.
  struct BlobTable {
    map<string, int> index_of;
    set<string> available;  // Names of blobs that nobody has read yet.
  };

  // Reads a definition, by one of the readers of util/upgrade_proto.hpp.
  Net(const string& source, void (*read)(const string&, NetParameter*));
  void Init(const NetParameter& in_param);
  // Appends an empty blob and returns its index.
  int AppendBlob(const string& name, bool need_backward);
  void AppendInputs(const NetParameter& param, BlobTable* table);
  void AppendLayer(const NetParameter& param, int i, BlobTable* table);
  // Returns whether any bottom takes part in a backward pass.
  bool AppendBottoms(const LayerParameter& layer_param, int layer_index, BlobTable* table);
  void AppendTops(const LayerParameter& layer_param, int layer_index, bool need_backward,
                  BlobTable* table);
  bool ParamsNeedBackward(int i) const;
  void GetLearningRateAndWeightDecay();

  vector<shared_ptr<Layer<Dtype>>> layers_;  // In the order of their run.
  vector<string> layer_names_;
  map<string, int> layer_names_index_;
  vector<bool> layer_need_backward_;
  vector<shared_ptr<Blob<Dtype>>> blobs_;  // Every blob of the graph, inputs first.
  vector<shared_ptr<Blob<unsigned char>>> blobs_u8_;
  vector<string> blob_names_;
  map<string, int> blob_names_index_;
  vector<bool> blob_need_backward_;
  vector<vector<Blob<Dtype>*>> bottom_vecs_;  // A list per layer. Not owned.
  vector<vector<int>> bottom_id_vecs_;
  vector<vector<Blob<Dtype>*>> top_vecs_;  // A list per layer. Not owned.
  vector<vector<int>> top_id_vecs_;
  vector<int> net_input_blob_indices_;
  vector<int> net_output_blob_indices_;
  vector<Blob<Dtype>*> net_output_blobs_;  // In the order of their names.
  string name_;
  vector<shared_ptr<Blob<Dtype>>> params_;
  vector<float> params_lr_;
  vector<float> params_weight_decay_;
  // Shape records of the inputs; their memory is never used.
  vector<Blob<unsigned char>*> net_input_blobs_u8_;
  vector<Blob<Dtype>*> net_input_blobs_;
  // Would hand active_image_ptrs_ to an ImageDataLayer before its SetUp. Nothing sets it.
  bool use_active_images_ = false;
  vector<boost::shared_ptr<cv::Mat>> active_image_ptrs_;  // Empty.
  bool first_run_pending_ = true;
  int firstConvLayerIndex_ = -1;  // -1 if there is no convolution.
  // Values of the first convolution's first top, of construction or FirstRun.
  int first_run_count_ = 0;
  // Response to 100.0, in the flat order of construction. Frozen. Null until it is measured.
  shared_ptr<SyncedMemory> first_run_response_;
  mutable vector<float> first_run_offsets_;  // The same negated; empty until it is asked for.
};

}  // namespace caffe

#endif  // CAFFE_NET_HPP_
