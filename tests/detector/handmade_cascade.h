/// Small cascades whose results can be worked out on paper: one layer a network, in memory or as
/// the files of a model directory.

#ifndef OZNA_TESTS_DETECTOR_HANDMADE_CASCADE_H_
#define OZNA_TESTS_DETECTOR_HANDMADE_CASCADE_H_

#include <gtest/gtest.h>
#include <stdlib.h>

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <opencv2/core.hpp>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "caffe/net.hpp"
#include "detector/detector_impl.h"
#include "detector/face_candidate.h"
#include "ozna.h"
#include "tests/temporary_folder.h"

namespace detector_test {

/// Writes a file and the directories above it.
inline void writeFile(const std::string& path, const std::string& content) {
  std::filesystem::create_directories(std::filesystem::path(path).parent_path());
  std::ofstream(path, std::ios::binary) << content;
}

inline std::string joinNumbers(const std::vector<float>& values) {
  std::ostringstream text;
  text.imbue(std::locale::classic());
  text.precision(9);
  for (const float value : values) {
    text << value << "\n";
  }
  return text.str();
}

/// Adds a layer with a weight and a bias blob to the content of a weight file.
inline void addTrainedLayer(const std::string& name, const std::vector<int>& weight_shape,
                            const std::vector<float>& weights, const std::vector<float>& bias,
                            caffe::NetParameter& trained) {
  caffe::LayerParameter* const layer = trained.add_layers();
  layer->set_name(name);
  caffe::BlobProto* const weight_blob = layer->add_blobs();
  weight_blob->set_num(weight_shape[0]);
  weight_blob->set_channels(weight_shape[1]);
  weight_blob->set_height(weight_shape[2]);
  weight_blob->set_width(weight_shape[3]);
  for (const float weight : weights) {
    weight_blob->add_data(weight);
  }
  caffe::BlobProto* const bias_blob = layer->add_blobs();
  bias_blob->set_num(1);
  bias_blob->set_channels(1);
  bias_blob->set_height(1);
  bias_blob->set_width(static_cast<int>(bias.size()));
  for (const float value : bias) {
    bias_blob->add_data(value);
  }
}

inline std::string inputText(int height, int width) {
  std::ostringstream text;
  text << "input: \"data\" input_dim: 1 input_dim: 3 input_dim: " << height
       << " input_dim: " << width << "\n";
  return text.str();
}

/// A first stage: one convolution to two planes, then softmax.
struct DenseNet {
  int height = 0;  ///< Declared input.
  int width = 0;
  int kernel = 1;
  int stride = 1;
  std::vector<float> weights;  ///< 2 by 3 by kernel by kernel.
  std::vector<float> bias;     ///< 2.

  std::string text() const {
    std::ostringstream text;
    text << inputText(height, width)
         << "layers { name: \"conv\" type: CONVOLUTION bottom: \"data\" top: \"conv\"\n"
         << "  convolution_param { num_output: 2 kernel_size: " << kernel << " stride: " << stride
         << " weight_filler { type: \"constant\" } bias_filler { type: \"constant\" } } }\n"
         << "layers { name: \"probs\" type: SOFTMAX bottom: \"conv\" top: \"probs\" }\n";
    return text.str();
  }

  caffe::NetParameter trained() const {
    caffe::NetParameter trained;
    addTrainedLayer("conv", {2, 3, kernel, kernel}, weights, bias, trained);
    return trained;
  }

  oznalib::CascadeStage stage(float threshold = 0) const {
    oznalib::CascadeStage stage;
    stage.net.reset(new caffe::Net<float>(caffe::FromText(), text()));
    stage.net->CopyTrainedLayersFrom(trained());
    stage.net->FirstRun();
    stage.threshold = threshold;
    return stage;
  }

  void write(const std::string& directory) const {
    writeFile(directory + "/prototxt-full", text());
    writeFile(directory + "/proto-full", trained().SerializeAsString());
  }
};

/// A later stage or a calibration: one inner product, then, if wanted, softmax.
struct FlatNet {
  int height = 0;
  int width = 0;
  std::vector<float> weights;  ///< Outputs by 3 by height by width; empty for all zero.
  std::vector<float> bias;     ///< One an output.
  std::vector<float> mean;     ///< Empty for all zero.
  bool softmax = true;

  int outputs() const { return static_cast<int>(bias.size()); }
  int inputs() const { return 3 * height * width; }

  std::string text() const {
    const std::string top = softmax ? "scores" : "probs";
    std::ostringstream text;
    text << inputText(height, width)
         << "layers { name: \"product\" type: INNER_PRODUCT bottom: \"data\" top: \"" << top
         << "\"\n  inner_product_param { num_output: " << outputs()
         << " weight_filler { type: \"constant\" } bias_filler { type: \"constant\" } } }\n";
    if (softmax) {
      text << "layers { name: \"probs\" type: SOFTMAX bottom: \"scores\" top: \"probs\" }\n";
    }
    return text.str();
  }

  caffe::NetParameter trained() const {
    caffe::NetParameter trained;
    addTrainedLayer("product", {1, 1, outputs(), inputs()},
                    weights.empty() ? std::vector<float>(outputs() * inputs(), 0.0F) : weights,
                    bias, trained);
    return trained;
  }

  std::vector<float> meanValues() const {
    return mean.empty() ? std::vector<float>(inputs(), 0.0F) : mean;
  }

  oznalib::CascadeStage stage(float threshold = 0) const {
    oznalib::CascadeStage stage;
    stage.net.reset(new caffe::Net<float>(caffe::FromText(), text()));
    stage.net->CopyTrainedLayersFrom(trained());
    stage.mean = meanValues();
    stage.threshold = threshold;
    return stage;
  }

  void write(const std::string& directory) const {
    writeFile(directory + "/prototxt-deploy", text());
    writeFile(directory + "/proto", trained().SerializeAsString());
    writeFile(directory + "/mean", joinNumbers(meanValues()));
  }
};

/// A network of a fixed answer: softmax of the bias is these probabilities, which sum to 1.
inline FlatNet constantNet(int side, const std::vector<double>& probabilities) {
  FlatNet net;
  net.height = side;
  net.width = side;
  for (const double probability : probabilities) {
    net.bias.push_back(static_cast<float>(std::log(probability)));
  }
  return net;
}

/// A calibration by this network; an output for each of the offsets.
inline oznalib::CascadeStage calibrationOf(const FlatNet& net,
                                           const std::vector<oznalib::OffsetScale>& offsets) {
  oznalib::CascadeStage stage = net.stage();
  stage.offsets = offsets;
  return stage;
}

inline const char* calibrationDirectory() { return "cascades/x32Net-x32-3Scales-200"; }

inline void writeCalibration(const std::string& root, const FlatNet& net,
                             const std::string& offsets) {
  net.write(root + calibrationDirectory());
  writeFile(root + calibrationDirectory() + "/offsets-scales", offsets);
}

inline cv::Mat noiseImage(int height, int width, unsigned seed) {
  cv::Mat image(height, width, CV_8UC3);
  std::mt19937 engine(seed);
  for (int row = 0; row < height; ++row) {
    for (int byte = 0; byte < 3 * width; ++byte) {
      image.ptr<unsigned char>(row)[byte] = static_cast<unsigned char>(engine() >> 24);
    }
  }
  return image;
}

inline double logistic(double x) { return 1.0 / (1.0 + std::exp(-x)); }

/// Borrows the pixels of a cv::Mat for a call of the public interface.
inline oznalib::Image borrow(const cv::Mat& image) {
  return {image.cols, image.rows, static_cast<std::int32_t>(image.step[0]), image.data};
}

inline std::vector<int> boxOf(const oznalib::FaceCandidate& candidate) {
  return {candidate.x, candidate.y, candidate.width, candidate.height};
}

}  // namespace detector_test

#endif  // OZNA_TESTS_DETECTOR_HANDMADE_CASCADE_H_
