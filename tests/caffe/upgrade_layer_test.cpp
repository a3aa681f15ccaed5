// Tests of the upgrade of one layer from the old layout.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "caffe/util/upgrade_proto.hpp"
#include "tests/caffe/test_helpers.h"

namespace caffe {
namespace {

using caffe_test::CapturedStderr;
using caffe_test::CountOf;
using caffe_test::ParseLayer;
using testing::HasSubstr;

// One old field, given to every old type: which types take it, and as what.
struct FieldRow {
  const char* old_field;  // Text of the field in the old layer.
  const char* new_name;   // As the log names it.
  // Pairs of old type and expected text of the new layer, less its type.
  std::vector<std::pair<const char*, const char*>> carried;
};

const std::vector<FieldRow>& FieldRows() {
  static const std::vector<FieldRow> rows = {
      {"num_output: 7",
       "num_output",
       {{"conv", "convolution_param { num_output: 7 }"},
        {"innerproduct", "inner_product_param { num_output: 7 }"}}},
      {"biasterm: false",
       "bias_term",
       {{"conv", "convolution_param { bias_term: false }"},
        {"innerproduct", "inner_product_param { bias_term: false }"}}},
      {"weight_filler { type: 'xavier' std: 2 }",
       "weight_filler",
       {{"conv", "convolution_param { weight_filler { type: 'xavier' std: 2 } }"},
        {"innerproduct", "inner_product_param { weight_filler { type: 'xavier' std: 2 } }"}}},
      {"bias_filler { value: 3 }",
       "bias_filler",
       {{"conv", "convolution_param { bias_filler { value: 3 } }"},
        {"innerproduct", "inner_product_param { bias_filler { value: 3 } }"}}},
      {"pad: 2", "pad", {{"conv", "convolution_param { pad: 2 }"}}},
      {"kernelsize: 5",
       "kernel_size",
       {{"conv", "convolution_param { kernel_size: 5 }"},
        {"pool", "pooling_param { kernel_size: 5 }"}}},
      {"group: 4", "group", {{"conv", "convolution_param { group: 4 }"}}},
      {"stride: 3",
       "stride",
       {{"conv", "convolution_param { stride: 3 }"}, {"pool", "pooling_param { stride: 3 }"}}},
      {"pool: MAX", "pool", {{"pool", "pooling_param { pool: MAX }"}}},
      {"pool: AVE", "pool", {{"pool", "pooling_param { pool: AVE }"}}},
      {"pool: STOCHASTIC", "pool", {{"pool", "pooling_param { pool: STOCHASTIC }"}}},
      {"dropout_ratio: 0.25",
       "dropout_ratio",
       {{"dropout", "dropout_param { dropout_ratio: 0.25 }"}}},
      {"local_size: 9", "local_size", {{"lrn", "lrn_param { local_size: 9 }"}}},
      {"alpha: 0.5", "alpha", {{"lrn", "lrn_param { alpha: 0.5 }"}}},
      {"beta: 0.25", "beta", {{"lrn", "lrn_param { beta: 0.25 }"}}},
      {"source: 's'",
       "source",
       {{"data", "data_param { source: 's' }"},
        {"hdf5_data", "hdf5_data_param { source: 's' }"},
        {"images", "image_data_param { source: 's' }"},
        {"window_data", "window_data_param { source: 's' }"},
        {"infogain_loss", "infogain_loss_param { source: 's' }"}}},
      {"scale: 2",
       "scale",
       {{"data", "data_param { scale: 2 }"}, {"images", "image_data_param { scale: 2 }"}}},
      {"meanfile: 'm'",
       "mean_file",
       {{"data", "data_param { mean_file: 'm' }"},
        {"images", "image_data_param { mean_file: 'm' }"},
        {"window_data", "window_data_param { mean_file: 'm' }"}}},
      {"batchsize: 6",
       "batch_size",
       {{"data", "data_param { batch_size: 6 }"},
        {"hdf5_data", "hdf5_data_param { batch_size: 6 }"},
        {"images", "image_data_param { batch_size: 6 }"},
        {"window_data", "window_data_param { batch_size: 6 }"}}},
      {"cropsize: 8",
       "crop_size",
       {{"data", "data_param { crop_size: 8 }"},
        {"images", "image_data_param { crop_size: 8 }"},
        {"window_data", "window_data_param { crop_size: 8 }"}}},
      {"mirror: true",
       "mirror",
       {{"data", "data_param { mirror: true }"},
        {"images", "image_data_param { mirror: true }"},
        {"window_data", "window_data_param { mirror: true }"}}},
      {"rand_skip: 10",
       "rand_skip",
       {{"data", "data_param { rand_skip: 10 }"},
        {"images", "image_data_param { rand_skip: 10 }"}}},
      {"shuffle_images: true", "shuffle", {{"images", "image_data_param { shuffle: true }"}}},
      {"new_height: 11", "new_height", {{"images", "image_data_param { new_height: 11 }"}}},
      {"new_width: 12", "new_width", {{"images", "image_data_param { new_width: 12 }"}}},
      {"concat_dim: 0", "concat_dim", {{"concat", "concat_param { concat_dim: 0 }"}}},
      {"det_fg_threshold: 0.75",
       "fg_threshold",
       {{"window_data", "window_data_param { fg_threshold: 0.75 }"}}},
      {"det_bg_threshold: 0.125",
       "bg_threshold",
       {{"window_data", "window_data_param { bg_threshold: 0.125 }"}}},
      {"det_fg_fraction: 0.5",
       "fg_fraction",
       {{"window_data", "window_data_param { fg_fraction: 0.5 }"}}},
      {"det_context_pad: 13",
       "context_pad",
       {{"window_data", "window_data_param { context_pad: 13 }"}}},
      {"det_crop_mode: 'square'",
       "crop_mode",
       {{"window_data", "window_data_param { crop_mode: 'square' }"}}},
      {"hdf5_output_param { file_name: 'f' }",
       "hdf5_output_param",
       {{"hdf5_output", "hdf5_output_param { file_name: 'f' }"}}},
  };
  return rows;
}

struct TypeRow {
  const char* old_type;
  const char* new_type;
};

const TypeRow kTypeRows[] = {
    {"accuracy", "ACCURACY"},
    {"bnll", "BNLL"},
    {"concat", "CONCAT"},
    {"conv", "CONVOLUTION"},
    {"data", "DATA"},
    {"dropout", "DROPOUT"},
    {"euclidean_loss", "EUCLIDEAN_LOSS"},
    {"flatten", "FLATTEN"},
    {"hdf5_data", "HDF5_DATA"},
    {"hdf5_output", "HDF5_OUTPUT"},
    {"im2col", "IM2COL"},
    {"images", "IMAGE_DATA"},
    {"infogain_loss", "INFOGAIN_LOSS"},
    {"innerproduct", "INNER_PRODUCT"},
    {"lrn", "LRN"},
    {"multinomial_logistic_loss", "MULTINOMIAL_LOGISTIC_LOSS"},
    {"pool", "POOLING"},
    {"relu", "RELU"},
    {"sigmoid", "SIGMOID"},
    {"softmax", "SOFTMAX"},
    {"softmax_loss", "SOFTMAX_LOSS"},
    {"split", "SPLIT"},
    {"tanh", "TANH"},
    {"window_data", "WINDOW_DATA"},
};

TEST(UpgradeLayerType, MapsEveryOldText) {
  for (const TypeRow& row : kTypeRows) {
    EXPECT_EQ(row.new_type, LayerParameter::LayerType_Name(UpgradeLayerType(row.old_type)));
  }
}

TEST(UpgradeLayerTypeDeathTest, EndsForAnyOtherText) {
  for (const char* text : {"padding", "power", "memory_data", "CONV", "conv "}) {
    EXPECT_DEATH(UpgradeLayerType(text), std::string("Unknown layer name: ") + text);
  }
  EXPECT_DEATH(UpgradeLayerType(""), "Unknown layer name: ");
}

TEST(UpgradeLayerParameter, CarriesEachFieldForItsTypesAndDropsItForAllOthers) {
  for (const FieldRow& field : FieldRows()) {
    for (const TypeRow& type : kTypeRows) {
      const std::string old_text =
          std::string("layer { type: '") + type.old_type + "' " + field.old_field + " }";
      SCOPED_TRACE(old_text);
      std::string expected = std::string("type: ") + type.new_type + " ";
      bool carried = false;
      for (const auto& row : field.carried) {
        if (std::string(row.first) == type.old_type) {
          expected += row.second;
          carried = true;
        }
      }
      LayerParameter upgraded;
      bool complete = false;
      const std::string log = CapturedStderr(
          [&] { complete = UpgradeLayerParameter(ParseLayer(old_text), &upgraded); });
      EXPECT_EQ(ParseLayer(expected).DebugString(), upgraded.DebugString());
      EXPECT_EQ(carried, complete);
      if (carried) {
        EXPECT_EQ("", log);
      } else {
        EXPECT_THAT(log, HasSubstr(std::string("Unknown parameter ") + field.new_name +
                                   " for layer type " + type.old_type + "\n"));
        EXPECT_EQ('E', log[0]);
        EXPECT_EQ(1, CountOf("\n", log)) << log;
      }
    }
  }
}

TEST(UpgradeLayerParameter, ReportsFieldsOfALayerWithoutAType) {
  LayerParameter upgraded;
  bool complete = true;
  const std::string log = CapturedStderr([&] {
    complete = UpgradeLayerParameter(ParseLayer("layer { name: 'n' stride: 2 }"), &upgraded);
  });
  EXPECT_FALSE(complete);
  EXPECT_THAT(log, HasSubstr("Unknown parameter stride for layer type \n"));
  EXPECT_FALSE(upgraded.has_type());
  EXPECT_EQ("n", upgraded.name());
}

TEST(UpgradeLayerParameter, ReportsInTheOrderOfTheFields) {
  LayerParameter upgraded;
  const std::string log = CapturedStderr([&] {
    UpgradeLayerParameter(
        ParseLayer("layer { type: 'relu' det_crop_mode: 'x' source: 's' pool: AVE num_output: 1 }"),
        &upgraded);
  });
  const std::size_t output = log.find("parameter num_output ");
  const std::size_t pool = log.find("parameter pool ");
  const std::size_t source = log.find("parameter source ");
  const std::size_t crop = log.find("parameter crop_mode ");
  EXPECT_LT(output, pool);
  EXPECT_LT(pool, source);
  EXPECT_LT(source, crop);
  EXPECT_NE(std::string::npos, crop);
}

TEST(UpgradeLayerParameter, CopiesConnectionsBlobsAndMultipliers) {
  LayerParameter upgraded = ParseLayer("name: 'former' power_param { power: 2 }");
  EXPECT_TRUE(UpgradeLayerParameter(
      ParseLayer("bottom: 'x' bottom: 'y' top: 'z' name: 'dropped' blobs_lr: 9 "
                 "layer { name: 'n' type: 'conv' blobs { num: 2 data: 1 } blobs { num: 3 } "
                 "        blobs_lr: 1 blobs_lr: 2 weight_decay: 0 weight_decay: 4 }"),
      &upgraded));
  EXPECT_EQ(ParseLayer("bottom: 'x' bottom: 'y' top: 'z' name: 'n' type: CONVOLUTION "
                       "blobs { num: 2 data: 1 } blobs { num: 3 } "
                       "blobs_lr: 1 blobs_lr: 2 weight_decay: 0 weight_decay: 4")
                .DebugString(),
            upgraded.DebugString());
}

TEST(UpgradeLayerParameter, KeepsOnlyTheConnectionsOfALayerInTheNewLayout) {
  LayerParameter upgraded;
  EXPECT_TRUE(UpgradeLayerParameter(
      ParseLayer("bottom: 'x' top: 'y' name: 'n' type: RELU blobs_lr: 1"), &upgraded));
  EXPECT_EQ(ParseLayer("bottom: 'x' top: 'y'").DebugString(), upgraded.DebugString());
}

TEST(UpgradeLayerParameter, LosesThePadOfAPool) {
  LayerParameter upgraded;
  bool complete = true;
  const std::string log = CapturedStderr([&] {
    complete =
        UpgradeLayerParameter(ParseLayer("layer { type: 'pool' kernelsize: 3 pad: 1 }"), &upgraded);
  });
  EXPECT_FALSE(complete);
  EXPECT_THAT(log, HasSubstr("Unknown parameter pad for layer type pool"));
  EXPECT_FALSE(upgraded.pooling_param().has_pad());
  EXPECT_EQ(3U, upgraded.pooling_param().kernel_size());
}

}  // namespace
}  // namespace caffe
