// Parsing of definitions and weights, and layers of the old layout.

#include "kit/models/network_messages.h"

#include <google/protobuf/io/coded_stream.h>
#include <google/protobuf/io/tokenizer.h>
#include <google/protobuf/io/zero_copy_stream_impl_lite.h>
#include <google/protobuf/text_format.h>

#include <cstdint>

#include "caffe/util/upgrade_proto.hpp"
#include "kit/error.h"

namespace kit {
namespace {

using caffe::LayerParameter;
using caffe::NetParameter;
using caffe::V0LayerParameter;

// Keeps the first error of a text.
class FirstError : public google::protobuf::io::ErrorCollector {
 public:
  void AddError(int line, google::protobuf::io::ColumnNumber column,
                const std::string& message) override {
    if (!sentence_.empty()) return;
    sentence_ = "line " + std::to_string(line + 1) + ", column " + std::to_string(column + 1) +
                ": expected the text of a network definition, found: " + message;
  }
  void AddWarning(int, google::protobuf::io::ColumnNumber, const std::string&) override {}

  const std::string& sentence() const { return sentence_; }

 private:
  std::string sentence_;
};

void upgradeConvolution(const V0LayerParameter& old, caffe::ConvolutionParameter& param) {
  if (old.has_num_output()) param.set_num_output(old.num_output());
  if (old.has_kernelsize()) param.set_kernel_size(old.kernelsize());
  param.set_bias_term(old.biasterm());
  param.set_pad(old.pad());
  param.set_group(old.group());
  param.set_stride(old.stride());
}

void upgradePooling(const V0LayerParameter& old, caffe::PoolingParameter& param) {
  if (old.has_kernelsize()) param.set_kernel_size(old.kernelsize());
  param.set_stride(old.stride());
  switch (old.pool()) {
    case V0LayerParameter::MAX:
      param.set_pool(caffe::PoolingParameter::MAX);
      break;
    case V0LayerParameter::AVE:
      param.set_pool(caffe::PoolingParameter::AVE);
      break;
    case V0LayerParameter::STOCHASTIC:
      param.set_pool(caffe::PoolingParameter::STOCHASTIC);
      break;
  }
}

// Replaces an old layer by a present one. Of a kind that is not known here the type stays away,
// which the check of the network refuses.
void upgradeLayer(LayerParameter& layer) {
  LayerParameter upgraded;
  upgraded.mutable_bottom()->Swap(layer.mutable_bottom());
  upgraded.mutable_top()->Swap(layer.mutable_top());
  V0LayerParameter& old = *layer.mutable_layer();
  upgraded.set_name(old.name());
  upgraded.mutable_blobs()->Swap(old.mutable_blobs());
  const std::string& type = old.type();
  if (type == "conv") {
    upgraded.set_type(LayerParameter::CONVOLUTION);
    upgradeConvolution(old, *upgraded.mutable_convolution_param());
  } else if (type == "pool") {
    upgraded.set_type(LayerParameter::POOLING);
    upgradePooling(old, *upgraded.mutable_pooling_param());
  } else if (type == "innerproduct") {
    upgraded.set_type(LayerParameter::INNER_PRODUCT);
    if (old.has_num_output()) {
      upgraded.mutable_inner_product_param()->set_num_output(old.num_output());
    }
    upgraded.mutable_inner_product_param()->set_bias_term(old.biasterm());
  } else if (type == "lrn") {
    upgraded.set_type(LayerParameter::LRN);
    upgraded.mutable_lrn_param()->set_local_size(old.local_size());
    upgraded.mutable_lrn_param()->set_alpha(old.alpha());
    upgraded.mutable_lrn_param()->set_beta(old.beta());
  } else if (type == "concat") {
    upgraded.set_type(LayerParameter::CONCAT);
    upgraded.mutable_concat_param()->set_concat_dim(old.concat_dim());
  } else if (type == "dropout") {
    upgraded.set_type(LayerParameter::DROPOUT);
    upgraded.mutable_dropout_param()->set_dropout_ratio(old.dropout_ratio());
  } else if (type == "relu") {
    upgraded.set_type(LayerParameter::RELU);
  } else if (type == "sigmoid") {
    upgraded.set_type(LayerParameter::SIGMOID);
  } else if (type == "tanh") {
    upgraded.set_type(LayerParameter::TANH);
  } else if (type == "bnll") {
    upgraded.set_type(LayerParameter::BNLL);
  } else if (type == "softmax") {
    upgraded.set_type(LayerParameter::SOFTMAX);
  } else if (type == "flatten") {
    upgraded.set_type(LayerParameter::FLATTEN);
  }
  layer.Swap(&upgraded);
}

// As the network runtime does it, a message with one old layer is old as a whole.
void upgradeIfOld(NetParameter& param) {
  if (!caffe::NetNeedsUpgrade(param)) return;
  for (LayerParameter& layer : *param.mutable_layers()) upgradeLayer(layer);
}

}  // namespace

void parseDefinition(const std::string& label, std::string_view text, NetParameter& definition) {
  FirstError errors;
  google::protobuf::TextFormat::Parser parser;
  parser.RecordErrorsTo(&errors);
  google::protobuf::io::ArrayInputStream stream(text.data(), static_cast<int>(text.size()));
  if (!parser.Parse(&stream, &definition)) {
    throw Error(OZNAKIT_BAD_MODEL, label + ": " + errors.sentence());
  }
  upgradeIfOld(definition);
}

void parseWeights(const std::string& label, std::string_view bytes, NetParameter& weights) {
  google::protobuf::io::CodedInputStream input(reinterpret_cast<const std::uint8_t*>(bytes.data()),
                                               static_cast<int>(bytes.size()));
  if (!weights.ParseFromCodedStream(&input) || !input.ConsumedEntireMessage()) {
    throw Error(OZNAKIT_BAD_MODEL, label + ": expected the " + std::to_string(bytes.size()) +
                                       " bytes of a whole weight file, found a message that is "
                                       "damaged or cut short.");
  }
  upgradeIfOld(weights);
}

}  // namespace kit
