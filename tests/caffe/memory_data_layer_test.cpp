// Tests of MemoryDataLayer.

#include <gmock/gmock.h>

#include "caffe/data_layers.hpp"
#include "tests/caffe/test_helpers.h"

namespace caffe_test {
namespace {

using testing::HasSubstr;
using MemoryLayer = caffe::MemoryDataLayer<float>;

std::string Text(int batch_size, int channels, int height, int width) {
  return "name: 'memory' type: MEMORY_DATA memory_data_param { batch_size: " +
         std::to_string(batch_size) + " channels: " + std::to_string(channels) +
         " height: " + std::to_string(height) + " width: " + std::to_string(width) + " }";
}

TEST(MemoryDataLayer, ShapesTopsByDefinition) {
  LayerBench bench(Text(5, 2, 3, 4), {}, 2);
  EXPECT_EQ((std::vector<int>{5, 2, 3, 4}), ShapeOf(*bench.top(0)));
  EXPECT_EQ((std::vector<int>{5, 1, 1, 1}), ShapeOf(*bench.top(1)));
  const auto& layer = bench.layer_as<MemoryLayer>();
  EXPECT_EQ(24, layer.datum_size());
  EXPECT_EQ(2, layer.datum_channels());
  EXPECT_EQ(3, layer.datum_height());
  EXPECT_EQ(4, layer.datum_width());
  EXPECT_EQ(5, layer.batch_size());
}

TEST(MemoryDataLayer, PointsTopsAtArraysBatchByBatchAndWraps) {
  LayerBench bench(Text(2, 1, 1, 3), {}, 2);
  std::vector<float> data(6 * 3);
  std::vector<float> labels(6);
  auto& layer = bench.layer_as<MemoryLayer>();
  layer.Reset(data.data(), labels.data(), 6);
  EXPECT_EQ(6, layer.n());
  for (int batch = 0; batch < 7; ++batch) {
    EXPECT_EQ(0, bench.Forward());
    const int position = batch % 3 * 2;
    EXPECT_EQ(data.data() + position * 3, bench.top(0)->cpu_data());
    EXPECT_EQ(labels.data() + position, bench.top(1)->cpu_data());
  }
  EXPECT_EQ(2, layer.pos());
}

TEST(MemoryDataLayer, SeesLaterChangesOfArrays) {
  LayerBench bench(Text(1, 1, 1, 1), {}, 2);
  float value = 1;
  float label = 2;
  bench.layer_as<MemoryLayer>().Reset(&value, &label, 1);
  bench.Forward();
  value = 5;
  EXPECT_EQ(5, bench.top(0)->cpu_data()[0]);
}

TEST(MemoryDataLayer, StartsOverAtReset) {
  LayerBench bench(Text(1, 1, 1, 1), {}, 2);
  float values[] = {1, 2};
  float labels[] = {3, 4};
  auto& layer = bench.layer_as<MemoryLayer>();
  layer.Reset(values, labels, 2);
  bench.Forward();
  layer.Reset(values, labels, 2);
  bench.Forward();
  EXPECT_EQ(values, bench.top(0)->cpu_data());
}

TEST(MemoryDataLayer, LeavesArraysToCaller) {
  std::vector<float> data(1, 7.F);
  std::vector<float> labels(1, 8.F);
  {
    LayerBench bench(Text(1, 1, 1, 1), {}, 2);
    bench.layer_as<MemoryLayer>().Reset(data.data(), labels.data(), 1);
    bench.Forward();
    bench.Backward();
  }
  EXPECT_EQ(7, data[0]);
  EXPECT_EQ(8, labels[0]);
}

TEST(MemoryDataLayerDeathTest, RefusesBottomAndOtherThanTwoTops) {
  EXPECT_DEATH(LayerBench(Text(1, 1, 1, 1), {{1, 1, 1, 1}}, 2),
               HasSubstr("Check failed: bottom.size() == 0 (1 vs. 0) Memory Data Layer takes no "
                         "blobs as input."));
  EXPECT_DEATH(LayerBench(Text(1, 1, 1, 1), {}, 1),
               HasSubstr("Check failed: top->size() == 2 (1 vs. 2) Memory Data Layer takes two "
                         "blobs as output."));
}

TEST(MemoryDataLayerDeathTest, RefusesMissingSizes) {
  const auto failure = HasSubstr(
      "Check failed: batch_size_ * datum_size_ > 0 (0 vs. 0) batch_size, channels, "
      "height, and width must be specified and positive in memory_data_param");
  EXPECT_DEATH(LayerBench("type: MEMORY_DATA", {}, 2), failure);
  EXPECT_DEATH(LayerBench(Text(0, 1, 1, 1), {}, 2), failure);
  EXPECT_DEATH(LayerBench(Text(1, 0, 1, 1), {}, 2), failure);
  EXPECT_DEATH(LayerBench(Text(1, 1, 0, 1), {}, 2), failure);
  EXPECT_DEATH(LayerBench(Text(1, 1, 1, 0), {}, 2), failure);
}

TEST(MemoryDataLayerDeathTest, RefusesSizesBeyondThirtyTwoBits) {
  EXPECT_DEATH(LayerBench(Text(1, 1, 65536, 65536), {}, 2), HasSubstr("too large"));
  EXPECT_DEATH(LayerBench(Text(0, 65536, 65536, 65536), {}, 2), HasSubstr("too large"));
  EXPECT_DEATH(LayerBench(Text(65536, 1, 1, 65536), {}, 2),
               HasSubstr("The batch in memory_data_param is too large."));
  EXPECT_DEATH(LayerBench("type: MEMORY_DATA memory_data_param { batch_size: 4294967295 }", {}, 2),
               HasSubstr("A size in memory_data_param is too large."));
}

TEST(MemoryDataLayerDeathTest, RefusesForwardBeforeReset) {
  LayerBench bench(Text(1, 1, 1, 1), {}, 2);
  EXPECT_DEATH(bench.Forward(),
               HasSubstr("MemoryDataLayer needs to be initalized by calling Reset"));
}

TEST(MemoryDataLayerDeathTest, RefusesBatchBehindEndOfArrays) {
  LayerBench bench(Text(2, 1, 1, 1), {}, 2);
  float values[3] = {};
  float labels[3] = {};
  bench.layer_as<MemoryLayer>().Reset(values, labels, 3);
  bench.Forward();
  EXPECT_DEATH(bench.Forward(), HasSubstr("The arrays end inside of a batch."));
}

TEST(MemoryDataLayerDeathTest, RefusesArraysThatAreNotThere) {
  LayerBench bench(Text(1, 1, 1, 1), {}, 2);
  float value = 0;
  auto& layer = bench.layer_as<MemoryLayer>();
  EXPECT_DEATH(layer.Reset(nullptr, &value, 1), HasSubstr("Check failed: data "));
  EXPECT_DEATH(layer.Reset(&value, nullptr, 1), HasSubstr("Check failed: labels "));
  EXPECT_DEATH(layer.Reset(&value, &value, 0), HasSubstr("Check failed: n > 0"));
}

}  // namespace
}  // namespace caffe_test
