// Tests of LRNLayer.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <string>
#include <vector>

#include "caffe/vision_layers.hpp"
#include "tests/caffe/test_helpers.h"

namespace caffe_test {
namespace {

using caffe::LRNLayer;
using testing::HasSubstr;

struct Normalization {
  int size;
  float alpha = 1.0F, beta = 0.75F;
  const char* region = "ACROSS_CHANNELS";

  std::string text() const {
    return "type: LRN lrn_param { local_size: " + std::to_string(size) +
           " alpha: " + std::to_string(alpha) + " beta: " + std::to_string(beta) +
           " norm_region: " + region + " }";
  }
};

// The definition: each window is summed anew.
std::vector<double> AcrossChannels(const Normalization& lrn, const std::vector<double>& input,
                                   int num, int channels, int spatial) {
  const int pre_pad = (lrn.size - 1) / 2;
  std::vector<double> output;
  for (int n = 0; n < num; ++n) {
    for (int c = 0; c < channels; ++c) {
      for (int s = 0; s < spatial; ++s) {
        double sum = 0;
        for (int k = std::max(c - pre_pad, 0); k < std::min(c - pre_pad + lrn.size, channels);
             ++k) {
          const double x = input[(n * channels + k) * spatial + s];
          sum += x * x;
        }
        output.push_back(input[(n * channels + c) * spatial + s] *
                         std::pow(1 + lrn.alpha / lrn.size * sum, -lrn.beta));
      }
    }
  }
  return output;
}

std::vector<double> WithinChannel(const Normalization& lrn, const std::vector<double>& input,
                                  int planes, int height, int width) {
  const int pad = (lrn.size - 1) / 2;
  std::vector<double> output;
  for (int p = 0; p < planes; ++p) {
    for (int h = 0; h < height; ++h) {
      for (int w = 0; w < width; ++w) {
        double sum = 0;
        for (int i = std::max(h - pad, 0); i <= std::min(h + pad, height - 1); ++i) {
          for (int j = std::max(w - pad, 0); j <= std::min(w + pad, width - 1); ++j) {
            const double x = input[(p * height + i) * width + j];
            sum += x * x;
          }
        }
        // Padding counts in the mean, so the divisor is the whole square.
        output.push_back(input[(p * height + h) * width + w] *
                         std::pow(1 + lrn.alpha * sum / (lrn.size * lrn.size), -lrn.beta));
      }
    }
  }
  return output;
}

TEST(LRNAcrossChannels, MatchesDefinitionAndGradientOverSweptShapes) {
  for (int size : {1, 2, 3, 4, 5, 9}) {
    for (int channels : {1, 2, 5, 12}) {
      const Normalization lrn{size, 0.7F, size % 2 == 0 ? 0.5F : 0.75F};
      SCOPED_TRACE(lrn.text() + " channels " + std::to_string(channels));
      LayerBench bench(lrn.text(), {{2, channels, 3, 2}});
      FillSeeded(bench.bottom(0), 15, -3, 3);
      ExpectLayerMatchesReference(
          bench,
          [&](const std::vector<std::vector<double>>& inputs) {
            return std::vector<std::vector<double>>{AcrossChannels(lrn, inputs[0], 2, channels, 6)};
          },
          1e-5, 1e-3);
    }
  }
}

TEST(LRNAcrossChannels, ReadsItsSettings) {
  LayerBench bench(Normalization{9, 0.001F}.text(), {{2, 3, 4, 5}});
  const auto& layer = bench.layer_as<LRNLayer<float>>();
  EXPECT_EQ(layer.size_, 9);
  EXPECT_EQ(layer.pre_pad_, 4);
  EXPECT_EQ(layer.alpha_, 0.001F);
  EXPECT_EQ(layer.beta_, 0.75F);
  EXPECT_EQ(layer.num_, 2);
  EXPECT_EQ(layer.channels_, 3);
  EXPECT_EQ(layer.height_, 4);
  EXPECT_EQ(layer.width_, 5);
  EXPECT_EQ(ShapeOf(layer.scale_), (std::vector<int>{2, 3, 4, 5}));
  EXPECT_EQ(ShapeOf(*bench.top(0)), (std::vector<int>{2, 3, 4, 5}));
}

TEST(LRNAcrossChannels, SingleChannelCountsOnlyItsOwnSquare) {
  LayerBench bench(Normalization{9, 9.0F, 1.0F}.text(), {{1, 1, 1, 2}});
  SetData(bench.bottom(0), {1, 3});
  EXPECT_EQ(bench.Forward(), 0.0F);
  EXPECT_EQ(DataOf(bench.layer_as<LRNLayer<float>>().scale_), (std::vector<float>{2, 10}));
  ExpectAllNear({0.5, 0.3}, DataOf(*bench.top(0)), 1e-6);
}

TEST(LRNAcrossChannels, EvenWindowReachesFurtherAheadThanBack) {
  // Only channel 3 is not zero, so its square shows in the channels whose windows reach it:
  // 1 channel back and 2 ahead, that is channels 1 to 4.
  LayerBench bench(Normalization{4, 4.0F}.text(), {{1, 7, 1, 1}});
  SetData(bench.bottom(0), {0, 0, 0, 5, 0, 0, 0});
  bench.Forward();
  const auto& layer = bench.layer_as<LRNLayer<float>>();
  EXPECT_EQ(layer.pre_pad_, 1);
  EXPECT_EQ(DataOf(layer.scale_), (std::vector<float>{1, 26, 26, 26, 26, 1, 1}));
}

TEST(LRNAcrossChannels, RunningWindowCarriesItsRoundingOn) {
  // 1 + 1e12 rounds to 1e12; when channel 0 leaves the window, 0 remains and not 1.
  LayerBench bench(Normalization{1}.text(), {{1, 2, 1, 1}});
  SetData(bench.bottom(0), {1e6F, 0});
  bench.Forward();
  EXPECT_EQ(DataOf(bench.layer_as<LRNLayer<float>>().scale_), (std::vector<float>{1e12F, 0}));
  EXPECT_TRUE(std::isnan(bench.top(0)->cpu_data()[1]));  // 0 ^ -0.75 * 0.
}

// The sums to the bit, in the order of the running window; there are more places than go through
// the channels together.
TEST(LRNAcrossChannels, RunsOnInOneOrderAtEveryPlace) {
  for (int size : {1, 2, 5, 9, 40}) {
    constexpr int kChannels = 13, kPlaces = 17 * 19;
    const Normalization lrn{size, 0.3F};
    LayerBench bench(lrn.text(), {{2, kChannels, 17, 19}});
    FillSeeded(bench.bottom(0), 6, -9, 9);
    bench.Forward();
    const std::vector<float> input = DataOf(*bench.bottom(0));
    const std::vector<float> scale = DataOf(bench.layer_as<LRNLayer<float>>().scale_);
    const float factor = 0.3F / static_cast<float>(size);
    const int behind = (size - 1) / 2;
    for (int place = 0; place < 2 * kPlaces; ++place) {
      const int first = place / kPlaces * kChannels * kPlaces + place % kPlaces;
      const auto term = [&](int c) {
        const float value = c < 0 || c >= kChannels ? 0.0F : input[first + c * kPlaces];
        const volatile float square = value * value;  // Rounded, on any machine.
        const volatile float product = factor * square;
        return static_cast<float>(product);
      };
      float sum = 1;
      for (int c = -behind; c < size - behind; ++c) sum += term(c);
      ASSERT_EQ(scale[first], sum) << "size " << size << " place " << place;
      for (int c = 1; c < kChannels; ++c) {
        sum += term(c + size - behind - 1);
        sum -= term(c - behind - 1);
        ASSERT_EQ(scale[first + c * kPlaces], sum)
            << "size " << size << " place " << place << " channel " << c;
      }
    }
  }
}

TEST(LRNAlterInputShape, EqualsAFreshLayerDownAndUp) {
  const Normalization lrn{5, 0.3F};
  LayerBench bench(lrn.text(), {{2, 6, 9, 7}});
  const float* memory = bench.top(0)->cpu_data();
  const int sizes[][2] = {{9, 7}, {4, 5}, {1, 2}, {7, 9}, {9, 7}};
  for (const auto& size : sizes) {
    bench.AlterBottom(0, 2, 6, size[0], size[1]);
    FillSeeded(bench.bottom(0), size[0], -5, 5);
    bench.Forward();
    LayerBench fresh(lrn.text(), {{2, 6, size[0], size[1]}});
    SetData(fresh.bottom(0), DataOf(*bench.bottom(0)));
    fresh.Forward();
    EXPECT_EQ(ShapeOf(*bench.top(0)), (std::vector<int>{2, 6, size[0], size[1]}));
    EXPECT_EQ(DataOf(*bench.top(0)), DataOf(*fresh.top(0)));
    EXPECT_EQ(ShapeOf(bench.layer_as<LRNLayer<float>>().scale_), ShapeOf(*bench.top(0)));
    EXPECT_EQ(bench.top(0)->cpu_data(), memory);
  }
}

TEST(LRNWithinChannel, MatchesDefinitionAndGradientOverSweptShapes) {
  for (int size : {1, 3, 5}) {
    for (const std::vector<int>& shape : {std::vector<int>{1, 1, 5, 5}, {2, 3, 4, 7}}) {
      const Normalization lrn{size, 0.8F, 0.75F, "WITHIN_CHANNEL"};
      SCOPED_TRACE(lrn.text());
      LayerBench bench(lrn.text(), {shape});
      // The gradient divides by the input, so none is close to zero.
      std::vector<float> values = SeededValues(bench.bottom(0)->count(), 16, 0.5F, 3);
      for (std::size_t i = 0; i < values.size(); i += 3) values[i] = -values[i];
      SetData(bench.bottom(0), values);
      ExpectLayerMatchesReference(
          bench,
          [&](const std::vector<std::vector<double>>& inputs) {
            return std::vector<std::vector<double>>{
                WithinChannel(lrn, inputs[0], shape[0] * shape[1], shape[2], shape[3])};
          },
          1e-5, 1e-3);
    }
  }
}

TEST(LRNWithinChannel, KeepsTheShapeAlongTheChain) {
  LayerBench bench(Normalization{3, 1, 0.75F, "WITHIN_CHANNEL"}.text(), {{2, 3, 4, 5}});
  const auto& layer = bench.layer_as<LRNLayer<float>>();
  const std::vector<int> shape = {2, 3, 4, 5};
  EXPECT_EQ(ShapeOf(layer.square_output_), shape);
  EXPECT_EQ(ShapeOf(layer.pool_output_), shape);
  EXPECT_EQ(ShapeOf(layer.power_output_), shape);
  EXPECT_EQ(ShapeOf(*bench.top(0)), shape);
  EXPECT_EQ(layer.scale_.count(), 0);
}

TEST(LRN, BackwardWithoutPropagationLeavesTheBottomGradientAlone) {
  for (const char* region : {"ACROSS_CHANNELS", "WITHIN_CHANNEL"}) {
    LayerBench bench(Normalization{3, 1, 0.75F, region}.text(), {{1, 2, 1, 1}});
    FillConstant(bench.bottom(0), 1.0F);
    bench.Forward();
    SetDiff(bench.top(0), {1, 2});
    SetDiff(bench.bottom(0), {7, 7});
    bench.Backward(/*propagate_down=*/false);
    EXPECT_EQ(DiffOf(*bench.bottom(0)), (std::vector<float>{7, 7})) << region;
  }
}

TEST(LRNDeathTest, ChecksNumbersOfBlobs) {
  const std::string text = Normalization{3}.text();
  const std::string input =
      "Check failed: bottom.size() == 1 (2 vs. 1) Local Response Normalization Layer takes a "
      "single blob as input.";
  const std::string output =
      "Check failed: top->size() == 1 (2 vs. 1) Local Response Normalization Layer takes a single "
      "blob as output.";
  EXPECT_DEATH(LayerBench(text, {{1, 1, 1, 1}, {1, 1, 1, 1}}), HasSubstr(input));
  EXPECT_DEATH(LayerBench(text, {{1, 1, 1, 1}}, 2), HasSubstr(output));

  LayerBench bench(text, {{1, 1, 1, 1}});
  std::vector<Blob<float>*> two = {bench.bottom(0), bench.bottom(0)};
  EXPECT_DEATH(bench.layer().AlterInputShape(1, 1, two, &bench.tops()), HasSubstr(input));
  EXPECT_DEATH(bench.layer().AlterInputShape(1, 1, bench.bottoms(), &two), HasSubstr(output));
}

TEST(LRNDeathTest, RefusesAWindowOfNoChannel) {
  EXPECT_DEATH(LayerBench(Normalization{0}.text(), {{1, 1, 1, 1}}),
               HasSubstr("local_size should be at least 1."));
  EXPECT_DEATH(LayerBench("type: LRN lrn_param { local_size: 3000000000 }", {{1, 1, 1, 1}}),
               HasSubstr("local_size should be at least 1."));
  EXPECT_DEATH(LayerBench("type: LRN lrn_param { local_size: 2147483648 }", {{1, 1, 1, 1}}),
               HasSubstr("local_size should be at least 1."));  // The least int.
  EXPECT_DEATH(LayerBench("type: LRN lrn_param { local_size: 2000000000 }", {{1, 1, 2, 1}}),
               HasSubstr("too many elements"));
}

TEST(LRNDeathTest, EvenWindowWithinAChannelLosesARow) {
  EXPECT_DEATH(LayerBench(Normalization{4, 1, 0.75F, "WITHIN_CHANNEL"}.text(), {{1, 1, 6, 6}}),
               HasSubstr("Check failed: pool_output_.height() == height_ (5 vs. 6)"));
}

TEST(LRNDeathTest, ForwardStopsAtAnInputBeyondTheSizeAtSetUp) {
  LayerBench bench(Normalization{3}.text(), {{1, 2, 3, 3}});
  bench.AlterBottom(0, 1, 2, 4, 3);
  EXPECT_DEATH(bench.Forward(), HasSubstr("beyond the memory that it got at SetUp"));
}

TEST(LRNDeathTest, WithinChannelMustNotBeResized) {
  LayerBench bench(Normalization{3, 1, 0.75F, "WITHIN_CHANNEL"}.text(), {{1, 2, 4, 4}});
  bench.AlterBottom(0, 1, 2, 3, 3);
  EXPECT_DEATH(bench.Forward(), HasSubstr("Check failed: count_ == other.count()"));
}

#ifdef NDEBUG  // The setter of an enumeration asserts that the number is known.
TEST(LRNDeathTest, RefusesAnUnknownRegion) {
  LayerBench bench(Normalization{3}.text(), {{1, 1, 1, 1}});
  caffe::LayerParameter param = bench.layer().layer_param();
  param.mutable_lrn_param()->set_norm_region(static_cast<caffe::LRNParameter_NormRegion>(2));
  LRNLayer<float> layer(param);
  EXPECT_DEATH(layer.SetUp(bench.bottoms(), &bench.tops()),
               HasSubstr("Unknown normalization region."));
  EXPECT_DEATH(layer.Forward(bench.bottoms(), &bench.tops()),
               HasSubstr("Unknown normalization region."));
  EXPECT_DEATH(layer.Backward(bench.tops(), true, &bench.bottoms()),
               HasSubstr("Unknown normalization region."));
}
#endif

}  // namespace
}  // namespace caffe_test
