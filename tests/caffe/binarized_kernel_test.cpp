// Tests of the inert table step of the binarized forward path.

#include "caffe/util/binarized_kernel.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

namespace caffe_test {
namespace {

using caffe::BinarizedKernel;
using testing::HasSubstr;

// An image of 4 by 5 with 2 by 3 lookups a plane, each of one row of 2 floats.
class BinarizedKernelTest : public testing::Test {
 protected:
  BinarizedKernelTest() : codes_(9 * kCodes), scratch_(6 * kPlaneStride), kernel_() {
    kernel_.height = 4;
    kernel_.width = 5;
    kernel_.row_length = 2;
    kernel_.output_height = 2;
    kernel_.output_width = 3;
    kernel_.plane_length = 12;
    kernel_.plane_stride = kPlaneStride;
    kernel_.scratch = scratch_.data();
    for (int c = 0; c < 3; ++c) {
      for (int i = 0; i < 3; ++i) kernel_.colours[c].codes[i] = &codes_[(c * 3 + i) * kCodes];
      for (int k = 0; k < 512; ++k) kernel_.colours[c].table[k] = 1000.0F * c + k;
    }
    for (int i = 0; i < 9 * kCodes; ++i) codes_[i] = static_cast<std::uint16_t>(i * 7 % 500);
    for (int i = 0; i < 6 * kPlaneStride; ++i) scratch_[i] = 0.5F * i;
  }

  static constexpr int kCodes = 6;
  static constexpr int kPlaneStride = 16;
  std::vector<std::uint16_t> codes_;
  std::vector<float> scratch_;
  BinarizedKernel kernel_;
};

TEST_F(BinarizedKernelTest, SumsTheFirstThreeScratchPlanes) {
  std::vector<float> output(12, -1.0F);
  kernel_.AddLookups(nullptr, output.data());
  for (int i = 0; i < 12; ++i) {
    EXPECT_EQ(output[i], 0.5F * (i + (16 + i) + (32 + i)));
  }
}

TEST_F(BinarizedKernelTest, LooksRowsUpByTheFirstCodeArrayIntoTheLastThreePlanes) {
  std::vector<float> output(12);
  kernel_.AddLookups(nullptr, output.data());
  for (int c = 0; c < 3; ++c) {
    for (int i = 0; i < 6; ++i) {
      const int first = (c * 3 * kCodes + i) * 7 % 500;
      EXPECT_EQ(scratch_[(3 + c) * kPlaneStride + 2 * i], 1000.0F * c + first);
      EXPECT_EQ(scratch_[(3 + c) * kPlaneStride + 2 * i + 1], 1000.0F * c + first + 1);
    }
  }
}

TEST_F(BinarizedKernelTest, LeavesTheCodesAsTheyStood) {
  const std::vector<std::uint16_t> before = codes_;
  std::vector<float> output(12);
  kernel_.AddLookups(nullptr, output.data());
  EXPECT_EQ(codes_, before);
}

using BinarizedKernelDeathTest = BinarizedKernelTest;

TEST_F(BinarizedKernelDeathTest, RefusesACodeBehindTheTable) {
  std::vector<float> output(12);
  codes_[3 * kCodes] = 511;
  EXPECT_DEATH(kernel_.AddLookups(nullptr, output.data()), HasSubstr("(513 vs. 512)"));
}

}  // namespace
}  // namespace caffe_test
