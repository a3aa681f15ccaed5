// Tests of the readers of network definitions and of the upgrade from the old layout.

#include "caffe/util/upgrade_proto.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <string>
#include <vector>

#include "tests/caffe/test_helpers.h"
#include "tests/temporary_folder.h"

namespace caffe {
namespace {

using caffe_test::CapturedStderr;
using caffe_test::CountOf;
using caffe_test::ParseLayer;
using caffe_test::ParseNet;
using testing::HasSubstr;
using testing::Not;

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

TEST(NetNeedsUpgrade, IsDecidedByAnyLayer) {
  EXPECT_FALSE(NetNeedsUpgrade(ParseNet("")));
  EXPECT_FALSE(NetNeedsUpgrade(ParseNet("layers { name: 'a' }")));
  EXPECT_TRUE(NetNeedsUpgrade(ParseNet("layers { name: 'a' } layers { layer { } }")));
}

TEST(UpgradeV0PaddingLayers, MovesThePadIntoTheConvolutionBehind) {
  NetParameter upgraded;
  UpgradeV0PaddingLayers(
      ParseNet("name: 'n' input: 'x' "
               "layers { bottom: 'x' top: 'p' layer { name: 'pad' type: 'padding' pad: 2 } } "
               "layers { bottom: 'p' top: 'c' layer { name: 'c' type: 'conv' kernelsize: 3 } } "
               "layers { bottom: 'c' top: 'c' layer { name: 'r' type: 'relu' } }"),
      &upgraded);
  EXPECT_EQ(ParseNet("name: 'n' input: 'x' "
                     "layers { bottom: 'x' top: 'c' layer { name: 'c' type: 'conv' kernelsize: 3 "
                     "                                      pad: 2 } } "
                     "layers { bottom: 'c' top: 'c' layer { name: 'r' type: 'relu' } }")
                .DebugString(),
            upgraded.DebugString());
}

TEST(UpgradeV0PaddingLayers, GivesOnePaddingToSeveralConvolutions) {
  NetParameter upgraded;
  UpgradeV0PaddingLayers(
      ParseNet("layers { top: 'd' layer { type: 'data' } } "
               "layers { bottom: 'd' top: 'p' layer { type: 'padding' pad: 1 } } "
               "layers { bottom: 'p' top: 'a' layer { type: 'conv' pad: 9 } } "
               "layers { bottom: 'p' top: 'b' layer { type: 'conv' } }"),
      &upgraded);
  EXPECT_EQ(ParseNet("layers { top: 'd' layer { type: 'data' } } "
                     "layers { bottom: 'd' top: 'a' layer { type: 'conv' pad: 1 } } "
                     "layers { bottom: 'd' top: 'b' layer { type: 'conv' pad: 1 } }")
                .DebugString(),
            upgraded.DebugString());
}

TEST(UpgradeV0PaddingLayers, UsesTheLastProducerOfAName) {
  // The relu rewrites the padded blob, so the convolution no longer reads the padding itself.
  NetParameter upgraded;
  EXPECT_DEATH(
      UpgradeV0PaddingLayers(
          ParseNet("input: 'x' layers { bottom: 'x' top: 'p' layer { type: 'padding' pad: 1 } } "
                   "layers { bottom: 'p' top: 'p' layer { type: 'relu' } }"),
          &upgraded),
      "non-convolutional layer type relu");
  UpgradeV0PaddingLayers(
      ParseNet("input: 'x' input: 'p' "
               "layers { bottom: 'x' top: 'p' layer { type: 'padding' pad: 1 } } "
               "layers { top: 'p' layer { type: 'data' } } "
               "layers { bottom: 'p' top: 'c' layer { type: 'conv' } }"),
      &upgraded);
  EXPECT_EQ("p", upgraded.layers(1).bottom(0));
  EXPECT_FALSE(upgraded.layers(1).layer().has_pad());
}

TEST(UpgradeV0PaddingLayersDeathTest, EndsForWrongUses) {
  NetParameter upgraded;
  const std::string padding =
      "input: 'x' layers { bottom: 'x' top: 'p' layer { type: 'padding' pad: 1 } } ";
  EXPECT_DEATH(UpgradeV0PaddingLayers(
                   ParseNet(padding + "layers { bottom: 'p' layer { type: 'pool' } }"), &upgraded),
               "Check failed: layer_param.type\\(\\) == \"conv\" \\(pool vs. conv\\) Padding layer "
               "input to non-convolutional layer type pool");
  EXPECT_DEATH(
      UpgradeV0PaddingLayers(ParseNet(padding + "layers { bottom: 'p' layer { type: 'padding' } }"),
                             &upgraded),
      "non-convolutional layer type padding");
  EXPECT_DEATH(
      UpgradeV0PaddingLayers(
          ParseNet(padding + "layers { bottom: 'p' bottom: 'x' layer { type: 'conv' } }"),
          &upgraded),
      "Check failed: layer_connection.bottom_size\\(\\) == 1 \\(2 vs. 1\\) Conv Layer takes "
      "a single blob as input.");
  EXPECT_DEATH(
      UpgradeV0PaddingLayers(ParseNet("layers { top: 'p' layer { type: 'padding' } } "
                                      "layers { bottom: 'p' layer { type: 'conv' } }"),
                             &upgraded),
      "Check failed: source_layer.bottom_size\\(\\) == 1 \\(0 vs. 1\\) Padding Layer takes "
      "a single blob as input.");
  EXPECT_DEATH(
      UpgradeV0PaddingLayers(
          ParseNet("input: 'x' "
                   "layers { bottom: 'x' top: 'p' top: 'q' layer { type: 'padding' } } "
                   "layers { bottom: 'p' layer { type: 'conv' } }"),
          &upgraded),
      "Check failed: source_layer.top_size\\(\\) == 1 \\(2 vs. 1\\) Padding Layer produces "
      "a single blob as output.");
  EXPECT_DEATH(UpgradeV0PaddingLayers(ParseNet("input: 'x' layers { bottom: 'x' bottom: 'no' "
                                               "layer { type: 'relu' } }"),
                                      &upgraded),
               "Unknown blob input no to layer 1");
}

TEST(UpgradeV0Net, UpgradesEveryLayerOnceOneIsOld) {
  NetParameter upgraded = ParseNet("name: 'former' input: 'former'");
  EXPECT_TRUE(UpgradeV0Net(
      ParseNet("name: 'n' input: 'x' input_dim: 1 input_dim: 2 force_backward: true "
               "layers { bottom: 'x' top: 'p' layer { type: 'padding' pad: 1 } } "
               "layers { bottom: 'p' top: 'c' layer { name: 'c' type: 'conv' num_output: 4 } } "
               "layers { bottom: 'c' top: 'r' name: 'r' type: RELU }"),
      &upgraded));
  EXPECT_EQ(ParseNet("name: 'n' input: 'x' input_dim: 1 input_dim: 2 force_backward: true "
                     "layers { bottom: 'x' top: 'c' name: 'c' type: CONVOLUTION "
                     "         convolution_param { num_output: 4 pad: 1 } } "
                     "layers { bottom: 'c' top: 'r' }")
                .DebugString(),
            upgraded.DebugString());
}

TEST(UpgradeV0Net, CarriesOverTheRestWhenOneLayerFails) {
  NetParameter upgraded;
  bool complete = true;
  CapturedStderr([&] {
    complete = UpgradeV0Net(ParseNet("layers { layer { name: 'a' type: 'relu' group: 2 } } "
                                     "layers { layer { name: 'b' type: 'tanh' } }"),
                            &upgraded);
  });
  EXPECT_FALSE(complete);
  EXPECT_EQ(
      ParseNet("layers { name: 'a' type: RELU } layers { name: 'b' type: TANH }").DebugString(),
      upgraded.DebugString());
  EXPECT_FALSE(upgraded.has_name());
  EXPECT_FALSE(upgraded.has_force_backward());
}

class NetReader : public testing::Test {
 protected:
  void Write(const std::string& bytes) {
    std::ofstream(path_, std::ios::binary).write(bytes.data(), bytes.size());
  }

  const ozna_test::TemporaryFolder folder_;
  const std::string path_ = folder_.file("network");
  NetParameter param_;
};

using NetReaderDeathTest = NetReader;

const char kOldNet[] = "name: 'n' layers { top: 'y' layer { name: 'a' type: 'data' source: 's' } }";
const char kNewNet[] =
    "name: 'n' layers { top: 'y' name: 'a' type: DATA data_param { source: 's' } }";
const char kHopelessNet[] = "layers { layer { name: 'a' type: 'relu' group: 2 } }";

TEST_F(NetReader, ReadsTheNewLayoutSilently) {
  Write(kNewNet);
  EXPECT_EQ("", CapturedStderr([&] { ReadNetParamsFromTextFile(path_, &param_); }));
  EXPECT_EQ(ParseNet(kNewNet).DebugString(), param_.DebugString());
  EXPECT_EQ("", CapturedStderr([&] { ReadNetParamsFromTextFile1(kNewNet, &param_); }));
  EXPECT_EQ(ParseNet(kNewNet).DebugString(), param_.DebugString());
  Write(ParseNet(kNewNet).SerializeAsString());
  EXPECT_EQ("", CapturedStderr([&] { ReadNetParamsFromBinaryFile(path_, &param_); }));
  EXPECT_EQ(ParseNet(kNewNet).DebugString(), param_.DebugString());
}

TEST_F(NetReader, UpgradesTheOldLayoutAndTellsSo) {
  Write(kOldNet);
  const std::string log = CapturedStderr([&] { ReadNetParamsFromTextFile(path_, &param_); });
  EXPECT_EQ(ParseNet(kNewNet).DebugString(), param_.DebugString());
  EXPECT_THAT(log, HasSubstr("Attempting to upgrade input file specified using deprecated "
                             "V0LayerParameter: " +
                             path_ + "\n"));
  EXPECT_THAT(log, Not(HasSubstr("Warning: had one or more problems")));
  EXPECT_THAT(log, HasSubstr("Note that future Caffe releases will not support V0LayerParameter; "
                             "use ./build/tools/upgrade_net_proto_text.bin to upgrade this and any "
                             "other network proto files to the new format.\n"));
}

TEST_F(NetReader, PrintsTheTextItselfWhenThereIsNoFile) {
  const std::string log = CapturedStderr([&] { ReadNetParamsFromTextFile1(kOldNet, &param_); });
  EXPECT_EQ(ParseNet(kNewNet).DebugString(), param_.DebugString());
  EXPECT_THAT(log, HasSubstr(std::string("deprecated V0LayerParameter: ") + kOldNet + "\n"));
  EXPECT_THAT(log, HasSubstr("upgrade_net_proto_text.bin"));
}

TEST_F(NetReader, NamesTheBinaryToolForBinaryFiles) {
  Write(ParseNet(kOldNet).SerializeAsString());
  const std::string log = CapturedStderr([&] { ReadNetParamsFromBinaryFile(path_, &param_); });
  EXPECT_EQ(ParseNet(kNewNet).DebugString(), param_.DebugString());
  EXPECT_THAT(log, HasSubstr("deprecated V0LayerParameter: " + path_ + "\n"));
  EXPECT_THAT(log, HasSubstr("will not support V0NetParameter; use "
                             "./build/tools/upgrade_net_proto_binary.bin to upgrade this and any "
                             "other network proto files to the new format.\n"));
}

TEST_F(NetReader, GoesOnWithWhatCouldBeUpgraded) {
  const std::string log =
      CapturedStderr([&] { ReadNetParamsFromTextFile1(kHopelessNet, &param_); });
  EXPECT_THAT(log, HasSubstr("Warning: had one or more problems upgrading V0NetParameter to "
                             "NetParameter (see above); continuing anyway.\n"));
  EXPECT_EQ(ParseNet("layers { name: 'a' type: RELU }").DebugString(), param_.DebugString());
}

TEST_F(NetReaderDeathTest, EndsForTextThatDoesNotParse) {
  Write("layers {");
  EXPECT_DEATH(ReadNetParamsFromTextFile(path_, &param_),
               "Check failed: ReadProtoFromTextFile\\(param_file, param\\) Failed to parse "
               "NetParameter file: " +
                   path_);
  EXPECT_DEATH(ReadNetParamsFromTextFile1("layers { oops", &param_),
               "Check failed: ReadProtoFromTextFile1\\(param_file, param\\) Failed to parse "
               "NetParameter file: layers \\{ oops");
}

TEST_F(NetReaderDeathTest, EndsForBytesThatDoNotParse) {
  Write("\x0a\x7f");
  EXPECT_DEATH(ReadNetParamsFromBinaryFile(path_, &param_),
               "Check failed: ReadProtoFromBinaryFile\\(param_file.c_str\\(\\), param\\) Failed to "
               "parse NetParameter file: " +
                   path_);
}

TEST_F(NetReaderDeathTest, EndsForFilesThatAreNotThere) {
  EXPECT_DEATH(ReadNetParamsFromTextFile(path_, &param_), "File not found: " + path_);
  EXPECT_DEATH(ReadNetParamsFromBinaryFile(path_, &param_), "File not found: " + path_);
}

}  // namespace
}  // namespace caffe
