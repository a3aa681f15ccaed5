// Definitions and weights as messages.

#include "kit/models/network_messages.h"

#include <gtest/gtest.h>

#include <string>

#include "tests/kit/models/refusal.h"

namespace {

using caffe::LayerParameter;
using caffe::NetParameter;
using kit::parseDefinition;
using kit::parseWeights;
using kit_test::expectWords;
using kit_test::refusalOf;

TEST(ParseDefinition, ReadsATextAndNamesLineAndColumnOfAnError) {
  NetParameter net;
  parseDefinition("it", "name: 'a'\nlayers { name: 'r' type: RELU }", net);
  EXPECT_EQ(net.name(), "a");
  ASSERT_EQ(net.layers_size(), 1);
  EXPECT_EQ(net.layers(0).type(), LayerParameter::RELU);
  expectWords(refusalOf(OZNAKIT_BAD_MODEL,
                        [] {
                          NetParameter bad;
                          parseDefinition("it", "name: 'a'\n  florble: 1", bad);
                        }),
              "it: line 2, column 10: expected the text of a network definition, found: ");
}

TEST(ParseDefinition, BringsLayersOfTheOldLayoutToThePresentOne) {
  NetParameter net;
  parseDefinition("it",
                  "layers { layer { name: 'c' type: 'conv' num_output: 6 kernelsize: 5 pad: 2 "
                  "stride: 3 group: 2 biasterm: false } bottom: 'data' top: 'c' } "
                  "layers { layer { name: 'p' type: 'pool' pool: AVE kernelsize: 3 stride: 2 } "
                  "bottom: 'c' top: 'p' } "
                  "layers { layer { name: 'f' type: 'innerproduct' num_output: 2 } bottom: 'p' "
                  "top: 'f' }",
                  net);
  ASSERT_EQ(net.layers_size(), 3);
  const LayerParameter& conv = net.layers(0);
  EXPECT_FALSE(conv.has_layer());
  EXPECT_EQ(conv.name(), "c");
  EXPECT_EQ(conv.type(), LayerParameter::CONVOLUTION);
  EXPECT_EQ(conv.bottom(0), "data");
  EXPECT_EQ(conv.top(0), "c");
  EXPECT_EQ(conv.convolution_param().ShortDebugString(),
            "num_output: 6 bias_term: false pad: 2 kernel_size: 5 group: 2 stride: 3");
  EXPECT_EQ(net.layers(1).pooling_param().ShortDebugString(), "pool: AVE kernel_size: 3 stride: 2");
  EXPECT_EQ(net.layers(2).type(), LayerParameter::INNER_PRODUCT);
  EXPECT_EQ(net.layers(2).inner_product_param().num_output(), 2U);
}

TEST(ParseDefinition, LeavesAnOldLayerOfAnUnknownKindWithoutAType) {
  NetParameter net;
  parseDefinition("it", "layers { layer { name: 'x' type: 'florble' } }", net);
  ASSERT_EQ(net.layers_size(), 1);
  EXPECT_EQ(net.layers(0).name(), "x");
  EXPECT_FALSE(net.layers(0).has_type());
}

TEST(ParseWeights, TakesWholeMessagesAlone) {
  NetParameter net;
  net.set_name("a");
  net.add_layers()->set_name("c");
  net.mutable_layers(0)->add_blobs()->add_data(0.5F);
  const std::string bytes = net.SerializeAsString();
  NetParameter read;
  parseWeights("it", bytes, read);
  EXPECT_EQ(read.layers(0).blobs(0).data(0), 0.5F);
  for (const std::string& damaged : {bytes.substr(0, bytes.size() - 1), bytes + '\0'}) {
    NetParameter bad;
    expectWords(refusalOf(OZNAKIT_BAD_MODEL, [&] { parseWeights("it", damaged, bad); }),
                "it: expected the " + std::to_string(damaged.size()) +
                    " bytes of a whole weight file, found a message that is damaged or cut short.");
  }
}

TEST(ParseWeights, KeepsTheBlobsOfAnOldLayer) {
  NetParameter net;
  net.add_layers()->mutable_layer()->set_type("conv");
  net.mutable_layers(0)->mutable_layer()->set_name("c");
  net.mutable_layers(0)->mutable_layer()->add_blobs()->add_data(3);
  NetParameter read;
  parseWeights("it", net.SerializeAsString(), read);
  EXPECT_EQ(read.layers(0).name(), "c");
  EXPECT_EQ(read.layers(0).blobs(0).data(0), 3);
}

}  // namespace
