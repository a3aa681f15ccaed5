// Tests of the readers of network definitions and of the upgrade of whole networks.

#include "caffe/util/upgrade_proto.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <fstream>
#include <string>

#include "tests/caffe/test_helpers.h"
#include "tests/temporary_folder.h"

namespace caffe {
namespace {

using caffe_test::CapturedStderr;
using caffe_test::ParseNet;
using testing::HasSubstr;
using testing::Not;

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
