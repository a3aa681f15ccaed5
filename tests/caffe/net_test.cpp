// Tests of the construction of networks and of trained parameters.

#include "caffe/net.hpp"

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

using caffe_test::DataOf;
using caffe_test::MakeNet;
using caffe_test::ParseNet;
using caffe_test::SetData;
using caffe_test::ShapeOf;

std::string Input(const std::string& name, int num, int channels, int height, int width) {
  std::string text = "input: '" + name + "' ";
  for (const int size : {num, channels, height, width}) {
    text += "input_dim: " + std::to_string(size) + " ";
  }
  return text;
}

std::string Conv(const std::string& name, const std::string& bottom, const std::string& top,
                 const std::string& more = "") {
  return "layers { name: '" + name + "' type: CONVOLUTION bottom: '" + bottom + "' top: '" + top +
         "' convolution_param { num_output: 2 kernel_size: 1 } " + more + "} ";
}

std::string Relu(const std::string& name, const std::string& bottom, const std::string& top) {
  return "layers { name: '" + name + "' type: RELU bottom: '" + bottom + "' top: '" + top + "' } ";
}

std::string Dense(const std::string& name, const std::string& bottom, const std::string& top,
                  int num_output = 3) {
  return "layers { name: '" + name + "' type: INNER_PRODUCT bottom: '" + bottom + "' top: '" + top +
         "' inner_product_param { num_output: " + std::to_string(num_output) + " } } ";
}

TEST(NetInit, HasItsInputsAsOutputsWithoutLayers) {
  const auto net = MakeNet("name: 'n' " + Input("b", 1, 2, 3, 4) + Input("a", 5, 6, 7, 8));
  EXPECT_EQ("n", net->name());
  EXPECT_EQ((std::vector<std::string>{"b", "a"}), net->blob_names());
  ASSERT_EQ(2U, net->input_blobs().size());
  EXPECT_EQ((std::vector<int>{1, 2, 3, 4}), ShapeOf(*net->input_blobs()[0]));
  EXPECT_EQ((std::vector<int>{5, 6, 7, 8}), ShapeOf(*net->input_blobs()[1]));
  EXPECT_EQ((std::vector<int>{0, 1}), net->input_blob_indices());
  // In the order of the names.
  EXPECT_EQ((std::vector<int>{1, 0}), net->output_blob_indices());
  EXPECT_EQ(net->input_blobs()[1], net->output_blobs()[0]);
  EXPECT_EQ(net->input_blobs()[0], net->output_blobs()[1]);
}

TEST(NetInit, TakesADefinitionThatIsParsedAlready) {
  const std::string text =
      "name: 'n' " + Input("in", 1, 1, 2, 2) + Conv("c", "in", "out") + Relu("r", "out", "last");
  Net<float> net(ParseNet(text));
  EXPECT_EQ(MakeNet(text)->blob_names(), net.blob_names());
  EXPECT_EQ((std::vector<std::string>{"c", "r"}), net.layer_names());
  EXPECT_EQ((std::vector<int>{1, 2, 2, 2}), ShapeOf(*net.output_blobs()[0]));
}

TEST(NetInit, BuildsNothingFromAnEmptyText) {
  const auto net = MakeNet("");
  EXPECT_TRUE(net->layers().empty());
  EXPECT_TRUE(net->blobs().empty());
  EXPECT_TRUE(net->output_blobs().empty());
  EXPECT_TRUE(net->ForwardAll().empty());
}

TEST(NetInit, RecordsTheShapeOfEachInputWithoutMemory) {
  const auto net = MakeNet(Input("a", 1, 2, 3, 4) + Input("b", 5, 6, 7, 8));
  ASSERT_EQ(2U, net->input_blobs_u8().size());
  const Blob<unsigned char>& record = *net->input_blobs_u8()[1];
  EXPECT_EQ(5, record.num());
  EXPECT_EQ(6, record.channels());
  EXPECT_EQ(7, record.height());
  EXPECT_EQ(8, record.width());
  EXPECT_EQ(5 * 6 * 7 * 8, record.count());
  EXPECT_EQ(SyncedMemory::UNINITIALIZED, record.data_->head());
}

TEST(NetInit, WiresLayersByTheNamesOfTheirBlobs) {
  const auto net = MakeNet(Input("x", 1, 3, 4, 5) + Conv("c", "x", "y") + Relu("r", "y", "z") +
                           Dense("d", "z", "out"));
  EXPECT_EQ((std::vector<std::string>{"c", "r", "d"}), net->layer_names());
  EXPECT_EQ((std::vector<std::string>{"x", "y", "z", "out"}), net->blob_names());
  EXPECT_EQ((std::vector<std::vector<int>>{{0}, {1}, {2}}), net->bottom_id_vecs());
  EXPECT_EQ((std::vector<std::vector<int>>{{1}, {2}, {3}}), net->top_id_vecs());
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(net->blobs()[i].get(), net->bottom_vecs()[i][0]);
    EXPECT_EQ(net->blobs()[i + 1].get(), net->top_vecs()[i][0]);
  }
  EXPECT_EQ((std::vector<int>{1, 2, 4, 5}), ShapeOf(*net->blob_by_name("y")));
  EXPECT_EQ((std::vector<int>{1, 3, 1, 1}), ShapeOf(*net->blob_by_name("out")));
  EXPECT_EQ((std::vector<int>{3}), net->output_blob_indices());
  EXPECT_EQ((std::map<std::string, int>{{"x", 0}, {"y", 1}, {"z", 2}, {"out", 3}}),
            net->blob_names_index());
  EXPECT_EQ((std::map<std::string, int>{{"c", 0}, {"r", 1}, {"d", 2}}), net->layer_names_index());
}

TEST(NetInit, GivesALayerInPlaceTheSameBlobTwice) {
  const auto net = MakeNet(Input("x", 1, 1, 2, 2) + Conv("c", "x", "y") + Relu("r", "y", "y"));
  EXPECT_EQ((std::vector<std::string>{"x", "y"}), net->blob_names());
  EXPECT_EQ(net->bottom_vecs()[1][0], net->top_vecs()[1][0]);
  EXPECT_EQ((std::vector<std::vector<int>>{{1}, {1}}), net->top_id_vecs());
  ASSERT_EQ(1U, net->output_blobs().size());
  EXPECT_EQ(net->blob_by_name("y").get(), net->output_blobs()[0]);
}

TEST(NetInit, ListsOutputsInTheOrderOfTheirNames) {
  const auto net = MakeNet(Input("x", 1, 1, 1, 1) + Input("w", 1, 1, 1, 1) +
                           Dense("1", "x", "zebra") + Dense("2", "w", "ant"));
  ASSERT_EQ(2U, net->output_blobs().size());
  EXPECT_EQ(net->blob_by_name("ant").get(), net->output_blobs()[0]);
  EXPECT_EQ(net->blob_by_name("zebra").get(), net->output_blobs()[1]);
}

TEST(NetInit, SplitsABlobWithTwoConsumers) {
  const auto net = MakeNet(Input("x", 1, 1, 2, 2) + Conv("c", "x", "y") + Dense("1", "y", "a") +
                           Dense("2", "y", "b"));
  EXPECT_EQ((std::vector<std::string>{"c", "y_c_0_split", "1", "2"}), net->layer_names());
  EXPECT_EQ("y_c_0_split_0", net->blob_names()[net->bottom_id_vecs()[2][0]]);
  EXPECT_EQ("y_c_0_split_1", net->blob_names()[net->bottom_id_vecs()[3][0]]);
  EXPECT_EQ(2U, net->output_blobs().size());
}

TEST(NetInit, SplitsAnInputAheadOfAllLayers) {
  const auto net = MakeNet(Input("x", 1, 1, 2, 2) + Dense("1", "x", "a") + Dense("2", "x", "b"));
  EXPECT_EQ((std::vector<std::string>{"x_input_0_split", "1", "2"}), net->layer_names());
}

TEST(NetInit, FindsTheFirstConvolution) {
  const auto net = MakeNet(Input("x", 1, 2, 3, 4) + Relu("r", "x", "x") + Conv("c", "x", "y") +
                           Conv("d", "y", "z"));
  EXPECT_EQ(1, net->firstConvLayerIndex());
  EXPECT_EQ(std::vector<float>(2 * 3 * 4, 0.0F), net->first_run_offsets());
  EXPECT_TRUE(net->first_run_pending());
}

TEST(NetInit, KnowsOfNoConvolutionWithoutOne) {
  const auto net = MakeNet(Input("x", 1, 2, 3, 4) + Relu("r", "x", "y"));
  EXPECT_EQ(-1, net->firstConvLayerIndex());
  EXPECT_TRUE(net->first_run_offsets().empty());
}

TEST(NetInit, GivesAnEmptyPointerForAnUnknownBlob) {
  const auto net = MakeNet(Input("x", 1, 1, 1, 1));
  EXPECT_EQ(net->blobs()[0], net->blob_by_name("x"));
  std::string log = caffe_test::CapturedStderr([&] { EXPECT_FALSE(net->blob_by_name("probs")); });
  EXPECT_EQ("", log);
}

TEST(NetInit, WritesNothingToTheLog) {
  EXPECT_EQ(
      "", caffe_test::CapturedStderr([] {
        MakeNet(Input("x", 1, 1, 2, 2) + Conv("c", "x", "y") + Relu("r", "y", "y"))->ForwardAll();
      }));
}

TEST(NetInit, CollectsParametersWithMultipliersOfOne) {
  const auto net = MakeNet(Input("x", 1, 3, 1, 1) + Conv("c", "x", "y") + Relu("r", "y", "y") +
                           Dense("d", "y", "z"));
  ASSERT_EQ(4U, net->params().size());
  EXPECT_EQ(net->layers()[0]->blobs()[0], net->params()[0]);
  EXPECT_EQ(net->layers()[0]->blobs()[1], net->params()[1]);
  EXPECT_EQ(net->layers()[2]->blobs()[1], net->params()[3]);
  EXPECT_EQ(std::vector<float>(4, 1.0F), net->params_lr());
  EXPECT_EQ(std::vector<float>(4, 1.0F), net->params_weight_decay());
}

TEST(NetInit, TakesMultipliersFromTheDefinition) {
  const auto net =
      MakeNet(Input("x", 1, 3, 1, 1) +
              Conv("c", "x", "y", "blobs_lr: 2 blobs_lr: 0 weight_decay: 0.5 weight_decay: 0 ") +
              Conv("d", "y", "z", "weight_decay: 3 weight_decay: 4 "));
  EXPECT_EQ((std::vector<float>{2, 0, 1, 1}), net->params_lr());
  EXPECT_EQ((std::vector<float>{0.5F, 0, 3, 4}), net->params_weight_decay());
}

TEST(NetInit, NeedsBackwardFromTheFirstLearningLayerOn) {
  const std::string head = Input("x", 1, 3, 1, 1) + Relu("r", "x", "x");
  const auto learning = MakeNet(head + Conv("c", "x", "y") + Relu("s", "y", "y"));
  EXPECT_EQ((std::vector<bool>{false, true, true}), learning->layer_need_backward());
  EXPECT_EQ((std::vector<bool>{false, true}), learning->blob_need_backward());
  const auto frozen =
      MakeNet(head + Conv("c", "x", "y", "blobs_lr: 0 blobs_lr: 0 ") + Relu("s", "y", "y"));
  EXPECT_EQ((std::vector<bool>{false, false, false}), frozen->layer_need_backward());
  const auto half =
      MakeNet(head + Conv("c", "x", "y", "blobs_lr: 0 blobs_lr: 1 ") + Relu("s", "y", "y"));
  EXPECT_EQ((std::vector<bool>{false, true, true}), half->layer_need_backward());
}

TEST(NetInit, NeedsBackwardEverywhereWhenForced) {
  const auto net = MakeNet("force_backward: true " + Input("x", 1, 3, 1, 1) + Relu("r", "x", "y"));
  EXPECT_EQ((std::vector<bool>{true}), net->layer_need_backward());
  EXPECT_EQ((std::vector<bool>{true, true}), net->blob_need_backward());
}

TEST(NetInit, UpgradesADefinitionInTheOldLayout) {
  std::unique_ptr<Net<float>> net;
  caffe_test::CapturedStderr([&] {
    net = MakeNet(Input("x", 1, 1, 4, 4) +
                  "layers { bottom: 'x' top: 'p' layer { name: 'p' type: 'padding' pad: 1 } } "
                  "layers { bottom: 'p' top: 'y' layer { name: 'c' type: 'conv' num_output: 1 "
                  "kernelsize: 3 } }");
  });
  EXPECT_EQ((std::vector<int>{1, 1, 4, 4}), ShapeOf(*net->blob_by_name("y")));
}

TEST(NetInitDeathTest, EndsForAWrongNumberOfInputSizes) {
  EXPECT_DEATH(MakeNet("input: 'x' input_dim: 1 input_dim: 1 input_dim: 1"),
               "Check failed: param.input_size\\(\\) \\* 4 == param.input_dim_size\\(\\) \\(4 vs. "
               "3\\) Incorrect bottom blob dimension specifications.");
  EXPECT_DEATH(MakeNet("input_dim: 1"), "Incorrect bottom blob dimension specifications.");
}

TEST(NetInitDeathTest, EndsForInputsOfImpossibleSize) {
  EXPECT_DEATH(MakeNet(Input("x", 1, -3, 1, 1)), "Check failed: channels >= 0 ");
  EXPECT_DEATH(MakeNet(Input("x", 1, 3, 2147483647, 2147483647)),
               "Blob too large: 1 x 3 x 2147483647 x 2147483647");
}

TEST(NetInitDeathTest, EndsForBlobsOfUnknownOrDoubleOrigin) {
  EXPECT_DEATH(MakeNet(Input("x", 1, 1, 1, 1) + Relu("r", "no", "y")),
               "Unknown blob input no to layer 0");
  EXPECT_DEATH(MakeNet(Input("x", 1, 1, 1, 1) + Input("w", 1, 1, 1, 1) + Relu("r", "x", "y") +
                       Relu("s", "w", "y")),
               "Duplicate blobs produced by multiple sources.");
  // After a split the top no longer has the name of the bottom, so the layer is not in place.
  EXPECT_DEATH(MakeNet(Input("x", 1, 1, 1, 1) + Relu("r", "x", "y") + Relu("s", "x", "x")),
               "Duplicate blobs produced by multiple sources.");
}

TEST(NetInitDeathTest, EndsForALayerWithoutAClass) {
  EXPECT_DEATH(MakeNet("layers { name: 'h' type: HDF5_DATA top: 'y' }"),
               "Layer h has a type without a class: HDF5_DATA");
  EXPECT_DEATH(MakeNet("layers { name: 'h' type: HDF5_OUTPUT }"),
               "Layer h has a type without a class: HDF5_OUTPUT");
  EXPECT_DEATH(MakeNet("layers { name: 'h' type: WINDOW_DATA top: 'y' }"),
               "Layer h has unknown type 24");
  EXPECT_DEATH(MakeNet("layers { name: 'h' top: 'y' }"), "Layer h has unspecified type.");
}

// The layer before would write the shape that it was built with into the smaller or larger blob.
TEST(NetInitDeathTest, EndsForALayerThatResizesItsBottomInPlace) {
  const std::string input =
      "input: 'data' input_dim: 1 input_dim: 2 input_dim: 6 input_dim: 6 "
      "layers { name: 'first' type: CONVOLUTION bottom: 'data' top: 'a' "
      "convolution_param { num_output: 2 kernel_size: 1 } } ";
  const std::string message = "Layer second works in place but changes the size of its bottom.";
  for (const char* layer : {"type: CONVOLUTION convolution_param { num_output: 32 kernel_size: 5 }",
                            "type: POOLING pooling_param { kernel_size: 3 }",
                            "type: INNER_PRODUCT inner_product_param { num_output: 2 }"}) {
    EXPECT_DEATH(MakeNet(input + "layers { name: 'second' bottom: 'a' top: 'a' " + layer + " }"),
                 message);
  }
}

TEST(NetInit, LetsALayerFoldItsBottomInPlace) {
  const auto net = MakeNet(
      "input: 'data' input_dim: 2 input_dim: 1 input_dim: 2 input_dim: 2 "
      "layers { name: 'first' type: POWER bottom: 'data' top: 'a' power_param { scale: 2 } } "
      "layers { name: 'second' type: FLATTEN bottom: 'a' top: 'a' }");
  SetData(net->input_blobs()[0], {1, 2, 3, 4, 5, 6, 7, 8});
  net->ForwardAll();
  EXPECT_EQ((std::vector<int>{2, 4, 1, 1}), ShapeOf(*net->blob_by_name("a")));
  EXPECT_EQ((std::vector<float>{2, 4, 6, 8, 10, 12, 14, 16}), DataOf(*net->blob_by_name("a")));
}

TEST(NetInitDeathTest, EndsForWrongMultipliers) {
  const std::string head = Input("x", 1, 3, 1, 1);
  EXPECT_DEATH(MakeNet(head + Conv("c", "x", "y", "blobs_lr: 1 ")),
               "Check failed: blobs_lr_size == layers_\\[i\\]->blobs\\(\\).size\\(\\) \\|\\| "
               "blobs_lr_size == 0 Incorrect blobs lr size: should be either 0 or the same as the "
               "number of the layer's parameter blobs.");
  EXPECT_DEATH(MakeNet(head + Conv("c", "x", "y", "weight_decay: 1 ")),
               "Check failed: layers_\\[i\\]->layer_param\\(\\).weight_decay_size\\(\\) == "
               "layer_blobs.size\\(\\) \\(1 vs. 2\\)");
  EXPECT_DEATH(MakeNet(head + Conv("c", "x", "y", "blobs_lr: 1 blobs_lr: -1 ")),
               "Check failed: local_lr >= 0. ");
  EXPECT_DEATH(MakeNet(head + Conv("c", "x", "y", "weight_decay: -1 weight_decay: 1 ")),
               "Check failed: local_decay >= 0. ");
}

TEST(NetInitDeathTest, EndsForTextThatDoesNotParse) {
  EXPECT_DEATH(MakeNet("layers { oops"), "Failed to parse NetParameter file: layers \\{ oops");
}

class NetFiles : public testing::Test {
 protected:
  void Write(const std::string& bytes) {
    std::ofstream(path_, std::ios::binary).write(bytes.data(), bytes.size());
  }
  const ozna_test::TemporaryFolder folder_;
  const std::string path_ = folder_.file("network");
};

const char kDenseNet[] =
    "name: 'n' input: 'x' input_dim: 1 input_dim: 2 input_dim: 1 input_dim: 1 "
    "layers { name: 'd' type: INNER_PRODUCT bottom: 'x' top: 'y' "
    "         inner_product_param { num_output: 2 weight_filler { value: 7 } } }";

// Trained blobs of the layer of kDenseNet.
std::string TrainedDense(const std::string& name, float first) {
  std::string text = "layers { name: '" + name + "' blobs { num: 1 channels: 1 height: 2 width: 2 ";
  for (int i = 0; i < 4; ++i) {
    text += "data: " + std::to_string(first + i) + " ";
  }
  return text + "} blobs { num: 1 channels: 1 height: 1 width: 2 data: 10 data: 20 } } ";
}

TEST_F(NetFiles, AreReadByPath) {
  Write(kDenseNet);
  Net<float> net(path_);
  EXPECT_EQ("n", net.name());
  EXPECT_EQ(1U, net.layers().size());
}

TEST_F(NetFiles, GiveTrainedParametersInBinaryForm) {
  auto net = MakeNet(kDenseNet);
  Write(ParseNet(TrainedDense("d", 1)).SerializeAsString());
  net->CopyTrainedLayersFrom(path_);
  net->input_blobs()[0]->mutable_cpu_data()[0] = 1;
  net->input_blobs()[0]->mutable_cpu_data()[1] = 100;
  // Rows (1 2) and (3 4) of the weights, biases 10 and 20.
  EXPECT_EQ((std::vector<float>{1 + 200 + 10, 3 + 400 + 20}), DataOf(*net->ForwardAll()[0]));
}

TEST_F(NetFiles, EndTheProcessWhenMissingOrMalformed) {
  EXPECT_DEATH(Net<float> net(path_), "File not found: " + path_);
  auto net = MakeNet(kDenseNet);
  EXPECT_DEATH(net->CopyTrainedLayersFrom(path_), "File not found: " + path_);
  const std::string bytes = ParseNet(TrainedDense("d", 1)).SerializeAsString();
  Write(bytes.substr(0, bytes.size() - 1));
  EXPECT_DEATH(net->CopyTrainedLayersFrom(path_), "Failed to parse NetParameter file: " + path_);
}

TEST_F(NetFiles, NeverCrashTheReaderWithAFlippedBit) {
  // Whatever a flipped bit does to a weight file, the process either goes on or ends in a fatal
  // check (SIGABRT). Each child tries the eight bits of one byte, one after the other.
  const std::string bytes = ParseNet(TrainedDense("d", 1)).SerializeAsString();
  for (std::size_t at = 0; at < bytes.size(); ++at) {
    for (int bit = 0; bit < 8; ++bit) {
      std::string flipped = bytes;
      flipped[at] ^= static_cast<char>(1 << bit);
      NetParameter param;
      if (!param.ParseFromString(flipped)) {
        continue;
      }
      EXPECT_EXIT(
          {
            MakeNet(kDenseNet)->CopyTrainedLayersFrom(param);
            _exit(0);
          },
          [](int status) {
            return (WIFEXITED(status) && WEXITSTATUS(status) == 0) ||
                   (WIFSIGNALED(status) && WTERMSIG(status) == SIGABRT);
          },
          "")
          << "byte " << at << " bit " << bit;
    }
  }
}

TEST(CopyTrainedLayersFrom, SkipsLayersWithoutACounterpart) {
  auto net = MakeNet(kDenseNet);
  net->CopyTrainedLayersFrom(ParseNet(TrainedDense("other", 1)));
  EXPECT_EQ(std::vector<float>(4, 7.0F), DataOf(*net->params()[0]));
  net->CopyTrainedLayersFrom(ParseNet(TrainedDense("other", 1) + TrainedDense("d", 5)));
  EXPECT_EQ((std::vector<float>{5, 6, 7, 8}), DataOf(*net->params()[0]));
  EXPECT_EQ((std::vector<float>{10, 20}), DataOf(*net->params()[1]));
}

TEST(CopyTrainedLayersFrom, GivesOnlyTheFirstOfTwoLayersWithOneName) {
  auto net = MakeNet(std::string(kDenseNet) +
                     "layers { name: 'd' type: INNER_PRODUCT bottom: 'y' top: 'z' "
                     "inner_product_param { num_output: 2 weight_filler { value: 9 } } }");
  net->CopyTrainedLayersFrom(ParseNet(TrainedDense("d", 1)));
  EXPECT_EQ((std::vector<float>{1, 2, 3, 4}), DataOf(*net->params()[0]));
  EXPECT_EQ(std::vector<float>(4, 9.0F), DataOf(*net->params()[2]));
  EXPECT_EQ(1, net->layer_names_index().at("d"));
}

TEST(CopyTrainedLayersFrom, LetsTheLastSourceOfANameWin) {
  auto net = MakeNet(kDenseNet);
  net->CopyTrainedLayersFrom(ParseNet(TrainedDense("d", 1) + TrainedDense("d", 50)));
  EXPECT_EQ((std::vector<float>{50, 51, 52, 53}), DataOf(*net->params()[0]));
}

TEST(CopyTrainedLayersFromDeathTest, EndsForAWrongNumberOfBlobs) {
  auto net = MakeNet(kDenseNet);
  EXPECT_DEATH(net->CopyTrainedLayersFrom(ParseNet("layers { name: 'd' }")),
               "Check failed: target_blobs.size\\(\\) == source_layer.blobs_size\\(\\) \\(2 vs. "
               "0\\) Incompatible number of blobs for layer d");
}

TEST(CopyTrainedLayersFromDeathTest, EndsForOtherSizesInTheOrderOfTheAxes) {
  auto net = MakeNet(kDenseNet);
  const auto copy = [&net](int num, int channels, int height, int width) {
    NetParameter trained = ParseNet(TrainedDense("d", 1));
    BlobProto* blob = trained.mutable_layers(0)->mutable_blobs(0);
    blob->set_num(num);
    blob->set_channels(channels);
    blob->set_height(height);
    blob->set_width(width);
    net->CopyTrainedLayersFrom(trained);
  };
  EXPECT_DEATH(
      copy(2, 2, 3, 3),
      "Check failed: target_blobs\\[j\\]->num\\(\\) == source_layer.blobs\\(j\\).num\\(\\) "
      "\\(1 vs. 2\\)");
  EXPECT_DEATH(copy(1, 2, 3, 3),
               "Check failed: target_blobs\\[j\\]->channels\\(\\) == "
               "source_layer.blobs\\(j\\).channels\\(\\) \\(1 vs. 2\\)");
  EXPECT_DEATH(copy(1, 1, 3, 3),
               "Check failed: target_blobs\\[j\\]->height\\(\\) == "
               "source_layer.blobs\\(j\\).height\\(\\) \\(2 vs. 3\\)");
  EXPECT_DEATH(copy(1, 1, 2, 3),
               "Check failed: target_blobs\\[j\\]->width\\(\\) == "
               "source_layer.blobs\\(j\\).width\\(\\) \\(2 vs. 3\\)");
}

TEST(CopyTrainedLayersFromDeathTest, EndsForTooFewValues) {
  auto net = MakeNet(kDenseNet);
  NetParameter trained = ParseNet(TrainedDense("d", 1));
  trained.mutable_layers(0)->mutable_blobs(0)->mutable_data()->RemoveLast();
  EXPECT_DEATH(net->CopyTrainedLayersFrom(trained), "expected 4, found 3");
}

}  // namespace
}  // namespace caffe
