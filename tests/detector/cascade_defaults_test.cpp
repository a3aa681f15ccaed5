// The built-in tables: their printed values, and that they are those of the model files.

#include "detector/cascade_defaults.h"

#include <gmock/gmock.h>
#include <google/protobuf/text_format.h>
#include <google/protobuf/util/message_differencer.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <fstream>
#include <memory>
#include <sstream>
#include <string>
#include <tuple>
#include <vector>

#include "caffe/proto/caffe.pb.h"

namespace {

using caffe::LayerParameter;
using caffe::NetParameter;
using oznalib::CascadeDefaults;
using testing::ElementsAre;

const CascadeDefaults& defaults() {
  static const auto tables = std::make_unique<const CascadeDefaults>();
  return *tables;
}

std::string cascadeFile(const std::string& name) {
  std::ifstream stream(OZNA_SOURCE_DIR "/public/cascades/" + name);
  EXPECT_TRUE(stream.is_open()) << name;
  std::ostringstream text;
  text << stream.rdbuf();
  return text.str();
}

template <class Number>
std::vector<Number> numbersOf(const std::string& file) {
  std::istringstream stream(cascadeFile(file));
  std::vector<Number> numbers;
  for (Number number; stream >> number;) numbers.push_back(number);
  return numbers;
}

TEST(CascadeDefaults, HoldsTheThresholdsOfTheStageList) {
  EXPECT_THAT(defaults().stageThresholds, ElementsAre(0.4, 0.8, 0.98));
  std::ifstream list(OZNA_SOURCE_DIR "/public/stages.txt");
  std::vector<std::string> names;
  std::vector<float> thresholds;
  for (std::string line; std::getline(list, line);) {
    if (line[0] == '#') continue;
    std::istringstream words(line);
    std::string name;
    float threshold;
    ASSERT_TRUE(words >> name >> threshold);
    names.push_back(name);
    thresholds.push_back(threshold);
  }
  EXPECT_THAT(names, ElementsAre("cascades/x16Net-demo", "cascades/x32Net", "cascades/x64Net"));
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(static_cast<float>(defaults().stageThresholds[i]), thresholds[i]);
  }
}

TEST(CascadeDefaults, PointsAtTheWeightsRelativeToTheCurrentDirectory) {
  EXPECT_THAT(defaults().stageWeightPaths,
              ElementsAre("../../../Ozna/public/cascades/x16Net-demo/proto-full",
                          "../../../Ozna/public/cascades/x32Net/proto",
                          "../../../Ozna/public/cascades/x64Net/proto"));
  EXPECT_EQ(defaults().calibrationWeightPath,
            "../../../Ozna/public/cascades/x32Net-x32-3Scales-200/proto");
}

TEST(CascadeDefaults, HoldsTheCalibrationTable) {
  struct Row {
    int dx;
    int dy;
    double scale;
  };
  const double larger = 0.9166666666666666;
  const double smaller = 1.0833333333333333;
  const Row rows[] = {{0, 0, 1},       {-4, -4, 1},     {-4, 0, 1},        {0, -4, 1},
                      {4, 0, 1},       {4, -4, 1},      {-4, 4, 1},        {0, 4, 1},
                      {4, 4, 1},       {1, 1, larger},  {-1, -1, smaller}, {-3, -3, larger},
                      {-3, 1, larger}, {1, -3, larger}, {5, 1, larger},    {5, -3, larger},
                      {-3, 5, larger}, {1, 5, larger},  {5, 5, larger}};
  for (int k = 0; k < 19; ++k) {
    SCOPED_TRACE(k);
    EXPECT_EQ(defaults().calibrationDx[k], rows[k].dx);
    EXPECT_EQ(defaults().calibrationDy[k], rows[k].dy);
    EXPECT_EQ(defaults().calibrationScale[k], rows[k].scale);
  }
  EXPECT_EQ(static_cast<float>(defaults().calibrationScale[9]), 0.9166667F);
  EXPECT_EQ(static_cast<float>(defaults().calibrationScale[10]), 1.0833334F);
}

TEST(CascadeDefaults, HoldsTheCalibrationTableOfTheFile) {
  std::istringstream stream(cascadeFile("x32Net-x32-3Scales-200/offsets-scales"));
  for (int k = 0; k < 19; ++k) {
    SCOPED_TRACE(k);
    int dx, dy;
    float scale;
    ASSERT_TRUE(stream >> dx >> dy >> scale);
    EXPECT_EQ(defaults().calibrationDx[k], dx);
    EXPECT_EQ(defaults().calibrationDy[k], dy);
    EXPECT_EQ(static_cast<float>(defaults().calibrationScale[k]), scale);
  }
  std::string rest;
  EXPECT_FALSE(stream >> rest) << rest;
}

template <std::size_t kCount>
void expectMean(const std::array<double, kCount>& table, const std::string& file,
                const std::vector<double>& first_values, const std::vector<double>& plane_means) {
  SCOPED_TRACE(file);
  for (std::size_t i = 0; i < first_values.size(); ++i) EXPECT_EQ(table[i], first_values[i]);
  const std::size_t plane_size = kCount / 3;
  for (std::size_t plane = 0; plane < 3; ++plane) {
    double sum = 0;
    for (std::size_t i = 0; i < plane_size; ++i) sum += table[plane * plane_size + i];
    EXPECT_NEAR(sum / plane_size, plane_means[plane], 0.0005) << "plane " << plane;
  }
  EXPECT_GT(*std::min_element(table.begin(), table.end()), 66.0);
  EXPECT_LT(*std::max_element(table.begin(), table.end()), 182.0);

  const std::vector<double> doubles = numbersOf<double>(file);
  const std::vector<float> floats = numbersOf<float>(file);
  ASSERT_EQ(doubles.size(), kCount);
  for (std::size_t i = 0; i < kCount; ++i) {
    ASSERT_EQ(table[i], doubles[i]) << i;
    // What a load from the file gets is what a load from the table gets.
    ASSERT_EQ(static_cast<float>(table[i]), floats[i]) << i;
  }
}

TEST(CascadeDefaults, HoldsTheMeanImages) {
  static_assert(std::tuple_size<decltype(CascadeDefaults::calibrationMean)>::value == 1728);
  static_assert(std::tuple_size<decltype(CascadeDefaults::secondStageMean)>::value == 1728);
  static_assert(std::tuple_size<decltype(CascadeDefaults::thirdStageMean)>::value == 6912);
  static_assert(std::tuple_size<decltype(CascadeDefaults::firstStageMean)>::value == 432);
  expectMean(defaults().calibrationMean, "x32Net-x32-3Scales-200/mean",
             {96.9583, 93.7118, 91.993, 92.7396}, {130.353, 105.124, 92.832});
  expectMean(defaults().secondStageMean, "x32Net/mean", {93.297, 93.1941, 94.9426, 99.9197},
             {131.426, 104.836, 91.42});
  expectMean(defaults().thirdStageMean, "x64Net/mean", {93.2511, 92.7646, 92.6732, 92.9048},
             {131.121, 104.571, 91.217});
  expectMean(defaults().firstStageMean, "first-stage-mean", {93.3873, 98.5435, 116.086, 136.089},
             {131.844, 104.594, 91.88});
}

// The definitions, built layer by layer without a text.

class Definition {
 public:
  Definition(const std::string& name, int side) {
    net_.set_name(name);
    net_.add_input("data");
    for (const int dim : {1, 3, side, side}) net_.add_input_dim(dim);
  }

  Definition& convolution(const std::string& name, const std::string& bottom, int outputs,
                          int kernel, int stride, float std) {
    LayerParameter* const layer = add(name, LayerParameter::CONVOLUTION, {bottom}, name);
    caffe::ConvolutionParameter* const parameter = layer->mutable_convolution_param();
    parameter->set_num_output(outputs);
    parameter->set_pad(0);
    parameter->set_kernel_size(kernel);
    parameter->set_group(1);
    parameter->set_stride(stride);
    setFillers(*parameter, std);
    return *this;
  }

  Definition& product(const std::string& name, const std::string& bottom, int outputs) {
    LayerParameter* const layer = add(name, LayerParameter::INNER_PRODUCT, {bottom}, name);
    layer->mutable_inner_product_param()->set_num_output(outputs);
    setFillers(*layer->mutable_inner_product_param(), 0.01F);
    return *this;
  }

  Definition& pool(const std::string& name, const std::string& bottom,
                   caffe::PoolingParameter::PoolMethod method) {
    caffe::PoolingParameter* const parameter =
        add(name, LayerParameter::POOLING, {bottom}, name)->mutable_pooling_param();
    parameter->set_pool(method);
    parameter->set_kernel_size(3);
    parameter->set_stride(2);
    return *this;
  }
  Definition& maximum(const std::string& name, const std::string& bottom) {
    return pool(name, bottom, caffe::PoolingParameter::MAX);
  }
  Definition& average(const std::string& name, const std::string& bottom) {
    return pool(name, bottom, caffe::PoolingParameter::AVE);
  }

  Definition& relu(const std::string& name, const std::string& blob) {
    add(name, LayerParameter::RELU, {blob}, blob);
    return *this;
  }

  Definition& normalization(const std::string& name, const std::string& bottom) {
    caffe::LRNParameter* const parameter =
        add(name, LayerParameter::LRN, {bottom}, name)->mutable_lrn_param();
    parameter->set_local_size(9);
    parameter->set_alpha(0.001F);
    parameter->set_beta(0.75F);
    return *this;
  }

  Definition& concat(const std::string& name, const std::vector<std::string>& bottoms) {
    add(name, LayerParameter::CONCAT, bottoms, name);
    return *this;
  }

  Definition& softmax(const std::string& bottom) {
    add("probs", LayerParameter::SOFTMAX, {bottom}, "probs");
    return *this;
  }

  const NetParameter& net() const { return net_; }

 private:
  LayerParameter* add(const std::string& name, LayerParameter::LayerType type,
                      const std::vector<std::string>& bottoms, const std::string& top) {
    LayerParameter* const layer = net_.add_layers();
    layer->set_name(name);
    layer->set_type(type);
    for (const std::string& bottom : bottoms) layer->add_bottom(bottom);
    layer->add_top(top);
    return layer;
  }

  template <class Parameter>
  static void setFillers(Parameter& parameter, float std) {
    parameter.mutable_weight_filler()->set_type("gaussian");
    parameter.mutable_weight_filler()->set_std(std);
    parameter.mutable_bias_filler()->set_type("constant");
    parameter.mutable_bias_filler()->set_value(0);
  }

  NetParameter net_;
};

void expectDefinition(const std::string& text, const std::string& file,
                      const NetParameter& expected) {
  SCOPED_TRACE(file);
  for (const std::string& source : {text, cascadeFile(file)}) {
    NetParameter parsed;
    ASSERT_TRUE(google::protobuf::TextFormat::ParseFromString(source, &parsed));
    google::protobuf::util::MessageDifferencer differencer;
    std::string differences;
    differencer.ReportDifferencesToString(&differences);
    EXPECT_TRUE(differencer.Compare(expected, parsed)) << differences;
  }
}

TEST(CascadeDefaults, DefinesTheCalibrationNetwork) {
  expectDefinition(defaults().calibrationNetText, "x32Net-x32-3Scales-200/prototxt-deploy",
                   Definition("200.79", 24)
                       .convolution("x28-conv1", "data", 32, 5, 1, 1e-05F)
                       .maximum("x28-pool1", "x28-conv1")
                       .relu("x28-pool1_neuron", "x28-pool1")
                       .product("x28-fc4", "x28-pool1", 64)
                       .relu("x28-fc4_neuron", "x28-fc4")
                       .product("fcf", "x28-fc4", 19)
                       .softmax("fcf")
                       .net());
}

TEST(CascadeDefaults, DefinesTheFirstStage) {
  expectDefinition(defaults().firstStageNetText, "x16Net-demo/prototxt-full",
                   Definition("900.175", 384)
                       .convolution("conv1", "data", 16, 3, 1, 0.0001F)
                       .maximum("pool1", "conv1")
                       .relu("pool1_neuron", "pool1")
                       .convolution("fc4-conv", "pool1", 16, 5, 3, 0.0001F)
                       .relu("fc4_neuron", "fc4-conv")
                       .convolution("fcf-conv", "fc4-conv", 2, 1, 1, 0.0001F)
                       .softmax("fcf-conv")
                       .net());
}

TEST(CascadeDefaults, DefinesTheSecondStage) {
  expectDefinition(defaults().secondStageNetText, "x32Net/prototxt-deploy",
                   Definition("200.654", 24)
                       .convolution("x32-conv1", "data", 32, 5, 1, 1e-05F)
                       .maximum("x32-pool1", "x32-conv1")
                       .relu("x32-pool1_neuron", "x32-pool1")
                       .average("x16-data", "data")
                       .convolution("x16-conv1", "x16-data", 16, 3, 1, 0.0001F)
                       .maximum("x16-pool1", "x16-conv1")
                       .relu("x16-pool1_neuron", "x16-pool1")
                       .product("x16-fc4", "x16-pool1", 16)
                       .relu("x16-fc4_neuron", "x16-fc4")
                       .product("x32-fc4", "x32-pool1", 64)
                       .relu("x32-fc4_neuron", "x32-fc4")
                       .concat("x16-fc4_x32-fc4", {"x16-fc4", "x32-fc4"})
                       .product("fcf", "x16-fc4_x32-fc4", 2)
                       .softmax("fcf")
                       .net());
}

TEST(CascadeDefaults, DefinesTheThirdStage) {
  expectDefinition(defaults().thirdStageNetText, "x64Net/prototxt-deploy",
                   Definition("100.113", 48)
                       .average("x32-data", "data")
                       .average("x16-data", "x32-data")
                       .convolution("x64-conv1", "data", 64, 5, 1, 0.0001F)
                       .relu("x64-conv1_neuron", "x64-conv1")
                       .maximum("x64-pool1", "x64-conv1")
                       .normalization("x64-rnorm1", "x64-pool1")
                       .convolution("x64-conv2", "x64-rnorm1", 64, 5, 1, 0.01F)
                       .relu("x64-conv2_neuron", "x64-conv2")
                       .normalization("x64-rnorm2", "x64-conv2")
                       .maximum("x64-pool2", "x64-rnorm2")
                       .product("x64-fc4", "x64-pool2", 256)
                       .relu("x64-fc4_neuron", "x64-fc4")
                       .convolution("x32-conv1", "x32-data", 32, 5, 1, 1e-05F)
                       .maximum("x32-pool1", "x32-conv1")
                       .relu("x32-pool1_neuron", "x32-pool1")
                       .convolution("x16-conv1", "x16-data", 16, 3, 1, 0.0001F)
                       .maximum("x16-pool1", "x16-conv1")
                       .relu("x16-pool1_neuron", "x16-pool1")
                       .product("x16-fc4", "x16-pool1", 16)
                       .relu("x16-fc4_neuron", "x16-fc4")
                       .product("x32-fc4", "x32-pool1", 64)
                       .relu("x32-fc4_neuron", "x32-fc4")
                       .concat("x16-fc4_x32-fc4_x64-fc4", {"x16-fc4", "x32-fc4", "x64-fc4"})
                       .product("fcf", "x16-fc4_x32-fc4_x64-fc4", 2)
                       .softmax("fcf")
                       .net());
}

}  // namespace
