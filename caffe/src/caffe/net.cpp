// Net: construction from a definition, trained parameters, and the plain and the fast run.

#include "caffe/net.hpp"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <utility>

#include "caffe/data_layers.hpp"
#include "caffe/util/insert_splits.hpp"
#include "caffe/util/math_functions.hpp"
#include "caffe/util/shared_values.hpp"
#include "caffe/util/upgrade_proto.hpp"

namespace caffe {

namespace {

// The input that FirstRun measures the first convolution with.
const float kFirstRunInput = 100.0F;

// A use of a run operation in the wrong mode: there is no result to give and no caller that could
// go on.
[[noreturn]] void ExitOnMisuse(const char* message) {
  LOG(ERROR) << message;
  std::exit(-1);
}

template <typename Dtype>
void SetSize(int width, int height, Blob<Dtype>* blob) {
  blob->OverwriteShape(blob->num(), blob->channels(), height, width);
}

// A block that stays as it is: the same, frozen, so that the blob takes another when it is written,
// or a copy of what belongs to a caller.
shared_ptr<SyncedMemory> KeptValues(const shared_ptr<SyncedMemory>& block) {
  shared_ptr<SyncedMemory> kept = block;
  if (!block->owns_data()) {
    kept.reset(new SyncedMemory(block->size()));
    std::memcpy(kept->mutable_cpu_data(), block->cpu_data(), block->size());
  }
  kept->Freeze();
  return kept;
}

// The number of images and the number of values of each blob: what the memory and the loops of a
// layer depend on. A layer may fold the other three sizes in place.
template <typename Dtype>
vector<std::pair<int, int>> SizesOf(const vector<Blob<Dtype>*>& blobs) {
  vector<std::pair<int, int>> sizes;
  for (const Blob<Dtype>* blob : blobs) {
    sizes.emplace_back(blob->num(), blob->count());
  }
  return sizes;
}

}  // namespace

// Construction. The definitions lie in arenas, which leave nothing behind where the memory ends.

template <typename Dtype>
Net<Dtype>::Net(const string& param_file) : Net(param_file, ReadNetParamsFromTextFile) {}

template <typename Dtype>
Net<Dtype>::Net(FromText, const string& param_text) : Net(param_text, ReadNetParamsFromTextFile1) {}

template <typename Dtype>
Net<Dtype>::Net(const string& source, void (*read)(const string&, NetParameter*)) {
  google::protobuf::Arena arena;
  NetParameter* param = google::protobuf::Arena::CreateMessage<NetParameter>(&arena);
  read(source, param);
  Init(*param);
}

template <typename Dtype>
Net<Dtype>::Net(const NetParameter& param) {
  Init(param);
}

template <typename Dtype>
int Net<Dtype>::AppendBlob(const string& name, bool need_backward) {
  blobs_.push_back(shared_ptr<Blob<Dtype>>(new Blob<Dtype>()));
  blob_names_.push_back(name);
  blob_need_backward_.push_back(need_backward);
  return static_cast<int>(blobs_.size()) - 1;
}

template <typename Dtype>
void Net<Dtype>::AppendInputs(const NetParameter& param, BlobTable* table) {
  CHECK_EQ(param.input_size() * 4, param.input_dim_size())
      << "Incorrect bottom blob dimension specifications.";
  for (int i = 0; i < param.input_size(); ++i) {
    const int num = param.input_dim(4 * i);
    const int channels = param.input_dim(4 * i + 1);
    const int height = param.input_dim(4 * i + 2);
    const int width = param.input_dim(4 * i + 3);
    const int index = AppendBlob(param.input(i), param.force_backward());
    blobs_[index]->Reshape(num, channels, height, width);
    net_input_blob_indices_.push_back(index);
    net_input_blobs_.push_back(blobs_[index].get());
    blobs_u8_.push_back(
        shared_ptr<Blob<unsigned char>>(new Blob<unsigned char>(num, channels, height, width)));
    net_input_blobs_u8_.push_back(blobs_u8_.back().get());
    table->index_of[param.input(i)] = index;
    table->available.insert(param.input(i));
  }
}

template <typename Dtype>
bool Net<Dtype>::AppendBottoms(const LayerParameter& layer_param, int layer_index,
                               BlobTable* table) {
  bool need_backward = false;
  for (int j = 0; j < layer_param.bottom_size(); ++j) {
    const string& name = layer_param.bottom(j);
    if (table->available.find(name) == table->available.end()) {
      LOG(FATAL) << "Unknown blob input " << name << " to layer" << j;
    }
    const int index = table->index_of[name];
    bottom_vecs_[layer_index].push_back(blobs_[index].get());
    bottom_id_vecs_[layer_index].push_back(index);
    need_backward |= blob_need_backward_[index];
    // Every consumer has a blob of its own by now, so a blob is read once.
    table->available.erase(name);
  }
  return need_backward;
}

template <typename Dtype>
void Net<Dtype>::AppendTops(const LayerParameter& layer_param, int layer_index, bool need_backward,
                            BlobTable* table) {
  for (int j = 0; j < layer_param.top_size(); ++j) {
    const string& name = layer_param.top(j);
    const bool in_place = j < layer_param.bottom_size() && layer_param.bottom(j) == name;
    if (!in_place) {
      if (table->index_of.find(name) != table->index_of.end()) {
        LOG(FATAL) << "Duplicate blobs produced by multiple sources.";
      }
      table->index_of[name] = AppendBlob(name, need_backward);
    }
    const int index = table->index_of[name];
    table->available.insert(name);
    top_vecs_[layer_index].push_back(blobs_[index].get());
    top_id_vecs_[layer_index].push_back(index);
  }
}

// Whether the layer's own parameters ask for a backward pass.
template <typename Dtype>
bool Net<Dtype>::ParamsNeedBackward(int i) const {
  const LayerParameter& layer_param = layers_[i]->layer_param();
  const std::size_t blobs_lr_size = layer_param.blobs_lr_size();
  CHECK(blobs_lr_size == layers_[i]->blobs().size() || blobs_lr_size == 0)
      << "Incorrect blobs lr size: should be either 0 or the same as "
         "the number of the layer's parameter blobs.";
  if (blobs_lr_size == 0) {
    return !layers_[i]->blobs().empty();
  }
  return std::any_of(layer_param.blobs_lr().begin(), layer_param.blobs_lr().end(),
                     [](float blob_lr) { return blob_lr > 0; });
}

template <typename Dtype>
void Net<Dtype>::AppendLayer(const NetParameter& param, int i, BlobTable* table) {
  const LayerParameter& layer_param = param.layers(i);
  layers_.push_back(shared_ptr<Layer<Dtype>>(GetLayer(layer_param)));
  CHECK(layers_[i]) << "Layer " << layer_param.name() << " has a type without a class: "
                    << LayerParameter::LayerType_Name(layer_param.type());
  if (use_active_images_ && layer_param.type() == LayerParameter::IMAGE_DATA) {
    static_cast<ImageDataLayer<Dtype>&>(*layers_[i]).activeImagePtrs() = active_image_ptrs_;
  }
  layer_names_.push_back(layer_param.name());
  bool need_backward = param.force_backward();
  need_backward |= AppendBottoms(layer_param, i, table);
  AppendTops(layer_param, i, param.force_backward(), table);
  const vector<std::pair<int, int>> bottom_sizes = SizesOf(bottom_vecs_[i]);
  layers_[i]->SetUp(bottom_vecs_[i], &top_vecs_[i]);
  // The layers before have sized their buffers and loops by these blobs.
  CHECK(SizesOf(bottom_vecs_[i]) == bottom_sizes)
      << "Layer " << layer_param.name() << " works in place but changes the size of its bottom.";
  need_backward |= ParamsNeedBackward(i);
  layer_need_backward_.push_back(need_backward);
  if (need_backward) {
    for (const int index : top_id_vecs_[i]) {
      blob_need_backward_[index] = true;
    }
  }
  if (firstConvLayerIndex_ < 0 && layer_param.type() == LayerParameter::CONVOLUTION) {
    firstConvLayerIndex_ = i;
    first_run_count_ = top_vecs_[i][0]->count();
  }
}

template <typename Dtype>
void Net<Dtype>::Init(const NetParameter& in_param) {
  google::protobuf::Arena arena;
  NetParameter& param = *google::protobuf::Arena::CreateMessage<NetParameter>(&arena);
  InsertSplits(in_param, &param);
  name_ = param.name();
  BlobTable table;
  AppendInputs(param, &table);
  bottom_vecs_.resize(param.layers_size());
  top_vecs_.resize(param.layers_size());
  bottom_id_vecs_.resize(param.layers_size());
  top_id_vecs_.resize(param.layers_size());
  for (int i = 0; i < param.layers_size(); ++i) {
    AppendLayer(param, i, &table);
  }
  // What nobody read is an output, in the order of the names.
  for (const string& name : table.available) {
    const int index = table.index_of[name];
    net_output_blobs_.push_back(blobs_[index].get());
    net_output_blob_indices_.push_back(index);
  }
  for (std::size_t i = 0; i < blob_names_.size(); ++i) {
    blob_names_index_[blob_names_[i]] = static_cast<int>(i);
  }
  for (std::size_t i = 0; i < layer_names_.size(); ++i) {
    layer_names_index_[layer_names_[i]] = static_cast<int>(i);
  }
  GetLearningRateAndWeightDecay();
}

template <typename Dtype>
void Net<Dtype>::GetLearningRateAndWeightDecay() {
  for (std::size_t i = 0; i < layers_.size(); ++i) {
    const vector<shared_ptr<Blob<Dtype>>>& layer_blobs = layers_[i]->blobs();
    params_.insert(params_.end(), layer_blobs.begin(), layer_blobs.end());
    if (layers_[i]->layer_param().blobs_lr_size() != 0) {
      CHECK_EQ(layers_[i]->layer_param().blobs_lr_size(), layer_blobs.size());
      for (const float local_lr : layers_[i]->layer_param().blobs_lr()) {
        CHECK_GE(local_lr, 0.);
        params_lr_.push_back(local_lr);
      }
    } else {
      params_lr_.insert(params_lr_.end(), layer_blobs.size(), 1.0F);
    }
    if (layers_[i]->layer_param().weight_decay_size() != 0) {
      CHECK_EQ(layers_[i]->layer_param().weight_decay_size(), layer_blobs.size());
      for (const float local_decay : layers_[i]->layer_param().weight_decay()) {
        CHECK_GE(local_decay, 0.);
        params_weight_decay_.push_back(local_decay);
      }
    } else {
      params_weight_decay_.insert(params_weight_decay_.end(), layer_blobs.size(), 1.0F);
    }
  }
}

// Trained parameters.

template <typename Dtype>
void Net<Dtype>::CopyTrainedLayersFrom(const string& trained_filename) {
  NetParameter param;
  ReadNetParamsFromBinaryFile(trained_filename, &param);
  CopyTrainedLayersFrom(param);
}

template <typename Dtype>
void Net<Dtype>::CopyTrainedLayersFrom(const NetParameter& param) {
  for (const LayerParameter& source_layer : param.layers()) {
    const string& source_layer_name = source_layer.name();
    const auto found = std::find(layer_names_.begin(), layer_names_.end(), source_layer_name);
    if (found == layer_names_.end()) {
      continue;
    }
    Layer<Dtype>& target_layer = *layers_[found - layer_names_.begin()];
    vector<shared_ptr<Blob<Dtype>>>& target_blobs = target_layer.blobs();
    CHECK_EQ(target_blobs.size(), source_layer.blobs_size())
        << "Incompatible number of blobs for layer " << source_layer_name;
    for (std::size_t j = 0; j < target_blobs.size(); ++j) {
      CHECK_EQ(target_blobs[j]->num(), source_layer.blobs(j).num());
      CHECK_EQ(target_blobs[j]->channels(), source_layer.blobs(j).channels());
      CHECK_EQ(target_blobs[j]->height(), source_layer.blobs(j).height());
      CHECK_EQ(target_blobs[j]->width(), source_layer.blobs(j).width());
      target_blobs[j]->FromProto(source_layer.blobs(j));
    }
    target_layer.UpdateDerivedSizes();
  }
}

// Run.

template <typename Dtype>
const vector<Blob<Dtype>*>& Net<Dtype>::ForwardAll() {
  if (!first_run_pending_) {
    ExitOnMisuse("Should not Invoke FirstRun() before FF ");
  }
  for (std::size_t i = 0; i < layers_.size(); ++i) {
    layers_[i]->Forward(bottom_vecs_[i], &top_vecs_[i]);
  }
  return net_output_blobs_;
}

template <typename Dtype>
void Net<Dtype>::FirstRun() {
  if (!first_run_pending_) {
    ExitOnMisuse("Invoke FirstRun() twice");
  }
  first_run_pending_ = false;
  CHECK(!net_input_blobs_.empty()) << "Network " << name_ << " has no input.";
  std::fill_n(net_input_blobs_[0]->mutable_cpu_data(), net_input_blobs_[0]->count(),
              kFirstRunInput);
  for (std::size_t i = 0; i < layers_.size(); ++i) {
    const bool is_measured = static_cast<int>(i) == firstConvLayerIndex_;
    if (is_measured && top_vecs_[i][0]->count() > 0) top_vecs_[i][0]->data()->Provide();
    layers_[i]->Forward(bottom_vecs_[i], &top_vecs_[i]);
    if (is_measured) break;
  }
  if (firstConvLayerIndex_ < 0) {
    return;
  }
  const Blob<Dtype>& response = *top_vecs_[firstConvLayerIndex_][0];
  first_run_count_ = response.count();
  first_run_response_ = KeptValues(response.data());
  first_run_offsets_.clear();
}

template <typename Dtype>
const vector<float>& Net<Dtype>::first_run_offsets() const {
  if (first_run_offsets_.empty() && first_run_count_ > 0) {
    first_run_offsets_.resize(first_run_count_);
    if (first_run_response_ != nullptr) {
      const auto* values = static_cast<const float*>(first_run_response_->cpu_data());
      std::transform(values, values + first_run_count_, first_run_offsets_.begin(),
                     [](float value) { return -value; });
    }
  }
  return first_run_offsets_;
}

template <typename Dtype>
void Net<Dtype>::ShareAndRelease() {
  for (const shared_ptr<Blob<Dtype>>& param : params_) {
    ShareEqualValues(param.get());
  }
  if (first_run_response_ != nullptr) first_run_response_ = SharedEqual(first_run_response_);
  for (const shared_ptr<Blob<Dtype>>& blob : blobs_) {
    if (blob->count() > 0) blob->ReleaseData();
  }
}

template <typename Dtype>
const vector<Blob<Dtype>*>& Net<Dtype>::FF() {
  if (first_run_pending_) {
    ExitOnMisuse("Invoke FirstRun() before FF ");
  }
  CHECK_EQ(firstConvLayerIndex_, 0) << "First Layer Should be Conv Layer.";
  layers_[0]->Forward(bottom_vecs_[0], &top_vecs_[0]);
  // What is subtracted are the negated responses, so the response to 100.0 is added. It is flat on
  // purpose: at a smaller size, value k still goes with entry k, whatever its channel, and the
  // trained scores depend on that. A top larger than what FirstRun measured keeps its rest.
  const auto* response = static_cast<const Dtype*>(first_run_response_->cpu_data());
  for (Blob<Dtype>* top : top_vecs_[0]) {
    const int corrected = std::min(top->count(), first_run_count_);
    Dtype* values = top->mutable_cpu_data();
    vsAdd(corrected, values, response, values);
  }
  for (std::size_t i = 1; i < layers_.size(); ++i) {
    layers_[i]->Forward(bottom_vecs_[i], &top_vecs_[i]);
  }
  return net_output_blobs_;
}

template <typename Dtype>
void Net<Dtype>::AlterInputShape(int new_width, int new_height) {
  CHECK(!net_input_blobs_.empty()) << "Network " << name_ << " has no input.";
  Blob<unsigned char>* ib_u8 = net_input_blobs_u8_[0];
  SetSize(new_width, new_height, ib_u8);
  // These compare the record with itself and never fire: every size is accepted, and callers that
  // stay within the memory of construction rely on that, even where one side grows and the other
  // shrinks.
  CHECK_LE(new_width, ib_u8->width()) << "AlterInputShape, new size should be smaller.";
  CHECK_LE(new_height, ib_u8->height()) << "AlterInputShape, new size should be smaller.";
  SetSize(new_width, new_height, net_input_blobs_[0]);
  for (std::size_t i = 0; i < layers_.size(); ++i) {
    layers_[i]->AlterInputShape(new_width, new_height, bottom_vecs_[i], &top_vecs_[i]);
  }
}

template <typename Dtype>
shared_ptr<Blob<Dtype>> Net<Dtype>::blob_by_name(const string& name) const {
  const auto found = blob_names_index_.find(name);
  return found == blob_names_index_.end() ? shared_ptr<Blob<Dtype>>() : blobs_[found->second];
}

template class Net<float>;

}  // namespace caffe
