// The upgrade of one layer from the old layout, in which all types shared one set of fields.

#include <initializer_list>
#include <map>
#include <utility>

#include "caffe/common.hpp"
#include "caffe/util/upgrade_proto.hpp"

namespace caffe {

namespace {

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

// One pair of old type and setter: the old field's value becomes a field of the message that
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

}  // namespace caffe
