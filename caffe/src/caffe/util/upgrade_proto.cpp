// Readers of network definitions, and the upgrade of definitions in the old layout.

#include "caffe/util/upgrade_proto.hpp"

#include <google/protobuf/text_format.h>

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

}  // namespace

bool NetNeedsUpgrade(const NetParameter& param) {
  for (const LayerParameter& layer : param.layers()) {
    if (layer.has_layer()) {
      return true;
    }
  }
  return false;
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
