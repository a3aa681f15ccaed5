// Models of a few hundred bytes, with which fuzz targets begin.

#include "fuzz/small_models.h"

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <fstream>

#include "caffe/proto/caffe.pb.h"

namespace ozna_fuzz {

namespace {

constexpr int kLaterSide = 4;

void AddBlob(caffe::LayerParameter& layer, const std::array<int, 4>& shape) {
  caffe::BlobProto* blob = layer.add_blobs();
  blob->set_num(shape[0]);
  blob->set_channels(shape[1]);
  blob->set_height(shape[2]);
  blob->set_width(shape[3]);
  const int count = shape[0] * shape[1] * shape[2] * shape[3];
  for (int i = 0; i < count; ++i) {
    blob->add_data(static_cast<float>(i * 7 % 11 - 5) / 64);
  }
}

std::string Trained(const std::string& name, const std::array<int, 4>& weights, int outputs) {
  caffe::NetParameter net;
  caffe::LayerParameter* layer = net.add_layers();
  layer->set_name(name);
  AddBlob(*layer, weights);
  AddBlob(*layer, {1, 1, 1, outputs});
  return net.SerializeAsString();
}

std::string LaterDefinition(int outputs) {
  const std::string side = std::to_string(kLaterSide);
  return "input: 'data' input_dim: 1 input_dim: 3 input_dim: " + side + " input_dim: " + side +
         " layers { name: 'ip' type: INNER_PRODUCT bottom: 'data' top: 'ip' "
         "inner_product_param { num_output: " +
         std::to_string(outputs) +
         " } } layers { name: 'probs' type: SOFTMAX bottom: 'ip' top: 'probs' }";
}

std::string LaterWeights(int outputs) {
  return Trained("ip", {1, 1, outputs, 3 * kLaterSide * kLaterSide}, outputs);
}

std::string LaterMean() {
  std::string text;
  for (int i = 0; i < 3 * kLaterSide * kLaterSide; ++i) {
    text += "99 ";
  }
  return text;
}

template <class T>
void Put(std::string& text, T value) {
  text.append(reinterpret_cast<const char*>(&value), sizeof(value));
}

void PutMatrix(std::string& text, std::int64_t rows, std::int64_t columns, float value) {
  Put(text, rows);
  Put(text, columns);
  for (std::int64_t i = 0; i < rows * columns; ++i) {
    Put(text, value);
  }
}

}  // namespace

const std::array<const char*, kDirectoryFiles> kDirectoryNames = {
    "stages.txt",
    "first/prototxt-full",
    "first/proto-full",
    "later/prototxt-deploy",
    "later/proto",
    "later/mean",
    "cascades/x32Net-x32-3Scales-200/prototxt-deploy",
    "cascades/x32Net-x32-3Scales-200/proto",
    "cascades/x32Net-x32-3Scales-200/mean",
    "cascades/x32Net-x32-3Scales-200/offsets-scales"};

bool IsDefinition(int file) { return file == 1 || file == 3 || file == 6; }

Directory SmallDirectory() {
  return {"# stage, threshold\nfirst 0.4\nlater 0.3\n",
          "input: 'data' input_dim: 1 input_dim: 3 input_dim: 24 input_dim: 24 "
          "layers { name: 'conv' type: CONVOLUTION bottom: 'data' top: 'conv' "
          "convolution_param { num_output: 2 kernel_size: 3 } } "
          "layers { name: 'relu' type: RELU bottom: 'conv' top: 'conv' } "
          "layers { name: 'pool' type: POOLING bottom: 'conv' top: 'pool' "
          "pooling_param { pool: MAX kernel_size: 2 stride: 2 } } "
          "layers { name: 'probs' type: SOFTMAX bottom: 'pool' top: 'probs' }",
          Trained("conv", {2, 3, 3, 3}, 2),
          LaterDefinition(2),
          LaterWeights(2),
          LaterMean(),
          LaterDefinition(3),
          LaterWeights(3),
          LaterMean(),
          "0 0 1\n0.17 0 0.91\n0 -0.17 1.1\n"};
}

std::string PackDirectory(const Directory& directory) {
  std::string packed;
  for (const std::string& file : directory) {
    const std::size_t length = std::min<std::size_t>(file.size(), 65535);
    packed += static_cast<char>(length & 255);
    packed += static_cast<char>(length >> 8);
    packed.append(file, 0, length);
  }
  return packed;
}

Directory UnpackDirectory(const std::uint8_t* data, std::size_t size) {
  Directory directory;
  std::size_t at = 0;
  for (std::string& file : directory) {
    if (size - at < 2) {
      break;
    }
    const std::size_t claimed = data[at] + 256U * data[at + 1];
    at += 2;
    const std::size_t length = std::min(claimed, size - at);
    file.assign(reinterpret_cast<const char*>(data) + at, length);
    at += length;
  }
  return directory;
}

void WriteDirectory(const Directory& directory, const std::string& root) {
  for (int i = 0; i < kDirectoryFiles; ++i) {
    const std::filesystem::path path = root + kDirectoryNames[i];
    std::filesystem::create_directories(path.parent_path());
    std::ofstream(path, std::ios::binary) << directory[i];
  }
}

std::string SmallLandmarkModel(int landmarks, int stages, int face_width) {
  std::string text;
  Put(text, std::int32_t{0});
  Put(text, std::int32_t{stages});
  for (int i = 0; i < stages; ++i) {
    PutMatrix(text, 1, 2, 0.01F);
  }
  Put(text, std::int32_t{2 * landmarks});
  for (int i = 0; i < 2 * landmarks; ++i) {
    Put(text, static_cast<float>(i % 9 + 1) / 10);
  }
  Put(text, std::int32_t{1});
  Put(text, 0.5F);
  Put(text, std::int32_t{stages});
  for (int i = 0; i < stages; ++i) {
    PutMatrix(text, 1, 16, 0.25F);
    PutMatrix(text, 16, 2, 0.125F);
  }
  Put(text, std::int32_t{stages});
  for (int i = 0; i < stages; ++i) {
    Put(text, std::int32_t{1});
  }
  Put(text, std::int32_t{0});
  Put(text, std::int32_t{0});
  Put(text, std::int32_t{3});
  Put(text, std::int32_t{face_width});
  return text;
}

}  // namespace ozna_fuzz
