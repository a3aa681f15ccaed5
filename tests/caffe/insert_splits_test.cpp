// Tests of the insertion of split layers.

#include "caffe/util/insert_splits.hpp"

#include <gtest/gtest.h>

#include <locale>
#include <string>

#include "tests/caffe/test_helpers.h"

namespace caffe {
namespace {

using caffe_test::ParseNet;

void ExpectSplit(const std::string& text, const std::string& expected) {
  NetParameter split;
  InsertSplits(ParseNet(text), &split);
  EXPECT_EQ(ParseNet(expected).DebugString(), split.DebugString());
}

TEST(InsertSplits, LeavesBlobsWithOneConsumerAlone) {
  const std::string text =
      "name: 'n' force_backward: true input: 'x' input_dim: 1 "
      "layers { name: 'a' bottom: 'x' top: 'y' } layers { name: 'b' bottom: 'y' top: 'z' }";
  ExpectSplit(text, text);
}

TEST(InsertSplits, PutsASplitRightBehindItsProducer) {
  ExpectSplit(
      "input: 'x' "
      "layers { name: 'a' bottom: 'x' top: 'y' } "
      "layers { name: 'b' bottom: 'y' top: 'b' } "
      "layers { name: 'c' bottom: 'y' top: 'c' }",
      "input: 'x' "
      "layers { name: 'a' bottom: 'x' top: 'y' } "
      "layers { name: 'y_a_0_split' type: SPLIT bottom: 'y' "
      "         top: 'y_a_0_split_0' top: 'y_a_0_split_1' } "
      "layers { name: 'b' bottom: 'y_a_0_split_0' top: 'b' } "
      "layers { name: 'c' bottom: 'y_a_0_split_1' top: 'c' }");
}

TEST(InsertSplits, PutsSplitsOfInputsAheadOfAllLayers) {
  ExpectSplit(
      "input: 'x' input: 'l' "
      "layers { name: 'a' bottom: 'x' bottom: 'l' top: 'a' } "
      "layers { name: 'b' bottom: 'l' top: 'b' }",
      "input: 'x' input: 'l' "
      "layers { name: 'l_input_1_split' type: SPLIT bottom: 'l' "
      "         top: 'l_input_1_split_0' top: 'l_input_1_split_1' } "
      "layers { name: 'a' bottom: 'x' bottom: 'l_input_1_split_0' top: 'a' } "
      "layers { name: 'b' bottom: 'l_input_1_split_1' top: 'b' }");
}

TEST(InsertSplits, NamesTheOutputNumberOfTheProducer) {
  ExpectSplit(
      "layers { name: 'd' top: 'p' top: 'q' } "
      "layers { name: 'a' bottom: 'q' bottom: 'p' bottom: 'q' bottom: 'q' top: 'a' }",
      "layers { name: 'd' top: 'p' top: 'q' } "
      "layers { name: 'q_d_1_split' type: SPLIT bottom: 'q' "
      "         top: 'q_d_1_split_0' top: 'q_d_1_split_1' top: 'q_d_1_split_2' } "
      "layers { name: 'a' bottom: 'q_d_1_split_0' bottom: 'p' "
      "         bottom: 'q_d_1_split_1' bottom: 'q_d_1_split_2' top: 'a' }");
}

TEST(InsertSplits, SplitsSeveralTopsInTheirOrder) {
  ExpectSplit(
      "layers { name: 'd' top: 'p' top: 'q' } "
      "layers { name: 'a' bottom: 'q' bottom: 'p' top: 'a' } "
      "layers { name: 'b' bottom: 'q' bottom: 'p' top: 'b' }",
      "layers { name: 'd' top: 'p' top: 'q' } "
      "layers { name: 'p_d_0_split' type: SPLIT bottom: 'p' "
      "         top: 'p_d_0_split_0' top: 'p_d_0_split_1' } "
      "layers { name: 'q_d_1_split' type: SPLIT bottom: 'q' "
      "         top: 'q_d_1_split_0' top: 'q_d_1_split_1' } "
      "layers { name: 'a' bottom: 'q_d_1_split_0' bottom: 'p_d_0_split_0' top: 'a' } "
      "layers { name: 'b' bottom: 'q_d_1_split_1' bottom: 'p_d_0_split_1' top: 'b' }");
}

TEST(InsertSplits, TakesALayerInPlaceForANewProducer) {
  // y of a has one reader, the rewriting r; y of r has two.
  ExpectSplit(
      "input: 'x' "
      "layers { name: 'a' bottom: 'x' top: 'y' } "
      "layers { name: 'r' bottom: 'y' top: 'y' } "
      "layers { name: 'b' bottom: 'y' top: 'b' } "
      "layers { name: 'c' bottom: 'y' top: 'c' }",
      "input: 'x' "
      "layers { name: 'a' bottom: 'x' top: 'y' } "
      "layers { name: 'r' bottom: 'y' top: 'y' } "
      "layers { name: 'y_r_0_split' type: SPLIT bottom: 'y' "
      "         top: 'y_r_0_split_0' top: 'y_r_0_split_1' } "
      "layers { name: 'b' bottom: 'y_r_0_split_0' top: 'b' } "
      "layers { name: 'c' bottom: 'y_r_0_split_1' top: 'c' }");
}

TEST(InsertSplits, KeepsAllFieldsOfTheLayers) {
  ExpectSplit(
      "layers { name: 'a' type: CONVOLUTION top: 'y' blobs_lr: 2 "
      "         convolution_param { num_output: 3 } blobs { num: 1 } }",
      "layers { name: 'a' type: CONVOLUTION top: 'y' blobs_lr: 2 "
      "         convolution_param { num_output: 3 } blobs { num: 1 } }");
}

TEST(InsertSplits, ReplacesFormerContentsOfTheResult) {
  NetParameter split = ParseNet("name: 'old' layers { name: 'old' }");
  InsertSplits(ParseNet("name: 'new'"), &split);
  EXPECT_EQ("name: \"new\"\n", split.DebugString());
}

struct GroupedDigits : std::numpunct<char> {
  char do_thousands_sep() const override { return '.'; }
  std::string do_grouping() const override { return "\3"; }
};

TEST(InsertSplits, WritesPlainDigitsWhateverTheLocale) {
  NetParameter param;
  for (int i = 0; i < 1001; ++i) {
    param.add_input("in" + std::to_string(i));
  }
  for (int i = 0; i < 2; ++i) {
    param.add_layers()->add_bottom("in1000");
  }
  const std::locale former =
      std::locale::global(std::locale(std::locale::classic(), new GroupedDigits));
  NetParameter split;
  InsertSplits(param, &split);
  std::locale::global(former);
  EXPECT_EQ("in1000_input_1000_split", split.layers(0).name());
}

TEST(InsertSplitsDeathTest, EndsForABottomThatNothingProduces) {
  NetParameter split;
  EXPECT_DEATH(
      InsertSplits(ParseNet("input: 'x' layers { name: 'a' bottom: 'x' bottom: 'no' }"), &split),
      "Unknown blob input no to layer 1");
  // A producer after its reader does not count.
  EXPECT_DEATH(
      InsertSplits(ParseNet("layers { name: 'a' bottom: 'y' } layers { name: 'b' top: 'y' }"),
                   &split),
      "Unknown blob input y to layer 0");
}

}  // namespace
}  // namespace caffe
