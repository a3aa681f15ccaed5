// Tests of dropout: its draws, its phases and its settings.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <boost/random/mersenne_twister.hpp>
#include <cstdint>
#include <vector>

#include "caffe/neuron_layers.hpp"
#include "caffe/util/math_functions.hpp"
#include "tests/caffe/test_helpers.h"

namespace caffe_test {
namespace {

using caffe::Caffe;
using caffe::DropoutLayer;
using testing::HasSubstr;

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
