// Tests of the layers that map each element by itself.

#include "caffe/neuron_layers.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <boost/random/mersenne_twister.hpp>
#include <cmath>
#include <cstdint>
#include <functional>
#include <limits>
#include <string>
#include <vector>

#include "caffe/util/math_functions.hpp"
#include "tests/caffe/test_helpers.h"

namespace caffe_test {
namespace {

using caffe::Caffe;
using caffe::DropoutLayer;
using caffe::PowerLayer;
using testing::HasSubstr;

const float kInfinity = std::numeric_limits<float>::infinity();
const float kNan = std::numeric_limits<float>::quiet_NaN();

using Function = std::function<double(double)>;

Reference Elementwise(const Function& function) {
  return [function](const std::vector<std::vector<double>>& inputs) {
    std::vector<double> top;
    for (double x : inputs[0]) top.push_back(function(x));
    return std::vector<std::vector<double>>{top};
  };
}

// Forward of all counts around the widths of the unrolled loops, in place and not, and the
// gradient.
void ExpectMaps(const std::string& definition, const Function& function, float low = -3,
                float high = 3) {
  SCOPED_TRACE(definition);
  for (int count = 1; count <= 21; ++count) {
    SCOPED_TRACE(count);
    LayerBench apart(definition, {{1, 1, 1, count}});
    FillSeeded(apart.bottom(0), count, low, high);
    const std::vector<float> input = DataOf(*apart.bottom(0));
    ExpectLayerMatchesReference(apart, Elementwise(function), 1e-5, 1e-3, 1e-5);
    EXPECT_EQ(DataOf(*apart.bottom(0)), input);

    LayerBench in_place(definition, {{1, 1, 1, count}}, 1, /*in_place=*/true);
    SetData(in_place.bottom(0), input);
    EXPECT_EQ(in_place.Forward(), 0.0F);
    EXPECT_EQ(DataOf(*in_place.top(0)), DataOf(*apart.top(0)));
  }
}

// The outputs of a layer for these inputs.
std::vector<float> Outputs(const std::string& definition, const std::vector<float>& inputs) {
  LayerBench bench(definition, {{1, 1, 1, static_cast<int>(inputs.size())}});
  SetData(bench.bottom(0), inputs);
  bench.Forward();
  return DataOf(*bench.top(0));
}

// The gradients of the bottom for these inputs and gradients of 1.
std::vector<float> Gradients(const std::string& definition, const std::vector<float>& inputs) {
  LayerBench bench(definition, {{1, 1, 1, static_cast<int>(inputs.size())}});
  SetData(bench.bottom(0), inputs);
  bench.Forward();
  SetDiff(bench.top(0), std::vector<float>(inputs.size(), 1.0F));
  bench.Backward();
  return DiffOf(*bench.bottom(0));
}

TEST(NeuronLayer, GivesTheTopTheShapeOfTheBottom) {
  LayerBench bench("type: RELU", {{2, 3, 4, 5}});
  EXPECT_EQ(ShapeOf(*bench.top(0)), (std::vector<int>{2, 3, 4, 5}));
}

TEST(NeuronLayer, InPlaceLeavesTheBlobAlone) {
  Blob<float> blob(1, 1, 1, 2);
  SetData(&blob, {-5, 5});
  std::vector<Blob<float>*> bottoms = {&blob}, tops = {&blob};
  auto layer = MakeLayer("type: RELU");
  layer->SetUp(bottoms, &tops);
  EXPECT_EQ(DataOf(blob), (std::vector<float>{-5, 5}));
}

TEST(NeuronLayerDeathTest, ChecksNumbersOfBlobs) {
  for (const char* type : {"RELU", "SIGMOID", "TANH", "BNLL", "POWER", "DROPOUT"}) {
    const std::string text = std::string("type: ") + type;
    EXPECT_DEATH(LayerBench(text, {{1, 1, 1, 1}, {1, 1, 1, 1}}),
                 HasSubstr("Check failed: bottom.size() == 1 (2 vs. 1) Neuron Layer takes a single "
                           "blob as input."));
    EXPECT_DEATH(LayerBench(text, {{1, 1, 1, 1}}, 2),
                 HasSubstr("Check failed: top->size() == 1 (2 vs. 1) Neuron Layer takes a single "
                           "blob as output."));
  }
}

TEST(NeuronLayerDeathTest, ForwardStopsAtAnInputThatOutgrewItsTop) {
  LayerBench bench("type: RELU", {{1, 1, 1, 4}});
  Blob<float> larger(1, 1, 1, 5);
  std::vector<Blob<float>*> bottoms = {&larger};
  EXPECT_DEATH(bench.layer().Forward(bottoms, &bench.tops()),
               HasSubstr("beyond the memory that it got at SetUp"));
}

TEST(NeuronLayer, BackwardWithoutPropagationLeavesTheBottomGradientAlone) {
  const ScopedRuntimeState state(Caffe::TRAIN);
  for (const char* type : {"RELU", "SIGMOID", "TANH", "BNLL", "POWER", "DROPOUT"}) {
    LayerBench bench(std::string("type: ") + type, {{1, 1, 1, 1}});
    bench.Forward();
    SetDiff(bench.top(0), {1});
    SetDiff(bench.bottom(0), {7});
    bench.Backward(/*propagate_down=*/false);
    EXPECT_EQ(DiffOf(*bench.bottom(0)), std::vector<float>{7}) << type;
  }
}

TEST(ReLU, CutsOffNegativeValues) {
  ExpectMaps("type: RELU", [](double x) { return x > 0 ? x : 0; });
}

TEST(ReLU, NotANumberYieldsZeroAndNegativeZeroPasses) {
  // Enough values for the vector loop and its remainder.
  std::vector<float> input;
  for (int i = 0; i < 19; ++i) input.push_back(i % 2 == 0 ? kNan : -0.0F);
  for (bool in_place : {false, true}) {
    LayerBench bench("type: RELU", {{1, 1, 1, 19}}, 1, in_place);
    SetData(bench.bottom(0), input);
    bench.Forward();
    for (int i = 0; i < 19; ++i) {
      const float value = bench.top(0)->cpu_data()[i];
      EXPECT_EQ(value, 0.0F);
      EXPECT_EQ(std::signbit(value), i % 2 == 1);
    }
  }
}

TEST(ReLU, InPlaceAfterAResizeCoversOnlyTheNewCount) {
  LayerBench bench("type: RELU", {{1, 1, 4, 5}}, 1, /*in_place=*/true);
  FillConstant(bench.bottom(0), -1.0F);
  bench.bottom(0)->OverwriteShape(1, 1, 2, 3);
  bench.Forward();
  const float* values = bench.top(0)->cpu_data();
  EXPECT_EQ(std::vector<float>(values, values + 6), std::vector<float>(6, 0.0F));
  EXPECT_EQ(std::vector<float>(values + 6, values + 20), std::vector<float>(14, -1.0F));
}

TEST(ReLU, GradientPassesWhereTheInputIsPositive) {
  EXPECT_EQ(Gradients("type: RELU", {-1, -0.0F, 0, 1e-30F, 2, kNan}),
            (std::vector<float>{0, 0, 0, 1, 1, 0}));
}

TEST(Sigmoid, IsTheLogisticFunction) {
  ExpectMaps(
      "type: SIGMOID", [](double x) { return 1 / (1 + std::exp(-x)); }, -8, 8);
  EXPECT_EQ(Outputs("type: SIGMOID", {0, 200, -200, kInfinity, -kInfinity}),
            (std::vector<float>{0.5F, 1, 0, 1, 0}));
}

TEST(TanH, FollowsItsFormulaAtAllSizes) {
  ExpectMaps("type: TANH", [](double x) { return std::tanh(x); });
  const std::vector<float> outputs = Outputs("type: TANH", {0, -60, 60});
  EXPECT_EQ(outputs[0], 0.0F);
  EXPECT_EQ(outputs[1], -1.0F);
  EXPECT_TRUE(std::isnan(outputs[2]));  // Infinity over infinity.
  // The exponential of 88.72 is the last that is finite.
  EXPECT_EQ(Outputs("type: TANH", {44.36F})[0], 1.0F);
  EXPECT_TRUE(std::isnan(Outputs("type: TANH", {44.37F})[0]));
}

TEST(BNLL, IsLogOfOnePlusExp) {
  ExpectMaps(
      "type: BNLL", [](double x) { return std::log(1 + std::exp(x)); }, -8, 8);
  EXPECT_EQ(Outputs("type: BNLL", {0, 300, -300}), (std::vector<float>{std::log(2.0F), 300, 0}));
}

TEST(BNLL, GradientLimitsItsExponent) {
  // Without the limit exp(300) would be infinite and the gradient NaN.
  EXPECT_EQ(Gradients("type: BNLL", {300, 51, 0}), (std::vector<float>{1, 1, 0.5F}));
}

std::string Power(float power, float scale, float shift) {
  return "type: POWER power_param { power: " + std::to_string(power) +
         " scale: " + std::to_string(scale) + " shift: " + std::to_string(shift) + " }";
}

TEST(Power, RaisesTheScaledAndShiftedInput) {
  const float cases[][3] = {{1, 1, 0}, {1, 2, 0}, {1, 1, 3},         {1, -2, 3},      {2, 1, 0},
                            {2, 3, 1}, {3, 1, 5}, {-0.75F, 0.5F, 4}, {0.5F, -1, 3.5F}};
  for (const auto& c : cases) {
    const double power = c[0], scale = c[1], shift = c[2];
    ExpectMaps(Power(c[0], c[1], c[2]),
               [=](double x) { return std::pow(shift + scale * x, power); });
  }
}

TEST(Power, ResultIsConstantWhereTheInputHasNoEffect) {
  EXPECT_EQ(Outputs(Power(0, 2, 0), {-1, 0, kNan}), (std::vector<float>{1, 1, 1}));
  EXPECT_EQ(Outputs(Power(2, 0, 3), {-1, 0, kNan}), (std::vector<float>{9, 9, 9}));
  EXPECT_EQ(Outputs(Power(0, 0, 0), {5}), std::vector<float>{1});
  EXPECT_EQ(Gradients(Power(0, 2, 0), {-1, 4}), (std::vector<float>{0, 0}));
  EXPECT_EQ(Gradients(Power(2, 0, 3), {-1, 4}), (std::vector<float>{0, 0}));
}

TEST(Power, SquareOfZeroHasAGradient) {
  EXPECT_EQ(Gradients(Power(2, 1, 0), {0, 3}), (std::vector<float>{0, 6}));
}

TEST(Power, ExposesItsSettings) {
  LayerBench bench(Power(3, 2, 5), {{1, 1, 1, 1}});
  const auto& layer = bench.layer_as<PowerLayer<float>>();
  EXPECT_EQ(layer.power_, 3);
  EXPECT_EQ(layer.scale_, 2);
  EXPECT_EQ(layer.shift_, 5);
  EXPECT_EQ(layer.diff_scale_, 6);
}

constexpr char kDropout[] = "type: DROPOUT dropout_param { dropout_ratio: 0.3 }";

TEST(Dropout, SetUpDerivesItsScaleAndThreshold) {
  LayerBench bench(kDropout, {{1, 2, 3, 4}});
  const auto& layer = bench.layer_as<DropoutLayer<float>>();
  EXPECT_EQ(layer.threshold_, 0.3F);
  EXPECT_FLOAT_EQ(layer.scale_, 1 / 0.7F);
  EXPECT_EQ(layer.uint_thres_, static_cast<std::uint32_t>(0.3F * 4294967296.0));
  EXPECT_EQ(layer.rand_vec_->size(), 24 * sizeof(int));
}

TEST(Dropout, KeepsAndScalesByDrawsInElementOrder) {
  const ScopedRuntimeState state(Caffe::TRAIN);
  LayerBench bench(kDropout, {{2, 5, 10, 10}});
  FillSeeded(bench.bottom(0), 3);
  Caffe::set_random_seed(1701);
  bench.Forward();
  SetDiff(bench.top(0), SeededValues(1000, 4));
  bench.Backward();

  boost::mt19937 engine(1701);
  const double keep = 1.0 - 0.3F;
  const float scale = bench.layer_as<DropoutLayer<float>>().scale_;
  const int* mask =
      static_cast<const int*>(bench.layer_as<DropoutLayer<float>>().rand_vec_->cpu_data());
  int kept_count = 0;
  for (int i = 0; i < 1000; ++i) {
    const bool kept = keep * 4294967295.0 >= engine();
    kept_count += kept;
    ASSERT_EQ(mask[i], kept ? 1 : 0);
    ASSERT_EQ(bench.top(0)->cpu_data()[i], kept ? bench.bottom(0)->cpu_data()[i] * scale : 0.0F);
    ASSERT_EQ(bench.bottom(0)->cpu_diff()[i], kept ? bench.top(0)->cpu_diff()[i] * scale : 0.0F);
  }
  EXPECT_NEAR(kept_count, 700, 60);
}

TEST(Dropout, OutsideTrainingIsTheIdentity) {
  const ScopedRuntimeState state(Caffe::TEST);
  for (bool in_place : {false, true}) {
    LayerBench bench(kDropout, {{1, 1, 1, 9}}, 1, in_place);
    FillSeeded(bench.bottom(0), 3);
    const std::vector<float> input = DataOf(*bench.bottom(0));
    Caffe::set_random_seed(5);
    bench.Forward();
    EXPECT_EQ(DataOf(*bench.top(0)), input);
    // Nothing was drawn.
    boost::mt19937 engine(5);
    EXPECT_EQ(caffe::caffe_rng_rand(), engine());
  }
}

TEST(DropoutDeathTest, BackwardOutsideTrainingIsFatal) {
  const ScopedRuntimeState state(Caffe::TEST);
  LayerBench bench(kDropout, {{1, 1, 1, 1}});
  bench.Forward();
  EXPECT_DEATH(bench.Backward(), HasSubstr("Check failed: Caffe::phase() == Caffe::TRAIN"));
}

TEST(DropoutDeathTest, RefusesARatioAboveOneInTraining) {
  const ScopedRuntimeState state(Caffe::TRAIN);
  LayerBench bench("type: DROPOUT dropout_param { dropout_ratio: 1.5 }", {{1, 1, 1, 1}});
  EXPECT_DEATH(bench.Forward(), HasSubstr("p >= 0"));
}

}  // namespace
}  // namespace caffe_test
