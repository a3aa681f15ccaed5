// Tests of PoolingLayer.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "caffe/vision_layers.hpp"
#include "tests/caffe/test_helpers.h"

namespace caffe_test {
namespace {

using caffe::PoolingLayer;
using testing::HasSubstr;

struct Pooling {
  const char* method;
  int kernel, stride, pad;

  std::string text() const {
    return std::string("type: POOLING pooling_param { pool: ") + method +
           " kernel_size: " + std::to_string(kernel) + " stride: " + std::to_string(stride) +
           " pad: " + std::to_string(pad) + " }";
  }
  int Pooled(int size) const {
    const int difference = size + 2 * pad - kernel;
    int steps = 0;  // The smallest number of strides that covers the difference.
    while (steps * stride < difference) ++steps;
    while ((steps - 1) * stride >= difference) --steps;
    return steps + 1;
  }
};

// The definition, one window after the other in row-major order, in the arithmetic of Value.
template <typename Value>
std::vector<Value> ReferencePool(const Pooling& pooling, const std::vector<Value>& input,
                                 int planes, int height, int width) {
  const bool max = std::string(pooling.method) == "MAX";
  const int k = pooling.kernel, s = pooling.stride, pad = pooling.pad;
  std::vector<Value> output;
  for (int p = 0; p < planes; ++p) {
    for (int ph = 0; ph < pooling.Pooled(height); ++ph) {
      for (int pw = 0; pw < pooling.Pooled(width); ++pw) {
        const int hstart = ph * s - pad, wstart = pw * s - pad;
        const int hend = std::min(hstart + k, height + pad);
        const int wend = std::min(wstart + k, width + pad);
        Value cell = max ? -FLT_MAX : 0;
        for (int h = std::max(hstart, 0); h < std::min(hend, height); ++h) {
          for (int w = std::max(wstart, 0); w < std::min(wend, width); ++w) {
            const Value value = input[(p * height + h) * width + w];
            if (!max) {
              cell += value;
            } else if (value > cell) {
              cell = value;
            }
          }
        }
        if (!max) cell /= static_cast<Value>((hend - hstart) * (wend - wstart));
        output.push_back(cell);
      }
    }
  }
  return output;
}

std::uint32_t BitsOf(float value) {
  std::uint32_t bits;
  std::memcpy(&bits, &value, sizeof(bits));
  return bits;
}

// Equal to the last bit, so that 0 and -0 differ; NaN is always the same.
void ExpectSameBits(const std::vector<float>& expected, const std::vector<float>& actual) {
  ASSERT_EQ(expected.size(), actual.size());
  for (std::size_t i = 0; i < expected.size(); ++i) {
    if (std::isnan(expected[i]) && std::isnan(actual[i])) continue;
    ASSERT_EQ(BitsOf(expected[i]), BitsOf(actual[i]))
        << "at element " << i << ": " << expected[i] << " and " << actual[i];
  }
}

// Few different values, so that ties are common, with all that is special about floats.
std::vector<float> TrickyValues(int count, unsigned seed) {
  const float infinity = std::numeric_limits<float>::infinity();
  const float nan = std::numeric_limits<float>::quiet_NaN();
  const float choices[] = {0.0F, -0.0F, nan, -infinity, -1.0F, -FLT_MAX, 0.0F, -0.0F};
  std::mt19937 engine(seed);
  std::vector<float> values(count);
  for (float& value : values) value = choices[engine() % 8];
  values[engine() % count] = infinity;
  return values;
}

void ExpectPools(const Pooling& pooling, int num, int channels, int height, int width,
                 const std::vector<float>& input) {
  SCOPED_TRACE(pooling.text() + " on " + std::to_string(height) + " by " + std::to_string(width));
  LayerBench bench(pooling.text(), {{num, channels, height, width}});
  ASSERT_EQ(ShapeOf(*bench.top(0)),
            (std::vector<int>{num, channels, pooling.Pooled(height), pooling.Pooled(width)}));
  SetData(bench.bottom(0), input);
  EXPECT_EQ(bench.Forward(), 0.0F);
  ExpectSameBits(ReferencePool(pooling, input, num * channels, height, width),
                 DataOf(*bench.top(0)));
}

const int kSizes[][2] = {{1, 1}, {2, 3}, {3, 2}, {5, 8}, {9, 7}, {13, 22}};

TEST(MaxPooling, MatchesDefinitionToTheBitOverSweptShapes) {
  for (const auto& size : kSizes) {
    for (int kernel = 1; kernel <= 5; ++kernel) {
      for (int stride = 1; stride <= 5; ++stride) {
        const Pooling pooling{"MAX", kernel, stride, 0};
        if (pooling.Pooled(size[0]) < 1 || pooling.Pooled(size[1]) < 1) continue;
        const int count = 2 * 3 * size[0] * size[1];
        ExpectPools(pooling, 2, 3, size[0], size[1], SeededValues(count, 1));
        ExpectPools(pooling, 2, 3, size[0], size[1], TrickyValues(count, 2));
      }
    }
  }
}

// More cells a row than are pooled at once, in planes with and without an incomplete last window.
TEST(MaxPooling, MatchesDefinitionToTheBitOnWidePlanes) {
  for (int kernel : {2, 3}) {
    for (int width : {127, 128, 129, 130, 258, 391}) {
      for (int height : {6, 7}) {
        const Pooling pooling{"MAX", kernel, 2, 0};
        ExpectPools(pooling, 1, 2, height, width, SeededValues(2 * height * width, 3));
        ExpectPools(pooling, 1, 2, height, width, TrickyValues(2 * height * width, 4));
      }
    }
  }
}

TEST(AveragePooling, MatchesDefinitionToTheBitOverSweptShapes) {
  for (const auto& size : kSizes) {
    for (int kernel = 1; kernel <= 5; ++kernel) {
      for (int stride = 1; stride <= 5; ++stride) {
        for (int pad = 0; pad <= 6; pad += pad < 2 ? 1 : 4) {
          const Pooling pooling{"AVE", kernel, stride, pad};
          if (pooling.Pooled(size[0]) < 1 || pooling.Pooled(size[1]) < 1) continue;
          const int count = 2 * 3 * size[0] * size[1];
          ExpectPools(pooling, 2, 3, size[0], size[1], SeededValues(count, 1));
          ExpectPools(pooling, 2, 3, size[0], size[1], TrickyValues(count, 2));
        }
      }
    }
  }
}

TEST(Pooling, RoundsTheNumberOfCellsUp) {
  const int sizes[][2] = {{24, 12}, {23, 11}, {22, 11}, {3, 1}, {2, 1}, {382, 191}};
  for (const auto& size : sizes) {
    LayerBench bench(Pooling{"MAX", 3, 2, 0}.text(), {{1, 1, size[0], 3}});
    EXPECT_EQ(bench.top(0)->height(), size[1]) << size[0];
    EXPECT_EQ(bench.top(0)->width(), 1);
  }
}

TEST(Pooling, ExposesItsSizes) {
  LayerBench bench(Pooling{"AVE", 3, 2, 1}.text(), {{2, 3, 9, 8}});
  const auto& layer = bench.layer_as<PoolingLayer<float>>();
  EXPECT_EQ(layer.kernel_size_, 3);
  EXPECT_EQ(layer.stride_, 2);
  EXPECT_EQ(layer.pad_, 1);
  EXPECT_EQ(layer.channels_, 3);
  EXPECT_EQ(layer.height_, 9);
  EXPECT_EQ(layer.width_, 8);
  EXPECT_EQ(layer.pooled_height_, 5);
  EXPECT_EQ(layer.pooled_width_, 5);  // ceil(7 / 2) + 1.
  EXPECT_EQ(layer.rand_idx_.count(), 0);
}

TEST(AveragePooling, DividesAnIncompleteLastWindowByWhatItCovers) {
  LayerBench bench(Pooling{"AVE", 3, 2, 0}.text(), {{1, 1, 22, 22}});
  FillConstant(bench.bottom(0), 0.0F);
  bench.bottom(0)->mutable_cpu_data()[21 * 22 + 21] = 8.0F;
  bench.Forward();
  EXPECT_EQ(bench.top(0)->cpu_data()[10 * 11 + 10], 2.0F);  // 8 / 4.
}

TEST(AveragePooling, CountsThePaddingButNotWhatLiesBehindIt) {
  LayerBench bench(Pooling{"AVE", 3, 2, 1}.text(), {{1, 1, 4, 4}});
  FillConstant(bench.bottom(0), 36.0F);
  bench.Forward();
  // Windows of 3, 3 and 2 padded rows, which hold 2, 3 and 1 rows of the image.
  EXPECT_EQ(
      DataOf(*bench.top(0)),
      (std::vector<float>{36 * 4.0F / 9, 36 * 6.0F / 9, 36 * 2.0F / 6, 36 * 6.0F / 9, 36 * 9.0F / 9,
                          36 * 3.0F / 6, 36 * 2.0F / 6, 36 * 3.0F / 6, 36 * 1.0F / 4}));
}

TEST(Pooling, WindowsOutsideTheImageFollowTheFormulas) {
  // Stride 3, kernel 1 on 5: ceil(4 / 3) + 1 = 3 cells, the last of which starts at 6.
  ExpectPools({"MAX", 1, 3, 0}, 1, 1, 5, 5, SeededValues(25, 3));
  LayerBench max(Pooling{"MAX", 1, 3, 0}.text(), {{1, 1, 5, 1}});
  FillConstant(max.bottom(0), 1.0F);
  max.Forward();
  EXPECT_EQ(DataOf(*max.top(0)), (std::vector<float>{1, 1, -FLT_MAX}));
  LayerBench average(Pooling{"AVE", 1, 3, 0}.text(), {{1, 1, 5, 1}});
  FillConstant(average.bottom(0), 1.0F);
  average.Forward();
  ExpectSameBits({1, 1, -0.0F}, DataOf(*average.top(0)));  // 0 / -1.
}

TEST(AveragePooling, WindowsFarBehindTheImageHaveAPositiveArea) {
  // The second cells start 100000000 after the first: both lengths are about -1e8.
  LayerBench bench(Pooling{"AVE", 1, 100000000, 0}.text(), {{1, 1, 5, 5}});
  FillConstant(bench.bottom(0), 3.0F);
  bench.Forward();
  ExpectSameBits({3, -0.0F, -0.0F, 0}, DataOf(*bench.top(0)));
}

TEST(Pooling, AWindowWithoutSizeDividesByZero) {
  LayerBench average(Pooling{"AVE", 0, 1, 0}.text(), {{1, 1, 1, 1}});
  FillConstant(average.bottom(0), 1.0F);
  average.Forward();
  for (float value : DataOf(*average.top(0))) EXPECT_TRUE(std::isnan(value));
}

TEST(MaxPooling, APlaneOfTheLowestFloatsStaysIt) {
  LayerBench bench(Pooling{"MAX", 3, 2, 0}.text(), {{1, 2, 6, 6}});
  FillConstant(bench.bottom(0), -FLT_MAX);
  bench.Forward();
  EXPECT_EQ(DataOf(*bench.top(0)), std::vector<float>(18, -FLT_MAX));
}

TEST(Pooling, ShrunkTopLeavesItsTailUntouched) {
  for (const char* method : {"MAX", "AVE"}) {
    LayerBench bench(Pooling{method, 3, 2, 0}.text(), {{1, 1, 9, 9}});
    FillConstant(bench.bottom(0), 3.0F);
    FillConstant(bench.top(0), 7.0F);
    bench.AlterBottom(0, 1, 1, 5, 5);
    bench.Forward();
    const float* values = bench.top(0)->cpu_data();
    EXPECT_EQ(std::vector<float>(values, values + 4), std::vector<float>(4, 3.0F));
    EXPECT_EQ(std::vector<float>(values + 4, values + 16), std::vector<float>(12, 7.0F));
  }
}

TEST(PoolingAlterInputShape, EqualsAFreshLayerDownAndUp) {
  for (const Pooling& pooling : {Pooling{"MAX", 3, 2, 0}, Pooling{"AVE", 3, 2, 1}}) {
    LayerBench bench(pooling.text(), {{2, 3, 13, 11}});
    const float* memory = bench.top(0)->cpu_data();
    const int sizes[][2] = {{13, 11}, {6, 9}, {1, 2}, {11, 13}, {13, 11}};
    for (const auto& size : sizes) {
      bench.AlterBottom(0, 2, 3, size[0], size[1]);
      const std::vector<float> input = SeededValues(6 * size[0] * size[1], size[0]);
      SetData(bench.bottom(0), input);
      bench.Forward();
      EXPECT_EQ(ShapeOf(*bench.top(0)),
                (std::vector<int>{2, 3, pooling.Pooled(size[0]), pooling.Pooled(size[1])}));
      ExpectSameBits(ReferencePool(pooling, input, 6, size[0], size[1]), DataOf(*bench.top(0)));
      EXPECT_EQ(bench.top(0)->cpu_data(), memory);
    }
  }
}

TEST(PoolingBackward, IsTheGradient) {
  const Pooling cases[] = {{"MAX", 3, 2, 0}, {"MAX", 2, 3, 0}, {"MAX", 2, 1, 0}, {"AVE", 3, 2, 0},
                           {"AVE", 3, 2, 1}, {"AVE", 5, 4, 2}, {"AVE", 1, 3, 0}};
  for (const Pooling& pooling : cases) {
    SCOPED_TRACE(pooling.text());
    LayerBench bench(pooling.text(), {{2, 2, 8, 5}});
    // All different and further apart than the step, so that the maximum is smooth.
    std::vector<float> values(bench.bottom(0)->count());
    for (std::size_t i = 0; i < values.size(); ++i) {
      values[i] = static_cast<float>(i * 61 % 160) / 100;
    }
    SetData(bench.bottom(0), values);
    ExpectLayerMatchesReference(bench, [&](const std::vector<std::vector<double>>& inputs) {
      return std::vector<std::vector<double>>{ReferencePool(pooling, inputs[0], 4, 8, 5)};
    });
  }
}

TEST(MaxPoolingBackward, PassesTheGradientToEveryInputThatEqualsTheMaximum) {
  LayerBench bench(Pooling{"MAX", 2, 1, 0}.text(), {{1, 1, 2, 3}});
  SetData(bench.bottom(0), {5, 5, 1, 0, 5, 5});
  bench.Forward();
  SetDiff(bench.top(0), {10, 100});
  bench.Backward();
  EXPECT_EQ(DiffOf(*bench.bottom(0)), (std::vector<float>{10, 110, 0, 0, 110, 100}));
}

TEST(PoolingBackward, WithoutPropagationLeavesTheBottomGradientAlone) {
  LayerBench bench(Pooling{"MAX", 2, 2, 0}.text(), {{1, 1, 2, 2}});
  SetDiff(bench.bottom(0), std::vector<float>(4, 7.0F));
  bench.Forward();
  SetDiff(bench.top(0), {1});
  bench.Backward(/*propagate_down=*/false);
  EXPECT_EQ(DiffOf(*bench.bottom(0)), std::vector<float>(4, 7.0F));
}

TEST(StochasticPooling, ShapesItsIndexAtSetUp) {
  LayerBench bench(Pooling{"STOCHASTIC", 2, 2, 0}.text(), {{2, 3, 4, 6}});
  EXPECT_EQ(ShapeOf(bench.layer_as<PoolingLayer<float>>().rand_idx_),
            (std::vector<int>{2, 3, 2, 3}));
}

// The window of the last cell begins 65518 places past its end on both axes: the divisor is their
// product, 4292608324, and a wrapped 32-bit one would be negative.
TEST(AveragePooling, DividesByWindowSizeBeyondThirtyTwoBits) {
  LayerBench bench(Pooling{"AVE", 4, 65536, 6}.text(), {{1, 1, 6, 6}});
  FillConstant(bench.bottom(0), 1);
  bench.Forward();
  ASSERT_EQ((std::vector<int>{1, 1, 2, 2}), ShapeOf(*bench.top(0)));
  EXPECT_EQ(0, bench.top(0)->cpu_data()[3]);
  EXPECT_FALSE(std::signbit(bench.top(0)->cpu_data()[3]));
}

TEST(StochasticPoolingDeathTest, IsNotImplemented) {
  LayerBench bench(Pooling{"STOCHASTIC", 2, 2, 0}.text(), {{1, 1, 4, 4}});
  EXPECT_DEATH(bench.Forward(), HasSubstr("Not Implemented Yet"));
  EXPECT_DEATH(bench.Backward(), HasSubstr("Not Implemented Yet"));
}

#ifdef NDEBUG  // The setter of an enumeration asserts that the number is known.
TEST(PoolingDeathTest, RefusesAnUnknownMethod) {
  caffe::LayerParameter param = ParseLayer(Pooling{"MAX", 2, 2, 0}.text());
  param.mutable_pooling_param()->set_pool(static_cast<caffe::PoolingParameter_PoolMethod>(3));
  PoolingLayer<float> layer(param);
  Blob<float> bottom(1, 1, 4, 4), top;
  std::vector<Blob<float>*> bottoms = {&bottom}, tops = {&top};
  layer.SetUp(bottoms, &tops);
  EXPECT_DEATH(layer.Forward(bottoms, &tops), HasSubstr("Unknown pooling method."));
  EXPECT_DEATH(layer.Backward(tops, true, &bottoms), HasSubstr("Unknown pooling method."));
}
#endif

TEST(PoolingDeathTest, ChecksNumbersOfBlobs) {
  const std::string text = Pooling{"MAX", 2, 2, 0}.text();
  EXPECT_DEATH(LayerBench(text, {}, 1),
               HasSubstr("Check failed: bottom.size() == 1 (0 vs. 1) PoolingLayer takes a single "
                         "blob as input."));
  EXPECT_DEATH(LayerBench(text, {{1, 1, 3, 3}}, 2),
               HasSubstr("Check failed: top->size() == 1 (2 vs. 1) PoolingLayer takes a single "
                         "blob as output."));
}

TEST(PoolingDeathTest, RefusesPaddingForOtherMethodsThanAverage) {
  for (const char* method : {"MAX", "STOCHASTIC"}) {
    EXPECT_DEATH(
        LayerBench(Pooling{method, 3, 2, 1}.text(), {{1, 1, 4, 4}}),
        testing::AllOf(HasSubstr("Check failed: this->layer_param_.pooling_param().pool() == "
                                 "PoolingParameter_PoolMethod_AVE "),
                       HasSubstr("Padding implemented only for average pooling.")));
  }
}

TEST(PoolingDeathTest, RefusesBadWindows) {
  const auto expect_dies = [](const std::string& param, const std::string& message) {
    EXPECT_DEATH(LayerBench("type: POOLING pooling_param { " + param + " }", {{1, 1, 4, 4}}),
                 HasSubstr(message));
  };
  expect_dies("kernel_size: 2 stride: 0", "stride should be at least 1.");
  expect_dies("kernel_size: 4294967295", "kernel_size is too large.");
  expect_dies("pool: AVE kernel_size: 1 pad: 3000000000", "pad is too large.");
  expect_dies("pool: AVE kernel_size: 1 pad: 900000000", "too large together");
  expect_dies("pool: AVE kernel_size: 1 pad: 100000", "too many elements");
  expect_dies("kernel_size: 8", "Check failed: height >= 0");
}

TEST(PoolingDeathTest, ForwardStopsAtAnInputBeyondTheSizeAtSetUp) {
  LayerBench bench(Pooling{"MAX", 3, 2, 0}.text(), {{1, 1, 5, 5}});
  bench.AlterBottom(0, 1, 1, 6, 6);
  EXPECT_DEATH(bench.Forward(), HasSubstr("beyond the memory that it got at SetUp"));
}

}  // namespace
}  // namespace caffe_test
