// Readers of network definitions, and the upgrade of definitions in the old layout.

#include "caffe/util/upgrade_proto.hpp"

#include <google/protobuf/text_format.h>

#include <initializer_list>
#include <map>
#include <utility>

#include "caffe/common.hpp"
#include "caffe/util/io.hpp"

namespace caffe {

namespace {

// These carry the names that stand in the messages of the checks below.
bool ReadProtoFromTextFile(const string& param_file, NetParameter* param) {
  return caffe::ReadProtoFromTextFile(param_file.c_str(), param);
}

bool ReadProtoFromTextFile1(const string& param_text, NetParameter* param) {
  return google::protobuf::TextFormat::ParseFromString(param_text, param);
}

// Upgrades param in place if it is in the old layout. source: what the log names as its origin.
void UpgradeIfNeeded(const string& source, const char* tool_note, NetParameter* param) {
  if (!NetNeedsUpgrade(*param)) {
    return;
  }
  LOG(ERROR) << "Attempting to upgrade input file specified using deprecated "
             << "V0LayerParameter: " << source;
  const NetParameter saved_param(*param);
  if (!UpgradeV0Net(saved_param, param)) {
    LOG(ERROR) << "Warning: had one or more problems upgrading "
               << "V0NetParameter to NetParameter (see above); continuing anyway.";
  }
  LOG(ERROR) << "Note that future Caffe releases will not support " << tool_note
             << "upgrade this and any other network proto files to the new format.";
}

const char kTextToolNote[] = "V0LayerParameter; use ./build/tools/upgrade_net_proto_text.bin to ";
const char kBinaryToolNote[] = "V0NetParameter; use ./build/tools/upgrade_net_proto_binary.bin to ";

// Moves the fields of one old layer to the new layer, with one Carry a field.
class FieldUpgrade {
 public:
  FieldUpgrade(const V0LayerParameter& old_layer, LayerParameter* layer)
      : type_(old_layer.type()), layer_(layer) {}

  // Runs the setter that stands beside the old layer's type. A type that is not listed loses the
  // field and leaves a line in the log.
  using Setter = void (*)(const V0LayerParameter& from, LayerParameter* to);
  void Carry(const V0LayerParameter& from, const char* new_field,
             std::initializer_list<std::pair<const char*, Setter>> setters) {
    for (const auto& setter : setters) {
      if (type_ == setter.first) {
        setter.second(from, layer_);
        return;
      }
    }
    LOG(ERROR) << "Unknown parameter " << new_field << " for layer type " << type_;
    complete_ = false;
  }

  bool complete() const { return complete_; }
  void set_incomplete() { complete_ = false; }

 private:
  const string& type_;
  LayerParameter* layer_;
  bool complete_ = true;
};

// One row of the table in UpgradeFields: the old field's value becomes a field of the message that
// belongs to the old type.
#define TO(type_text, message, new_field, old_field)                  \
  {                                                                   \
    type_text, [](const V0LayerParameter& from, LayerParameter* to) { \
      to->mutable_##message()->set_##new_field(from.old_field());     \
    }                                                                 \
  }
#define TO_MESSAGE(type_text, message, new_field, old_field)                      \
  {                                                                               \
    type_text, [](const V0LayerParameter& from, LayerParameter* to) {             \
      to->mutable_##message()->mutable_##new_field()->CopyFrom(from.old_field()); \
    }                                                                             \
  }

void UpgradePoolMethod(const V0LayerParameter& old_layer, LayerParameter* layer,
                       FieldUpgrade* upgrade) {
  switch (old_layer.pool()) {
    case V0LayerParameter::MAX:
      layer->mutable_pooling_param()->set_pool(PoolingParameter::MAX);
      return;
    case V0LayerParameter::AVE:
      layer->mutable_pooling_param()->set_pool(PoolingParameter::AVE);
      return;
    case V0LayerParameter::STOCHASTIC:
      layer->mutable_pooling_param()->set_pool(PoolingParameter::STOCHASTIC);
      return;
  }
  LOG(ERROR) << "Unknown pool method " << static_cast<int>(old_layer.pool());
  upgrade->set_incomplete();
}

void UpgradeWeightFields(const V0LayerParameter& old, FieldUpgrade* upgrade) {
  if (old.has_num_output()) {
    upgrade->Carry(old, "num_output",
                   {TO("conv", convolution_param, num_output, num_output),
                    TO("innerproduct", inner_product_param, num_output, num_output)});
  }
  if (old.has_biasterm()) {
    upgrade->Carry(old, "bias_term",
                   {TO("conv", convolution_param, bias_term, biasterm),
                    TO("innerproduct", inner_product_param, bias_term, biasterm)});
  }
  if (old.has_weight_filler()) {
    upgrade->Carry(old, "weight_filler",
                   {TO_MESSAGE("conv", convolution_param, weight_filler, weight_filler),
                    TO_MESSAGE("innerproduct", inner_product_param, weight_filler, weight_filler)});
  }
  if (old.has_bias_filler()) {
    upgrade->Carry(old, "bias_filler",
                   {TO_MESSAGE("conv", convolution_param, bias_filler, bias_filler),
                    TO_MESSAGE("innerproduct", inner_product_param, bias_filler, bias_filler)});
  }
}

void UpgradeWindowFields(const V0LayerParameter& old, LayerParameter* layer,
                         FieldUpgrade* upgrade) {
  if (old.has_pad()) {
    upgrade->Carry(old, "pad", {TO("conv", convolution_param, pad, pad)});
  }
  if (old.has_kernelsize()) {
    upgrade->Carry(old, "kernel_size",
                   {TO("conv", convolution_param, kernel_size, kernelsize),
                    TO("pool", pooling_param, kernel_size, kernelsize)});
  }
  if (old.has_group()) {
    upgrade->Carry(old, "group", {TO("conv", convolution_param, group, group)});
  }
  if (old.has_stride()) {
    upgrade->Carry(
        old, "stride",
        {TO("conv", convolution_param, stride, stride), TO("pool", pooling_param, stride, stride)});
  }
  if (old.has_pool()) {
    if (old.type() == "pool") {
      UpgradePoolMethod(old, layer, upgrade);
    } else {
      upgrade->Carry(old, "pool", {});
    }
  }
}

void UpgradeNeuronFields(const V0LayerParameter& old, FieldUpgrade* upgrade) {
  if (old.has_dropout_ratio()) {
    upgrade->Carry(old, "dropout_ratio",
                   {TO("dropout", dropout_param, dropout_ratio, dropout_ratio)});
  }
  if (old.has_local_size()) {
    upgrade->Carry(old, "local_size", {TO("lrn", lrn_param, local_size, local_size)});
  }
  if (old.has_alpha()) {
    upgrade->Carry(old, "alpha", {TO("lrn", lrn_param, alpha, alpha)});
  }
  if (old.has_beta()) {
    upgrade->Carry(old, "beta", {TO("lrn", lrn_param, beta, beta)});
  }
}

void UpgradeSourceFields(const V0LayerParameter& old, FieldUpgrade* upgrade) {
  if (old.has_source()) {
    upgrade->Carry(
        old, "source",
        {TO("data", data_param, source, source), TO("hdf5_data", hdf5_data_param, source, source),
         TO("images", image_data_param, source, source),
         TO("window_data", window_data_param, source, source),
         TO("infogain_loss", infogain_loss_param, source, source)});
  }
  if (old.has_scale()) {
    upgrade->Carry(
        old, "scale",
        {TO("data", data_param, scale, scale), TO("images", image_data_param, scale, scale)});
  }
  if (old.has_meanfile()) {
    upgrade->Carry(old, "mean_file",
                   {TO("data", data_param, mean_file, meanfile),
                    TO("images", image_data_param, mean_file, meanfile),
                    TO("window_data", window_data_param, mean_file, meanfile)});
  }
  if (old.has_batchsize()) {
    upgrade->Carry(old, "batch_size",
                   {TO("data", data_param, batch_size, batchsize),
                    TO("hdf5_data", hdf5_data_param, batch_size, batchsize),
                    TO("images", image_data_param, batch_size, batchsize),
                    TO("window_data", window_data_param, batch_size, batchsize)});
  }
  if (old.has_cropsize()) {
    upgrade->Carry(old, "crop_size",
                   {TO("data", data_param, crop_size, cropsize),
                    TO("images", image_data_param, crop_size, cropsize),
                    TO("window_data", window_data_param, crop_size, cropsize)});
  }
  if (old.has_mirror()) {
    upgrade->Carry(
        old, "mirror",
        {TO("data", data_param, mirror, mirror), TO("images", image_data_param, mirror, mirror),
         TO("window_data", window_data_param, mirror, mirror)});
  }
  if (old.has_rand_skip()) {
    upgrade->Carry(old, "rand_skip",
                   {TO("data", data_param, rand_skip, rand_skip),
                    TO("images", image_data_param, rand_skip, rand_skip)});
  }
  if (old.has_shuffle_images()) {
    upgrade->Carry(old, "shuffle", {TO("images", image_data_param, shuffle, shuffle_images)});
  }
  if (old.has_new_height()) {
    upgrade->Carry(old, "new_height", {TO("images", image_data_param, new_height, new_height)});
  }
  if (old.has_new_width()) {
    upgrade->Carry(old, "new_width", {TO("images", image_data_param, new_width, new_width)});
  }
}

void UpgradeRemainingFields(const V0LayerParameter& old, FieldUpgrade* upgrade) {
  if (old.has_concat_dim()) {
    upgrade->Carry(old, "concat_dim", {TO("concat", concat_param, concat_dim, concat_dim)});
  }
  if (old.has_det_fg_threshold()) {
    upgrade->Carry(old, "fg_threshold",
                   {TO("window_data", window_data_param, fg_threshold, det_fg_threshold)});
  }
  if (old.has_det_bg_threshold()) {
    upgrade->Carry(old, "bg_threshold",
                   {TO("window_data", window_data_param, bg_threshold, det_bg_threshold)});
  }
  if (old.has_det_fg_fraction()) {
    upgrade->Carry(old, "fg_fraction",
                   {TO("window_data", window_data_param, fg_fraction, det_fg_fraction)});
  }
  if (old.has_det_context_pad()) {
    upgrade->Carry(old, "context_pad",
                   {TO("window_data", window_data_param, context_pad, det_context_pad)});
  }
  if (old.has_det_crop_mode()) {
    upgrade->Carry(old, "crop_mode",
                   {TO("window_data", window_data_param, crop_mode, det_crop_mode)});
  }
  if (old.has_hdf5_output_param()) {
    upgrade->Carry(old, "hdf5_output_param",
                   {{"hdf5_output", [](const V0LayerParameter& from, LayerParameter* to) {
                       to->mutable_hdf5_output_param()->CopyFrom(from.hdf5_output_param());
                     }}});
  }
}

#undef TO
#undef TO_MESSAGE

}  // namespace

bool NetNeedsUpgrade(const NetParameter& param) {
  for (const LayerParameter& layer : param.layers()) {
    if (layer.has_layer()) {
      return true;
    }
  }
  return false;
}

LayerParameter::LayerType UpgradeLayerType(const string& type) {
  static const std::map<string, LayerParameter::LayerType> kTypes = {
      {"accuracy", LayerParameter::ACCURACY},
      {"bnll", LayerParameter::BNLL},
      {"concat", LayerParameter::CONCAT},
      {"conv", LayerParameter::CONVOLUTION},
      {"data", LayerParameter::DATA},
      {"dropout", LayerParameter::DROPOUT},
      {"euclidean_loss", LayerParameter::EUCLIDEAN_LOSS},
      {"flatten", LayerParameter::FLATTEN},
      {"hdf5_data", LayerParameter::HDF5_DATA},
      {"hdf5_output", LayerParameter::HDF5_OUTPUT},
      {"im2col", LayerParameter::IM2COL},
      {"images", LayerParameter::IMAGE_DATA},
      {"infogain_loss", LayerParameter::INFOGAIN_LOSS},
      {"innerproduct", LayerParameter::INNER_PRODUCT},
      {"lrn", LayerParameter::LRN},
      {"multinomial_logistic_loss", LayerParameter::MULTINOMIAL_LOGISTIC_LOSS},
      {"pool", LayerParameter::POOLING},
      {"relu", LayerParameter::RELU},
      {"sigmoid", LayerParameter::SIGMOID},
      {"softmax", LayerParameter::SOFTMAX},
      {"softmax_loss", LayerParameter::SOFTMAX_LOSS},
      {"split", LayerParameter::SPLIT},
      {"tanh", LayerParameter::TANH},
      {"window_data", LayerParameter::WINDOW_DATA},
  };
  const auto found = kTypes.find(type);
  if (found == kTypes.end()) {
    LOG(FATAL) << "Unknown layer name: " << type;
  }
  return found->second;
}

bool UpgradeLayerParameter(const LayerParameter& v0_layer, LayerParameter* layer_param) {
  layer_param->Clear();
  layer_param->mutable_bottom()->CopyFrom(v0_layer.bottom());
  layer_param->mutable_top()->CopyFrom(v0_layer.top());
  if (!v0_layer.has_layer()) {
    return true;
  }
  const V0LayerParameter& old = v0_layer.layer();
  if (old.has_name()) {
    layer_param->set_name(old.name());
  }
  if (old.has_type()) {
    layer_param->set_type(UpgradeLayerType(old.type()));
  }
  layer_param->mutable_blobs()->CopyFrom(old.blobs());
  layer_param->mutable_blobs_lr()->CopyFrom(old.blobs_lr());
  layer_param->mutable_weight_decay()->CopyFrom(old.weight_decay());

  FieldUpgrade upgrade(old, layer_param);
  UpgradeWeightFields(old, &upgrade);
  UpgradeWindowFields(old, layer_param, &upgrade);
  UpgradeNeuronFields(old, &upgrade);
  UpgradeSourceFields(old, &upgrade);
  UpgradeRemainingFields(old, &upgrade);
  return upgrade.complete();
}

void UpgradeV0PaddingLayers(const NetParameter& param, NetParameter* param_upgraded_pad) {
  param_upgraded_pad->CopyFrom(param);
  param_upgraded_pad->clear_layers();
  map<string, int> last_producer;  // Index of a layer of param; -1 for a network input.
  for (const string& input : param.input()) {
    last_producer[input] = -1;
  }
  for (int i = 0; i < param.layers_size(); ++i) {
    const LayerParameter& layer_connection = param.layers(i);
    const V0LayerParameter& layer_param = layer_connection.layer();
    if (layer_param.type() != "padding") {
      param_upgraded_pad->add_layers()->CopyFrom(layer_connection);
    }
    for (int j = 0; j < layer_connection.bottom_size(); ++j) {
      const auto found = last_producer.find(layer_connection.bottom(j));
      if (found == last_producer.end()) {
        LOG(FATAL) << "Unknown blob input " << layer_connection.bottom(j) << " to layer " << j;
      }
      if (found->second == -1) {
        continue;
      }
      const LayerParameter& source_layer = param.layers(found->second);
      if (source_layer.layer().type() != "padding") {
        continue;
      }
      CHECK_EQ(layer_param.type(), "conv")
          << "Padding layer input to non-convolutional layer type " << layer_param.type();
      CHECK_EQ(layer_connection.bottom_size(), 1) << "Conv Layer takes a single blob as input.";
      CHECK_EQ(source_layer.bottom_size(), 1) << "Padding Layer takes a single blob as input.";
      CHECK_EQ(source_layer.top_size(), 1) << "Padding Layer produces a single blob as output.";
      LayerParameter* conv =
          param_upgraded_pad->mutable_layers(param_upgraded_pad->layers_size() - 1);
      conv->mutable_layer()->set_pad(source_layer.layer().pad());
      conv->set_bottom(j, source_layer.bottom(0));
    }
    for (const string& top : layer_connection.top()) {
      last_producer[top] = i;
    }
  }
}

bool UpgradeV0Net(const NetParameter& v0_net_param, NetParameter* net_param) {
  NetParameter padded_param;
  UpgradeV0PaddingLayers(v0_net_param, &padded_param);
  bool complete = true;
  net_param->Clear();
  if (padded_param.has_name()) {
    net_param->set_name(padded_param.name());
  }
  for (const LayerParameter& layer : padded_param.layers()) {
    complete &= UpgradeLayerParameter(layer, net_param->add_layers());
  }
  net_param->mutable_input()->CopyFrom(padded_param.input());
  net_param->mutable_input_dim()->CopyFrom(padded_param.input_dim());
  if (padded_param.has_force_backward()) {
    net_param->set_force_backward(padded_param.force_backward());
  }
  return complete;
}

void ReadNetParamsFromTextFile(const string& param_file, NetParameter* param) {
  CHECK(ReadProtoFromTextFile(param_file, param))
      << "Failed to parse NetParameter file: " << param_file;
  UpgradeIfNeeded(param_file, kTextToolNote, param);
}

void ReadNetParamsFromTextFile1(const string& param_file, NetParameter* param) {
  CHECK(ReadProtoFromTextFile1(param_file, param))
      << "Failed to parse NetParameter file: " << param_file;
  UpgradeIfNeeded(param_file, kTextToolNote, param);
}

void ReadNetParamsFromBinaryFile(const string& param_file, NetParameter* param) {
  CHECK(ReadProtoFromBinaryFile(param_file.c_str(), param))
      << "Failed to parse NetParameter file: " << param_file;
  UpgradeIfNeeded(param_file, kBinaryToolNote, param);
}

}  // namespace caffe
