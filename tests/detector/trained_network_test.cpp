// Networks whose weights come from a file, without random first values for what the file brings,
// and with what several of them have in common held once.

#include "detector/trained_network.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <fstream>
#include <string>
#include <tuple>

#include "caffe/util/upgrade_proto.hpp"
#include "detector/model_store.h"
#include "tests/temporary_folder.h"

namespace {

using oznalib::DetectorImpl;
using oznalib::DetectorParams;

caffe::NetParameter definition() {
  caffe::NetParameter param;
  caffe::ReadNetParamsFromTextFile1(
      "input: 'data' input_dim: 1 input_dim: 3 input_dim: 2 input_dim: 2 "
      "layers { name: 'first' type: INNER_PRODUCT bottom: 'data' top: 'first' "
      "inner_product_param { num_output: 2 weight_filler { type: 'gaussian' std: 1 } "
      "bias_filler { type: 'constant' value: 3 } } } "
      "layers { name: 'second' type: INNER_PRODUCT bottom: 'first' top: 'probs' "
      "inner_product_param { num_output: 2 weight_filler { type: 'xavier' } } }",
      &param);
  return param;
}

// A file with weights of 7 for the named layer: rows by columns, and a bias of 9 per row.
std::string weightFile(const std::string& layer, int rows, int columns) {
  caffe::NetParameter param;
  caffe::LayerParameter& trained = *param.add_layers();
  trained.set_name(layer);
  trained.set_type(caffe::LayerParameter::INNER_PRODUCT);
  for (const auto& [height, width, value] : {std::tuple(rows, columns, 7.0F), {1, rows, 9.0F}}) {
    caffe::BlobProto& blob = *trained.add_blobs();
    blob.set_num(1);
    blob.set_channels(1);
    blob.set_height(height);
    blob.set_width(width);
    for (int i = 0; i < height * width; ++i) blob.add_data(value);
  }
  static const ozna_test::TemporaryFolder folder;
  std::string path = folder.file(layer);
  std::ofstream file(path, std::ios::binary);
  param.SerializeToOstream(&file);
  return path;
}

TEST(TrainedNetwork, HasTheWeightsOfTheFileAndTheFillersOfWhatItLacks) {
  const auto net = oznalib::buildUnfilled(definition());
  const float* const unfilled = net->layers()[1]->blobs()[0]->cpu_data();
  EXPECT_EQ(4, std::count(unfilled, unfilled + 4, 0.0F));
  EXPECT_EQ(3.0F, net->layers()[0]->blobs()[1]->cpu_data()[0]);

  oznalib::copyTrained(definition(), weightFile("first", 2, 12), *net);
  const float* const trained = net->layers()[0]->blobs()[0]->cpu_data();
  EXPECT_EQ(24, std::count(trained, trained + 24, 7.0F));
  EXPECT_EQ(9.0F, net->layers()[0]->blobs()[1]->cpu_data()[1]);
  const float* const filled = net->layers()[1]->blobs()[0]->cpu_data();
  EXPECT_EQ(0, std::count(filled, filled + 4, 0.0F));
}

TEST(TrainedNetwork, OfTwoDetectorsHoldsItsWeightsOnce) {
  const DetectorParams params(OZNA_SOURCE_DIR "/public/", "stages.txt");
  DetectorImpl first;
  DetectorImpl second;
  ASSERT_EQ(oznalib::StatusOk, loadFromFiles(params, first));
  ASSERT_EQ(oznalib::StatusOk, loadFromFiles(params, second));
  ASSERT_EQ(first.stages.size(), second.stages.size());
  for (std::size_t i = 0; i < first.stages.size(); ++i) {
    const auto& blobs = first.stages[i].net->params();
    const auto& others = second.stages[i].net->params();
    ASSERT_EQ(blobs.size(), others.size());
    for (std::size_t k = 0; k < blobs.size(); ++k) {
      EXPECT_EQ(blobs[k]->cpu_data(), others[k]->cpu_data());
    }
  }
  ASSERT_NE(nullptr, first.stages[0].net->first_run_response());
  EXPECT_EQ(first.stages[0].net->first_run_response(), second.stages[0].net->first_run_response());
}

}  // namespace
