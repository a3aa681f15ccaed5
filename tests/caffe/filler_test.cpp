// Tests of the fillers. Draws are compared with those of an engine of the test's own.

#include "caffe/filler.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <boost/math/special_functions/next.hpp>
#include <boost/random/mersenne_twister.hpp>
#include <boost/random/normal_distribution.hpp>
#include <boost/random/uniform_real_distribution.hpp>
#include <cmath>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include "tests/caffe/test_helpers.h"

namespace caffe_test {
namespace {

using caffe::Caffe;
using caffe::FillerParameter;
using testing::HasSubstr;

FillerParameter ParseFiller(const std::string& text) {
  FillerParameter param;
  EXPECT_TRUE(google::protobuf::TextFormat::ParseFromString(text, &param)) << text;
  return param;
}

void Fill(const std::string& text, Blob<float>* blob) {
  const std::unique_ptr<caffe::Filler<float>> filler(caffe::GetFiller(ParseFiller(text)));
  filler->Fill(blob);
}

constexpr unsigned kSeed = 1234;

// The values of a filler after the seed, in a blob of this shape.
std::vector<float> Filled(const std::string& text, int num, int channels, int height, int width) {
  Caffe::set_random_seed(kSeed);
  Blob<float> blob(num, channels, height, width);
  Fill(text, &blob);
  return DataOf(blob);
}

std::vector<float> UniformDraws(int count, float low, float high) {
  boost::mt19937 engine(kSeed);
  boost::random::uniform_real_distribution<float> uniform(
      low, boost::math::nextafter(high, std::numeric_limits<float>::max()));
  std::vector<float> draws;
  for (int i = 0; i < count; ++i) draws.push_back(uniform(engine));
  return draws;
}

TEST(ConstantFiller, WritesItsValue) {
  EXPECT_EQ(Filled("type: 'constant' value: 2.5", 2, 1, 1, 3), std::vector<float>(6, 2.5F));
  EXPECT_EQ(Filled("", 1, 1, 1, 2), std::vector<float>(2, 0.0F));
}

TEST(UniformFiller, DrawsInElementOrder) {
  EXPECT_EQ(Filled("type: 'uniform' min: -2 max: 5", 2, 3, 4, 5), UniformDraws(120, -2, 5));
}

TEST(GaussianFiller, DrawsInElementOrder) {
  boost::mt19937 engine(kSeed);
  boost::random::normal_distribution<float> normal(3, 0.5F);
  std::vector<float> expected;
  for (int i = 0; i < 120; ++i) expected.push_back(normal(engine));
  EXPECT_EQ(Filled("type: 'gaussian' mean: 3 std: 0.5", 2, 3, 4, 5), expected);
}

TEST(GaussianFiller, MasksWithTheDrawsAfterItsValues) {
  const std::vector<float> values =
      Filled("type: 'gaussian' mean: 3 std: 0.5 sparse: 2", 1, 1, 8, 50);
  boost::mt19937 engine(kSeed);
  boost::random::normal_distribution<float> normal(3, 0.5F);
  std::vector<float> expected;
  for (int i = 0; i < 400; ++i) expected.push_back(normal(engine));
  int kept_count = 0;
  for (float& value : expected) {
    const bool kept = 0.25 * 4294967295.0 >= engine();
    kept_count += kept;
    if (!kept) value *= 0.0F;
  }
  EXPECT_EQ(values, expected);
  EXPECT_NEAR(kept_count, 100, 40);
}

TEST(GaussianFiller, SparseZeroGivesZerosAlone) {
  EXPECT_EQ(Filled("type: 'gaussian' sparse: 0", 1, 1, 4, 5), std::vector<float>(20, 0.0F));
}

TEST(PositiveUnitballFiller, EachImageSumsToOne) {
  const std::vector<float> values = Filled("type: 'positive_unitball'", 3, 2, 2, 5);
  const std::vector<float> draws = UniformDraws(60, 0, 1);
  for (int n = 0; n < 3; ++n) {
    double sum = 0, draw_sum = 0;
    for (int i = 0; i < 20; ++i) {
      EXPECT_GE(values[n * 20 + i], 0);
      sum += values[n * 20 + i];
      draw_sum += draws[n * 20 + i];
    }
    EXPECT_NEAR(sum, 1, 1e-5);
    for (int i = 0; i < 20; ++i) {
      EXPECT_NEAR(values[n * 20 + i], draws[n * 20 + i] / draw_sum, 1e-6);
    }
  }
}

TEST(XavierFiller, ScalesByTheValuesOfOneImage) {
  // fan_in 3: scale 1.
  EXPECT_EQ(Filled("type: 'xavier'", 2, 3, 1, 1), UniformDraws(6, -1, 1));
  // fan_in 12: scale 0.5.
  EXPECT_EQ(Filled("type: 'xavier'", 5, 3, 2, 2), UniformDraws(60, -0.5F, 0.5F));
}

TEST(MakeFilledBlob, ShapesAndFills) {
  const auto blob = caffe::MakeFilledBlob(1, 2, 3, 4, ParseFiller("type: 'constant' value: 7"));
  EXPECT_EQ(ShapeOf(*blob), (std::vector<int>{1, 2, 3, 4}));
  EXPECT_EQ(DataOf(*blob), std::vector<float>(24, 7.0F));
}

TEST(FillerDeathTest, NamesMatchExactly) {
  EXPECT_DEATH(caffe::GetFiller(ParseFiller("type: 'Gaussian'")),
               HasSubstr("Unknown filler name: Gaussian"));
  EXPECT_DEATH(caffe::GetFiller(ParseFiller("type: ''")), HasSubstr("Unknown filler name: "));
}

TEST(FillerDeathTest, RefusesAnEmptyBlob) {
  Blob<float> empty(0, 1, 1, 1);
  EXPECT_DEATH(Fill("type: 'constant'", &empty), HasSubstr("Check failed: count "));
  for (const char* type : {"gaussian", "positive_unitball", "uniform", "xavier"}) {
    EXPECT_DEATH(Fill(std::string("type: '") + type + "'", &empty),
                 HasSubstr("Check failed: blob->count() "));
  }
}

TEST(FillerDeathTest, OnlyGaussianMayBeSparse) {
  Blob<float> blob(1, 1, 1, 1);
  for (const char* type : {"constant", "positive_unitball", "uniform", "xavier"}) {
    EXPECT_DEATH(Fill(std::string("type: '") + type + "' sparse: 1", &blob),
                 HasSubstr("Check failed: this->filler_param_.sparse() == -1 (1 vs. -1) Sparsity "
                           "not supported by this Filler."));
  }
}

TEST(FillerDeathTest, SparseGaussianChecksItsShape) {
  Blob<float> two_images(2, 1, 3, 1), two_channels(1, 2, 3, 1), flat(1, 1, 3, 1);
  EXPECT_DEATH(Fill("type: 'gaussian' sparse: 1", &two_images),
               HasSubstr("Check failed: blob->num() == 1 (2 vs. 1)"));
  EXPECT_DEATH(Fill("type: 'gaussian' sparse: 1", &two_channels),
               HasSubstr("Check failed: blob->channels() == 1 (2 vs. 1)"));
  EXPECT_DEATH(Fill("type: 'gaussian' sparse: -2", &flat),
               HasSubstr("Check failed: sparse >= -1 (-2 vs. -1)"));
  EXPECT_DEATH(Fill("type: 'gaussian' sparse: 4", &flat), HasSubstr("p <= 1"));
}

}  // namespace
}  // namespace caffe_test
