// Tests of the layer that makes rows of images.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <vector>

#include "caffe/common_layers.hpp"
#include "tests/caffe/test_helpers.h"

namespace caffe_test {
namespace {

using caffe::FlattenLayer;
using testing::HasSubstr;

TEST(Flatten, SharesMemoryBothWays) {
  LayerBench bench("type: FLATTEN", {{2, 3, 4, 5}});
  EXPECT_EQ(ShapeOf(*bench.top(0)), (std::vector<int>{2, 60, 1, 1}));
  EXPECT_EQ(bench.layer_as<FlattenLayer<float>>().count_, 120);
  FillSeeded(bench.bottom(0), 1);
  ExpectLayerMatchesReference(
      bench, [](const std::vector<std::vector<double>>& inputs) { return inputs; });
  EXPECT_EQ(bench.top(0)->cpu_data(), bench.bottom(0)->cpu_data());
  EXPECT_EQ(bench.top(0)->cpu_diff(), bench.bottom(0)->cpu_diff());
}

TEST(FlattenDeathTest, ChecksNumbersOfBlobs) {
  EXPECT_DEATH(LayerBench("type: FLATTEN", {{1, 1, 1, 1}, {1, 1, 1, 1}}),
               HasSubstr("Check failed: bottom.size() == 1 (2 vs. 1) Flatten Layer takes a single "
                         "blob as input."));
  EXPECT_DEATH(LayerBench("type: FLATTEN", {{1, 1, 1, 1}}, 2),
               HasSubstr("Check failed: top->size() == 1 (2 vs. 1) Flatten Layer takes a single "
                         "blob as output."));
}

}  // namespace
}  // namespace caffe_test
