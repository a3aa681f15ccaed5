// Writes the first inputs of the fuzz targets: make_corpus FOLDER, which then holds a folder
// per target. The definitions of the default cascade join text_reader/ and net/ in run_fuzzers.sh;
// photographs and sidecars are in corpus/.

#include <google/protobuf/text_format.h>

#include <filesystem>
#include <fstream>
#include <iostream>
#include <string>
#include <vector>

#include "caffe/proto/caffe.pb.h"
#include "fuzz/small_models.h"

namespace {

using caffe::LayerParameter;
using caffe::NetParameter;

const std::string kInput = "input: 'data' input_dim: 1 input_dim: 2 input_dim: 6 input_dim: 6 ";
const std::string kScores = "input: 'data' input_dim: 1 input_dim: 3 input_dim: 1 input_dim: 1 ";
const std::string kLabel = "input: 'label' input_dim: 1 input_dim: 1 input_dim: 1 input_dim: 1 ";

std::string OneLayer(const std::string& type, const std::string& fields = "") {
  return kInput + "layers { name: 'a' type: " + type + " bottom: 'data' top: 'a' " + fields + " }";
}

std::string InPlace(const std::string& type, const std::string& fields = "") {
  return kInput + "layers { name: 'a' type: " + type + " bottom: 'data' top: 'data' " + fields +
         " }";
}

std::string TwoInputs(const std::string& type, const std::string& fields = "") {
  return kInput + "input: 'b' input_dim: 1 input_dim: 2 input_dim: 6 input_dim: 6 " +
         "layers { name: 'a' type: " + type + " bottom: 'data' bottom: 'b' " + fields + " }";
}

std::string OnScores(const std::string& type, const std::string& fields = "") {
  return kScores + kLabel + "layers { name: 'a' type: " + type +
         " bottom: 'data' bottom: 'label' " + fields + " }";
}

// Each layer type in a network that runs.
std::vector<std::string> PresentDefinitions() {
  const std::string conv =
      "convolution_param { num_output: 4 kernel_size: 3 pad: 1 stride: 2 group: 2 "
      "weight_filler { type: 'xavier' } bias_filler { type: 'constant' value: 0.5 } }";
  return {
      OneLayer("CONVOLUTION", conv),
      OneLayer("POOLING", "pooling_param { pool: MAX kernel_size: 3 stride: 2 }"),
      OneLayer("POOLING", "pooling_param { pool: AVE kernel_size: 3 stride: 2 pad: 1 }"),
      OneLayer("POOLING", "pooling_param { pool: STOCHASTIC kernel_size: 2 stride: 2 }"),
      OneLayer("INNER_PRODUCT",
               "inner_product_param { num_output: 3 weight_filler { type: 'gaussian' std: 0.1 "
               "sparse: 2 } bias_filler { type: 'uniform' min: -1 max: 1 } }"),
      OneLayer("IM2COL", "convolution_param { kernel_size: 3 pad: 1 stride: 1 }"),
      OneLayer("LRN", "lrn_param { local_size: 3 alpha: 0.001 beta: 0.75 }"),
      OneLayer("LRN", "lrn_param { local_size: 3 norm_region: WITHIN_CHANNEL }"),
      OneLayer("SOFTMAX"),
      OneLayer("FLATTEN"),
      OneLayer("BNLL"),
      OneLayer("SIGMOID"),
      OneLayer("TANH"),
      OneLayer("DROPOUT", "dropout_param { dropout_ratio: 0.3 }"),
      OneLayer("POWER", "power_param { power: 2 scale: 0.5 shift: 1 }"),
      InPlace("RELU"),
      InPlace("DROPOUT"),
      kInput + "layers { name: 'a' type: SPLIT bottom: 'data' top: 'a' top: 'b' }",
      TwoInputs("CONCAT", "top: 'c' concat_param { concat_dim: 1 }"),
      TwoInputs("CONCAT", "top: 'c' concat_param { concat_dim: 0 }"),
      TwoInputs("ELTWISE_PRODUCT", "top: 'c'"),
      TwoInputs("EUCLIDEAN_LOSS"),
      TwoInputs("SIGMOID_CROSS_ENTROPY_LOSS"),
      OnScores("HINGE_LOSS"),
      OnScores("MULTINOMIAL_LOGISTIC_LOSS"),
      OnScores("INFOGAIN_LOSS", "infogain_loss_param { source: 'matrix' }"),
      OnScores("SOFTMAX_LOSS"),
      OnScores("ACCURACY", "top: 'c'"),
      "layers { name: 'a' type: IMAGE_DATA top: 'data' top: 'label' image_data_param { "
      "batch_size: 2 new_height: 4 crop_size: 2 mirror: true mean_file: 'mean' shuffle: true } }",
      "layers { name: 'a' type: MEMORY_DATA top: 'data' top: 'label' memory_data_param { "
      "batch_size: 2 channels: 1 height: 2 width: 2 } }",
      // A blob with two consumers, and carried values.
      kInput +
          "layers { name: 'a' type: SIGMOID bottom: 'data' top: 'a' } "
          "layers { name: 'b' type: TANH bottom: 'a' top: 'b' } "
          "layers { name: 'c' type: ELTWISE_PRODUCT bottom: 'a' bottom: 'b' top: 'c' } "
          "force_backward: true",
      kScores +
          "layers { name: 'ip' type: INNER_PRODUCT bottom: 'data' top: 'ip' blobs_lr: 1 "
          "blobs_lr: 2 weight_decay: 1 weight_decay: 0 inner_product_param { num_output: 1 } "
          "blobs { num: 1 channels: 1 height: 1 width: 3 data: 1 data: 2 data: 3 } "
          "blobs { num: 1 channels: 1 height: 1 width: 1 data: 4 diff: 5 } }",
      // A small fully convolutional network, as the first stage has one.
      "input: 'data' input_dim: 1 input_dim: 3 input_dim: 24 input_dim: 24 "
      "layers { name: 'conv' type: CONVOLUTION bottom: 'data' top: 'conv' convolution_param { "
      "num_output: 4 kernel_size: 3 weight_filler { type: 'xavier' } } } "
      "layers { name: 'relu' type: RELU bottom: 'conv' top: 'conv' } "
      "layers { name: 'pool' type: POOLING bottom: 'conv' top: 'pool' pooling_param { "
      "kernel_size: 3 stride: 2 } } "
      "layers { name: 'lrn' type: LRN bottom: 'pool' top: 'lrn' } "
      "layers { name: 'b' type: CONVOLUTION bottom: 'lrn' top: 'b' convolution_param { "
      "num_output: 2 kernel_size: 3 weight_filler { type: 'positive_unitball' } } } "
      "layers { name: 'c' type: SOFTMAX bottom: 'b' top: 'probs' }",
  };
}

std::string OldLayer(const std::string& bottom, const std::string& top, const std::string& fields) {
  return "layers { " + (bottom.empty() ? "" : "bottom: '" + bottom + "' ") + "top: '" + top +
         "' layer { " + fields + " } } ";
}

// The old layout, with all its fields.
std::vector<std::string> OldDefinitions() {
  const std::string data_fields =
      "source: 's' meanfile: 'm' batchsize: 2 cropsize: 2 mirror: true scale: 0.5 ";
  return {
      kInput + OldLayer("data", "pad", "name: 'pad' type: 'padding' pad: 2") +
          OldLayer("pad", "conv",
                   "name: 'conv' type: 'conv' num_output: 2 kernelsize: 3 stride: 1 group: 1 "
                   "biasterm: true weight_filler { type: 'xavier' } bias_filler { } "
                   "blobs_lr: 1 blobs_lr: 2 weight_decay: 1 weight_decay: 0") +
          OldLayer("conv", "pool", "name: 'pool' type: 'pool' pool: AVE kernelsize: 2 stride: 2") +
          OldLayer("pool", "lrn", "name: 'lrn' type: 'lrn' local_size: 3 alpha: 1 beta: 0.75") +
          OldLayer("lrn", "lrn", "name: 'relu' type: 'relu'") +
          OldLayer("lrn", "lrn", "name: 'drop' type: 'dropout' dropout_ratio: 0.2") +
          OldLayer("lrn", "ip",
                   "name: 'ip' type: 'innerproduct' num_output: 2 biasterm: false "
                   "weight_filler { type: 'gaussian' }") +
          OldLayer("ip", "probs", "name: 'probs' type: 'softmax'"),
      OldLayer("", "a", "name: 'a' type: 'data' rand_skip: 1 " + data_fields),
      OldLayer("", "a",
               "name: 'a' type: 'images' rand_skip: 1 shuffle_images: true new_height: 4 "
               "new_width: 4 " +
                   data_fields),
      OldLayer("", "a",
               "name: 'a' type: 'window_data' det_fg_threshold: 0.5 det_bg_threshold: 0.5 "
               "det_fg_fraction: 0.25 det_context_pad: 1 det_crop_mode: 'warp' " +
                   data_fields),
      OldLayer("", "a", "name: 'a' type: 'hdf5_data' source: 's' batchsize: 2"),
      kInput + OldLayer("data", "a", "name: 'a' type: 'concat' concat_dim: 1"),
      kInput + OldLayer("data", "a", "name: 'a' type: 'infogain_loss' source: 's'"),
      kInput + OldLayer("data", "a",
                        "name: 'a' type: 'hdf5_output' hdf5_output_param { file_name: 'f' }"),
      kInput + OldLayer("data", "a", "name: 'a' type: 'tanh' pad: 1 det_crop_mode: 'warp'"),
  };
}

void AddBlob(LayerParameter& layer, int num, int channels, int height, int width) {
  caffe::BlobProto* blob = layer.add_blobs();
  blob->set_num(num);
  blob->set_channels(channels);
  blob->set_height(height);
  blob->set_width(width);
  for (int i = 0; i < num * channels * height * width; ++i) {
    blob->add_data(static_cast<float>(i) / 8);
  }
}

// Trained values for the network of binary_reader_fuzzer.cpp.
NetParameter TrainedNetwork() {
  NetParameter net;
  LayerParameter* conv = net.add_layers();
  conv->set_name("conv");
  conv->set_type(LayerParameter::CONVOLUTION);
  AddBlob(*conv, 2, 2, 3, 3);
  AddBlob(*conv, 1, 1, 1, 2);
  LayerParameter* inner_product = net.add_layers();
  inner_product->set_name("ip");
  inner_product->set_type(LayerParameter::INNER_PRODUCT);
  AddBlob(*inner_product, 1, 1, 2, 18);
  AddBlob(*inner_product, 1, 1, 1, 2);
  return net;
}

// Records as a treatment byte and a Datum, see record_fuzzer.cpp.
std::vector<std::string> Records() {
  std::vector<std::string> records;
  for (const char treatment : {0, 1, 2, 3, 6, 11, 15}) {
    caffe::Datum datum;
    datum.set_channels(2);
    datum.set_height(3);
    datum.set_width(4);
    datum.set_label(5);
    datum.set_data(std::string(24, 'x'));
    records.push_back(treatment + datum.SerializeAsString());
    datum.clear_data();
    for (int i = 0; i < 24; ++i) {
      datum.add_float_data(i);
    }
    records.push_back(treatment + datum.SerializeAsString());
  }
  return records;
}

// What --resume reads.
std::vector<std::string> PreviousOutputs() {
  return {
      "{\"schema\":1,\"path\":\"a.jpg\",\"faces\":[]}\n{\"schema\":1,\"path\":\"b\\u00e9.jpg\"}\n{"
      "\"pa",
      "path,width,height,orientation,faces,face,left,top,right,bottom,score,error\r\n"
      "a.jpg,4,4,1,2,1,0,0,1,1,0.9,\r\na.jpg,4,4,1,2,2,0,0,1,1,0.9,\r\n"
      "\"b,\"\"c\"\".jpg\",4,4,1,0,,,,,,,\r\nd.jpg,4,4,1,2,1,0,0,1,1,0.9,\r\n"};
}

// Calls of the pixel interface: see pixels_fuzzer.cpp.
std::vector<std::string> Calls() {
  std::string detect = {1, 20, 20, 5};
  const auto put = [](std::string& call, auto value) {
    call.append(reinterpret_cast<const char*>(&value), sizeof(value));
  };
  put(detect, 1.0F);
  put(detect, std::int32_t{20});
  put(detect, 0.3F);
  put(detect, std::int8_t{2});
  put(detect, 1.3F);
  put(detect, std::int32_t{6});
  std::string align = {0, 40, 30};
  put(align, std::int32_t{0});
  put(align, std::uint8_t{1});
  for (const std::int16_t edge : {20, 16, 100, 96}) {
    put(align, edge);
  }
  put(align, std::uint8_t{1});
  return {detect + "pixels", align + "pixels", align};
}

void Write(const std::string& folder, const std::vector<std::string>& inputs,
           const std::string& stem) {
  std::filesystem::create_directories(folder);
  for (std::size_t i = 0; i < inputs.size(); ++i) {
    std::ofstream(folder + "/" + stem + std::to_string(i), std::ios::binary) << inputs[i];
  }
}

std::string BinaryOf(const std::string& text) {
  NetParameter net;
  if (!google::protobuf::TextFormat::ParseFromString(text, &net)) {
    std::cerr << "make_corpus: a seed does not parse: " << text << "\n";
    std::exit(1);
  }
  return net.SerializeAsString();
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::cerr << "usage: make_corpus FOLDER\n";
    return 2;
  }
  const std::string folder = argv[1];
  std::vector<std::string> texts = PresentDefinitions();
  const std::vector<std::string> old_texts = OldDefinitions();
  texts.insert(texts.end(), old_texts.begin(), old_texts.end());
  std::vector<std::string> binaries = {TrainedNetwork().SerializeAsString()};
  for (const std::string& text : texts) {
    binaries.push_back(BinaryOf(text));
  }
  Write(folder + "/text_reader", texts, "definition");
  Write(folder + "/net", texts, "definition");
  Write(folder + "/binary_reader", binaries, "network");
  Write(folder + "/record", Records(), "record");
  Write(folder + "/landmark",
        {ozna_fuzz::SmallLandmarkModel(2, 1, 12), ozna_fuzz::SmallLandmarkModel(1, 2, 9)}, "model");
  Write(folder + "/directory", {ozna_fuzz::PackDirectory(ozna_fuzz::SmallDirectory())}, "models");
  ozna_fuzz::Directory whole = ozna_fuzz::SmallDirectory();
  whole[ozna_fuzz::kDirectoryFiles - 1] = "0 0 1\n1 0 0.91\n0 -1 1.1\n";  // Whole shifts.
  Write(folder + "/model_set", {ozna_fuzz::PackDirectory(whole)}, "models");
  Write(folder + "/pixels", Calls(), "call");
  Write(folder + "/resume", PreviousOutputs(), "output");
  return 0;
}
