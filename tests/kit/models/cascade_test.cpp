// Cascades that are refused, each with a sentence that says what was expected and found.

#include "kit/models/cascade.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstddef>
#include <limits>
#include <opencv2/core/mat.hpp>
#include <string>

#include "caffe/proto/caffe.pb.h"
#include "detector/stage_scoring.h"
#include "kit/error.h"
#include "tests/kit/models/refusal.h"
#include "tests/kit/small_cascade.h"

namespace kit {
namespace {

using kit_test::expectWords;
using Files = std::map<std::string, std::string>;

// The sentence of a refusal, or "taken".
std::string refusalOf(const Files& files, oznakit_status expected = OZNAKIT_BAD_MODEL) {
  const auto option = kit_test::asOption(files);
  try {
    const Cascade cascade(*memorySource(option.data(), option.size()));
    return "taken";
  } catch (const Error& error) {
    EXPECT_EQ(error.status(), expected) << error.what();
    return error.what();
  }
}

// A small cascade with a part of one file replaced.
std::string refusalWith(const std::string& name, const std::string& from, const std::string& to) {
  Files files = kit_test::smallCascade();
  std::string& text = files.at(name);
  const std::size_t at = text.find(from);
  EXPECT_NE(at, std::string::npos) << from;
  text.replace(at, from.size(), to);
  return refusalOf(files);
}

// A small cascade whose weights of a stage were changed.
template <class Change>
std::string refusalWithWeights(const std::string& name, const Change& change) {
  Files files = kit_test::smallCascade();
  caffe::NetParameter weights;
  EXPECT_TRUE(weights.ParseFromString(files.at(name)));
  change(weights);
  files[name] = weights.SerializeAsString();
  return refusalOf(files);
}

TEST(Cascade, TakesSoundFiles) {
  const Files files = kit_test::smallCascade();
  const auto option = kit_test::asOption(files);
  const Cascade cascade(*memorySource(option.data(), option.size()));
  EXPECT_EQ(cascade.stageCount(), 2);
  EXPECT_EQ(cascade.scanInput().width, 24);
  const auto detector = cascade.makeDetector();
  ASSERT_TRUE(detector->loaded);
  ASSERT_EQ(detector->stages.size(), 2U);
  EXPECT_EQ(detector->stages[1].threshold, 0.3F);
  EXPECT_EQ(detector->stages[1].mean.size(), 48U);
  EXPECT_EQ(detector->calibration.offsets.size(), 3U);
  // The weights are those of the file, and held once by all detectors.
  const auto other = cascade.makeDetector();
  const caffe::Blob<float>& weights = *detector->stages[0].net->params()[0];
  EXPECT_EQ(weights.cpu_data()[1], (7 - 5) / 64.0F);
  EXPECT_EQ(weights.cpu_data(), other->stages[0].net->params()[0]->cpu_data());
}

// A box without area would end the next stage by an exception of the image library.
TEST(Cascade, MakesDetectorsWhoseTableLeavesNoBoxWithoutArea) {
  Files files = kit_test::smallCascade();
  files[kit_test::kTable] = "0 0 10\n0 0 10\n0 0 10\n";
  const auto option = kit_test::asOption(files);
  const Cascade cascade(*memorySource(option.data(), option.size()));
  const auto detector = cascade.makeDetector();
  // 8 / 10 is cut to 0, 40 / 10 is 4.
  oznalib::CandidateList list = {{{5, 5, 8, 8, 0, 0}, {5, 5, 40, 40, 0, 0}}, ""};
  oznalib::calibrateCandidates(detector->calibration, cv::Mat(60, 60, CV_8UC3, cv::Scalar(9, 9, 9)),
                               list);
  EXPECT_EQ(list.candidates[0].width, 8);
  EXPECT_EQ(list.candidates[0].height, 8);
  EXPECT_EQ(list.candidates[1].width, 4);
  EXPECT_EQ(list.candidates[1].height, 4);
}

TEST(Cascade, RefusesEveryMissingFileByItsName) {
  for (const auto& [name, bytes] : kit_test::smallCascade()) {
    Files files = kit_test::smallCascade();
    files.erase(name);
    expectWords(refusalOf(files, OZNAKIT_NO_MODEL), name + ": expected");
  }
}

TEST(Cascade, RefusesEveryFileThatIsCutShortByItsName) {
  for (const auto& [name, bytes] : kit_test::smallCascade()) {
    for (const std::size_t length : {std::size_t{0}, bytes.size() / 2}) {
      Files files = kit_test::smallCascade();
      files[name].resize(length);
      const bool is_list = name == kit_test::kList;  // Half of it is a comment.
      const std::string sentence = refusalOf(files);
      expectWords(sentence, is_list ? "stages.txt: " : name + ": ");
      expectWords(sentence, "expected");
    }
  }
}

TEST(Cascade, NamesLineAndColumnOfWhatIsNoDefinition) {
  expectWords(refusalWith(kit_test::kLater, "num_output", "\nnum_outputs"),
              "later/prototxt-deploy: line 2, column 12: expected");
}

TEST(Cascade, RefusesInputsThatAreNoPicture) {
  expectWords(refusalWith(kit_test::kLater, "input_dim: 1 ", "input_dim: 2 "),
              "expected an input of 1 by 3 planes, found 2 by 3.");
  expectWords(refusalWith(kit_test::kLater, "input_dim: 3 ", "input_dim: 1 "), "found 1 by 1.");
  expectWords(refusalWith(kit_test::kLater, "input_dim: 4 ", "input_dim: 0 "),
              "sides of 1 to 8192");
  expectWords(refusalWith(kit_test::kLater, "input_dim: 4 ", "input_dim: -4 "), "found -4");
  expectWords(refusalWith(kit_test::kLater, "input_dim: 4 ", "input_dim: 2000000000 "),
              "found 2000000000");
  expectWords(refusalWith(kit_test::kFirst, "input_dim: 24 ", "input_dim: 15 "),
              "sides of 16 to 8192");
  expectWords(refusalWith(kit_test::kLater, "input: 'data'", "input: 'data' input: 'more'"),
              "one input of four dimensions");
}

TEST(Cascade, RefusesLayersThatASearchDoesNotRun) {
  for (const char* const kind : {"DATA", "IMAGE_DATA", "MEMORY_DATA", "ACCURACY", "SOFTMAX_LOSS",
                                 "HDF5_DATA", "WINDOW_DATA", "NONE", "SPLIT", "IM2COL"}) {
    expectWords(
        refusalWith(kit_test::kLater, "INNER_PRODUCT", kind),
        "layer \"ip\": expected a kind of layer that a search can run, found " + std::string(kind));
  }
  expectWords(refusalWith(kit_test::kFirst, "CONVOLUTION", "INNER_PRODUCT"),
              "slides over pictures");
}

TEST(Cascade, RefusesParametersOutOfRange) {
  expectWords(refusalWith(kit_test::kLater, "num_output: 2", "num_output: 0"), "num_output of 1");
  expectWords(refusalWith(kit_test::kLater, "num_output: 2", "num_output: 4294967295"),
              "found 4294967295");
  expectWords(refusalWith(kit_test::kFirst, "kernel_size: 3", "kernel_size: 0"),
              "kernel_size of 1");
  expectWords(refusalWith(kit_test::kFirst, "kernel_size: 3", "kernel_size: 25"),
              "within the padded input of 24 by 24, found 25");
  expectWords(refusalWith(kit_test::kFirst, "kernel_size: 3", "kernel_size: 3 stride: 0"),
              "stride of 1");
  expectWords(refusalWith(kit_test::kFirst, "kernel_size: 3", "kernel_size: 3 pad: 2"), "pad of 0");
  expectWords(refusalWith(kit_test::kFirst, "kernel_size: 3", "kernel_size: 3 group: 3"),
              "group of 1 to 1");
  expectWords(refusalWith(kit_test::kFirst, "pool: MAX", "pool: STOCHASTIC"), "MAX or AVE");
  expectWords(refusalWith(kit_test::kFirst, "stride: 2", "stride: 3"), "stride of 1 to 2");
}

TEST(Cascade, RefusesGraphsThatDoNotHoldTogether) {
  expectWords(refusalWith(kit_test::kLater, "bottom: 'data'", "bottom: 'date'"),
              "an input that a layer before makes, found \"date\"");
  expectWords(refusalWith(kit_test::kLater, "top: 'probs'", "top: 'ip'"),
              "an output of another name than the input");
  expectWords(refusalWith(kit_test::kLater, "top: 'probs'", "top: 'data'"),
              "an output that no layer before makes");
  expectWords(refusalWith(kit_test::kLater, "top: 'probs'", "top: 'prob'"), "an output \"probs\"");
  expectWords(refusalWith(kit_test::kLater, "top: 'probs'", ""), "one output, found 0");
  expectWords(refusalWith(kit_test::kLater, "name: 'probs'", "name: 'ip'"), "a name of its own");
  expectWords(refusalWith(kit_test::kFirst, "bottom: 'pool'", "bottom: 'data'"),
              "the output of the layer before");
  // The layer in place would take the values from the one beside it.
  expectWords(refusalWith(kit_test::kLater, "layers { name: 'probs'",
                          "layers { name: 'relu' type: RELU bottom: 'ip' top: 'ip2' } "
                          "layers { name: 'relu2' type: RELU bottom: 'ip' top: 'ip' } "
                          "layers { name: 'probs'"),
              "the only one to read its input");
}

// Weights and bias of the only layer, cut to one output.
std::string cutToOneOutput(const std::string& bytes, bool is_convolution) {
  caffe::NetParameter weights;
  EXPECT_TRUE(weights.ParseFromString(bytes));
  caffe::BlobProto* const blob = weights.mutable_layers(0)->mutable_blobs(0);
  is_convolution ? blob->set_num(1) : blob->set_height(1);
  blob->mutable_data()->Truncate(blob->data_size() / 2);
  weights.mutable_layers(0)->mutable_blobs(1)->set_width(1);
  weights.mutable_layers(0)->mutable_blobs(1)->mutable_data()->Truncate(1);
  return weights.SerializeAsString();
}

TEST(Cascade, RefusesOutputsThatAreNoProbabilities) {
  for (const bool is_first : {true, false}) {
    const char* const definition = is_first ? kit_test::kFirst : kit_test::kLater;
    const char* const weights = is_first ? kit_test::kFirstWeights : kit_test::kLaterWeights;
    Files files = kit_test::smallCascade();
    files[definition].replace(files[definition].find("num_output: 2"), 13, "num_output: 1");
    files[weights] = cutToOneOutput(files[weights], is_first);
    expectWords(refusalOf(files), "expected an input of at least two channels, found 1.");
    files[definition].replace(files[definition].find("SOFTMAX"), 7, "SIGMOID");
    if (is_first) continue;  // Has to work in place.
    expectWords(refusalOf(files), "expected at least two probabilities, found 1.");
  }
}

TEST(Cascade, RefusesWeightsThatDoNotFit) {
  const auto first_blob = [](caffe::NetParameter& weights) {
    return weights.mutable_layers(0)->mutable_blobs(0);
  };
  const std::string name = kit_test::kLaterWeights;
  expectWords(refusalWithWeights(name, [&](auto& weights) { weights.clear_layers(); }),
              "later/proto: layer \"ip\": expected weights, found none.");
  expectWords(
      refusalWithWeights(
          name, [&](auto& weights) { weights.mutable_layers(0)->mutable_blobs()->RemoveLast(); }),
      "expected weights and a bias, found 1 blobs.");
  expectWords(refusalWithWeights(name, [&](auto& weights) { first_blob(weights)->set_width(47); }),
              "weights: expected 1 by 1 by 2 by 48 values, found 1 by 1 by 2 by 47.");
  expectWords(refusalWithWeights(
                  name, [&](auto& weights) { first_blob(weights)->mutable_data()->RemoveLast(); }),
              "weights: expected 96 values, found 95.");
  for (const float odd :
       {std::numeric_limits<float>::quiet_NaN(), -std::numeric_limits<float>::infinity()}) {
    expectWords(
        refusalWithWeights(name, [&](auto& weights) { first_blob(weights)->set_data(9, odd); }),
        "weights: expected finite values, found another one at 9.");
  }
  expectWords(
      refusalWithWeights(name, [&](auto& weights) { *weights.add_layers() = weights.layers(0); }),
      "expected weights of layer \"ip\" once, found them twice.");
}

TEST(Cascade, RefusesTablesWithFewerPatternsThanOutputs) {
  Files files = kit_test::smallCascade();
  files[kit_test::kTable] = "0 0 1\n0 0 1\n";
  expectWords(refusalOf(files), "for each of 3 patterns, found 2.");
}

TEST(Cascade, TakesLayersInTheOldLayout) {
  Files files = kit_test::smallCascade();
  files[kit_test::kLater] =
      "input: 'data' input_dim: 1 input_dim: 3 input_dim: 4 input_dim: 4 "
      "layers { layer { name: 'ip' type: 'innerproduct' num_output: 2 } bottom: 'data' top: 'ip' } "
      "layers { layer { name: 'probs' type: 'softmax' } bottom: 'ip' top: 'probs' }";
  EXPECT_EQ(refusalOf(files), "taken");
  files[kit_test::kLater].replace(files[kit_test::kLater].find("softmax"), 7, "padding");
  expectWords(refusalOf(files), "expected a kind of layer that a search can run");
}

TEST(Cascade, TakesNamesThatTheRuntimeMakesUpItself) {
  // Where a blob has two readers the runtime puts a layer of this name between.
  Files files = kit_test::smallCascade();
  files[kit_test::kLater] =
      "input: 'data' input_dim: 1 input_dim: 3 input_dim: 4 input_dim: 4 "
      "layers { name: 'ip' type: INNER_PRODUCT bottom: 'data' top: 'ip' "
      "inner_product_param { num_output: 2 } } "
      "layers { name: 'ip_ip_0_split' type: ELTWISE_PRODUCT bottom: 'ip' bottom: 'ip' "
      "top: 'ip_ip_0_split_0' } "
      "layers { name: 'probs' type: SOFTMAX bottom: 'ip_ip_0_split_0' top: 'probs' }";
  EXPECT_EQ(refusalOf(files), "taken");
}

TEST(Cascade, TakesTheModelsOfTheTree) {
  const Cascade usual(*directorySource(OZNA_SOURCE_DIR "/public"));
  EXPECT_EQ(usual.stageCount(), 3);
  EXPECT_EQ(usual.scanInput().width, 384);
  const Cascade compact(*directorySource(OZNA_SOURCE_DIR "/public/compact/"));
  EXPECT_EQ(compact.stageCount(), 4);
}

}  // namespace
}  // namespace kit
