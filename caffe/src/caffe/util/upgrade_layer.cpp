// The upgrade of one layer from the old layout, in which all types shared one set of fields.

#include <google/protobuf/descriptor.h>
#include <google/protobuf/message.h>

#include <map>
#include <vector>

#include "caffe/common.hpp"
#include "caffe/util/upgrade_proto.hpp"

namespace caffe {

namespace {

using google::protobuf::FieldDescriptor;
using google::protobuf::Message;

// What an old type text stands for.
struct OldType {
  LayerParameter::LayerType type;
  // The field of LayerParameter that holds the type's settings; null where it has none, and empty
  // where the old layer has a whole message for them.
  const char* settings;
};

const std::map<string, OldType>& OldTypes() {
  static const std::map<string, OldType> types = {
      {"accuracy", {LayerParameter::ACCURACY, nullptr}},
      {"bnll", {LayerParameter::BNLL, nullptr}},
      {"concat", {LayerParameter::CONCAT, "concat_param"}},
      {"conv", {LayerParameter::CONVOLUTION, "convolution_param"}},
      {"data", {LayerParameter::DATA, "data_param"}},
      {"dropout", {LayerParameter::DROPOUT, "dropout_param"}},
      {"euclidean_loss", {LayerParameter::EUCLIDEAN_LOSS, nullptr}},
      {"flatten", {LayerParameter::FLATTEN, nullptr}},
      {"hdf5_data", {LayerParameter::HDF5_DATA, "hdf5_data_param"}},
      {"hdf5_output", {LayerParameter::HDF5_OUTPUT, ""}},
      {"im2col", {LayerParameter::IM2COL, nullptr}},
      {"images", {LayerParameter::IMAGE_DATA, "image_data_param"}},
      {"infogain_loss", {LayerParameter::INFOGAIN_LOSS, "infogain_loss_param"}},
      {"innerproduct", {LayerParameter::INNER_PRODUCT, "inner_product_param"}},
      {"lrn", {LayerParameter::LRN, "lrn_param"}},
      {"multinomial_logistic_loss", {LayerParameter::MULTINOMIAL_LOGISTIC_LOSS, nullptr}},
      {"pool", {LayerParameter::POOLING, "pooling_param"}},
      {"relu", {LayerParameter::RELU, nullptr}},
      {"sigmoid", {LayerParameter::SIGMOID, nullptr}},
      {"softmax", {LayerParameter::SOFTMAX, nullptr}},
      {"softmax_loss", {LayerParameter::SOFTMAX_LOSS, nullptr}},
      {"split", {LayerParameter::SPLIT, nullptr}},
      {"tanh", {LayerParameter::TANH, nullptr}},
      {"window_data", {LayerParameter::WINDOW_DATA, "window_data_param"}},
  };
  return types;
}

// A field of the old layer: its new name, and the old types whose settings have it. Every other
// type loses it.
struct OldField {
  const char* old_name;
  const char* new_name;
  std::vector<const char*> types;
};

// In the order in which lost fields are reported.
const std::vector<OldField>& OldFields() {
  static const std::vector<OldField> fields = {
      {"num_output", "num_output", {"conv", "innerproduct"}},
      {"biasterm", "bias_term", {"conv", "innerproduct"}},
      {"weight_filler", "weight_filler", {"conv", "innerproduct"}},
      {"bias_filler", "bias_filler", {"conv", "innerproduct"}},
      {"pad", "pad", {"conv"}},
      {"kernelsize", "kernel_size", {"conv", "pool"}},
      {"group", "group", {"conv"}},
      {"stride", "stride", {"conv", "pool"}},
      {"pool", "pool", {"pool"}},
      {"dropout_ratio", "dropout_ratio", {"dropout"}},
      {"local_size", "local_size", {"lrn"}},
      {"alpha", "alpha", {"lrn"}},
      {"beta", "beta", {"lrn"}},
      {"source", "source", {"data", "hdf5_data", "images", "window_data", "infogain_loss"}},
      {"scale", "scale", {"data", "images"}},
      {"meanfile", "mean_file", {"data", "images", "window_data"}},
      {"batchsize", "batch_size", {"data", "hdf5_data", "images", "window_data"}},
      {"cropsize", "crop_size", {"data", "images", "window_data"}},
      {"mirror", "mirror", {"data", "images", "window_data"}},
      {"rand_skip", "rand_skip", {"data", "images"}},
      {"shuffle_images", "shuffle", {"images"}},
      {"new_height", "new_height", {"images"}},
      {"new_width", "new_width", {"images"}},
      {"concat_dim", "concat_dim", {"concat"}},
      {"det_fg_threshold", "fg_threshold", {"window_data"}},
      {"det_bg_threshold", "bg_threshold", {"window_data"}},
      {"det_fg_fraction", "fg_fraction", {"window_data"}},
      {"det_context_pad", "context_pad", {"window_data"}},
      {"det_crop_mode", "crop_mode", {"window_data"}},
      {"hdf5_output_param", "hdf5_output_param", {"hdf5_output"}},
  };
  return fields;
}

const FieldDescriptor& FieldOf(const Message& message, const char* name) {
  const FieldDescriptor* field = message.GetDescriptor()->FindFieldByName(name);
  CHECK(field != nullptr) << "The schema has no field " << name << " in "
                          << message.GetDescriptor()->name();
  return *field;
}

// Copies one value between fields of the same kind; a signed number may become an unsigned one.
// Returns whether the value could be carried over.
bool CopyField(const Message& from, const FieldDescriptor& old_field, Message* to,
               const FieldDescriptor& new_field) {
  const auto& reader = *from.GetReflection();
  const auto& writer = *to->GetReflection();
  switch (old_field.cpp_type()) {
    case FieldDescriptor::CPPTYPE_INT32:
      writer.SetUInt32(to, &new_field, reader.GetInt32(from, &old_field));
      return true;
    case FieldDescriptor::CPPTYPE_UINT32:
      writer.SetUInt32(to, &new_field, reader.GetUInt32(from, &old_field));
      return true;
    case FieldDescriptor::CPPTYPE_FLOAT:
      writer.SetFloat(to, &new_field, reader.GetFloat(from, &old_field));
      return true;
    case FieldDescriptor::CPPTYPE_BOOL:
      writer.SetBool(to, &new_field, reader.GetBool(from, &old_field));
      return true;
    case FieldDescriptor::CPPTYPE_STRING:
      writer.SetString(to, &new_field, reader.GetString(from, &old_field));
      return true;
    case FieldDescriptor::CPPTYPE_MESSAGE:
      writer.MutableMessage(to, &new_field)->CopyFrom(reader.GetMessage(from, &old_field));
      return true;
    case FieldDescriptor::CPPTYPE_ENUM: {
      const int number = reader.GetEnumValue(from, &old_field);
      if (new_field.enum_type()->FindValueByNumber(number) == nullptr) {
        LOG(ERROR) << "Unknown pool method " << number;
        return false;
      }
      writer.SetEnumValue(to, &new_field, number);
      return true;
    }
    default:
      LOG(FATAL) << "No field of an old layer has the kind of " << old_field.name();
  }
  return false;
}

// Carries one field over, if the old layer has it. A type that has no place for it loses the field
// and leaves a line in the log. Returns whether nothing was lost.
bool UpgradeField(const V0LayerParameter& old, const OldField& field, LayerParameter* layer) {
  const FieldDescriptor& old_field = FieldOf(old, field.old_name);
  if (!old.GetReflection()->HasField(old, &old_field)) {
    return true;
  }
  for (const char* type : field.types) {
    if (old.type() == type) {
      const char* settings = OldTypes().at(type).settings;
      Message* to = layer;
      if (*settings != '\0') {
        to = layer->GetReflection()->MutableMessage(layer, &FieldOf(*layer, settings));
      }
      return CopyField(old, old_field, to, FieldOf(*to, field.new_name));
    }
  }
  LOG(ERROR) << "Unknown parameter " << field.new_name << " for layer type " << old.type();
  return false;
}

}  // namespace

LayerParameter::LayerType UpgradeLayerType(const string& type) {
  const auto found = OldTypes().find(type);
  if (found == OldTypes().end()) {
    LOG(FATAL) << "Unknown layer name: " << type;
  }
  return found->second.type;
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

  bool complete = true;
  for (const OldField& field : OldFields()) {
    complete &= UpgradeField(old, field, layer_param);
  }
  return complete;
}

}  // namespace caffe
