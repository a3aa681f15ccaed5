// Histograms around a point.

#include "alignment/descriptor_histogram.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <random>
#include <vector>

#include "alignment/descriptor_pyramid.h"
#include "tests/alignment/reference_pyramid.h"
#include "tests/alignment/textured_pyramid.h"

namespace {

using SDMCore::DescriptorPyramid;
using textured::built;
using textured::texture;
using Bytes = std::array<std::uint8_t, 128>;

// Bytes of two descriptors that differ. The sums of the two are rounded in another order, so a byte
// now and then falls on the other side of a half; none differs by more.
int differentBytes(const std::uint8_t* out, const std::uint8_t* expected) {
  int different = 0;
  for (int i = 0; i < 128; ++i) {
    EXPECT_LE(std::abs(int{out[i]} - int{expected[i]}), 1) << i;
    different += out[i] != expected[i] ? 1 : 0;
  }
  return different;
}

TEST(ComputeDescriptor, EqualsThePlainDescriptorUpToRounding) {
  const int width = 83;
  const int height = 71;
  std::mt19937 random(17);
  std::uniform_real_distribution<float> across(-12.0F, static_cast<float>(width) + 12.0F);
  for (const int levels : {2, 3}) {
    DescriptorPyramid pyramid = built(texture(width, height, 10), width, height, levels);
    // The planes of the code under test, so that the comparison is about the descriptor alone.
    std::vector<reference::Picture> planes;
    for (const SDMCore::Plane& plane : pyramid.planes[0]) {
      planes.emplace_back(width, height);
      planes.back().pixels = plane.storage;
    }
    int flat = 0;
    int different = 0;
    int taken = 0;
    for (int i = 0; i < 600; ++i) {
      const float x = i % 7 == 0 ? static_cast<float>(i % width) : across(random);
      const float y = i % 11 == 0 ? static_cast<float>(i % height) + 0.5F : across(random);
      const float level = static_cast<float>(i % (levels + 3));
      Bytes expected;
      expected.fill(77);
      Bytes out = expected;
      float norm = -1;
      const float expected_norm =
          reference::descriptor(planes, levels, x, y, level, expected.data());
      pyramid.computeDescriptor(x, y, level, &norm, out.data());
      ASSERT_NEAR(norm, expected_norm, 1e-5F * expected_norm) << x << " " << y << " " << level;
      different += differentBytes(out.data(), expected.data());
      taken += static_cast<int>(out.size());
      flat += expected_norm == 0.0F ? 1 : 0;
    }
    EXPECT_GT(flat, 0);
    EXPECT_LT(flat, 300);
    EXPECT_LT(different, taken / 1000);
  }
}

TEST(ComputeDescriptor, SeveralAtOnceEqualOneByOne) {
  const int width = 83;
  const int height = 71;
  DescriptorPyramid pyramid = built(texture(width, height, 10), width, height, 3);
  std::mt19937 random(23);
  std::uniform_real_distribution<float> across(-12.0F, static_cast<float>(width) + 12.0F);
  for (const std::size_t count : {0U, 1U, 2U, 3U, 8U, 67U}) {
    std::vector<float> points(2 * count);
    for (float& coordinate : points) {
      coordinate = across(random);
    }
    if (count > 2) {
      points[2] = std::nanf("");
    }
    std::vector<float> norms(count, -1.0F);
    std::vector<std::uint8_t> out(128 * count, 33);
    pyramid.computeDescriptors(points.data(), count, 1, norms.data(), out.data());
    for (std::size_t i = 0; i < count; ++i) {
      Bytes expected;
      expected.fill(33);
      float norm = -1;
      pyramid.computeDescriptor(points[2 * i], points[2 * i + 1], 1, &norm, expected.data());
      EXPECT_EQ(norms[i], norm) << count << " " << i;
      EXPECT_TRUE(std::equal(expected.begin(), expected.end(), out.data() + 128 * i))
          << count << " " << i;
    }
  }
}

// Windows that reach ever further, so that the gradients known grow between the calls.
TEST(ComputeDescriptor, SeveralAtOnceEqualThePlainDescriptorsHoweverFarTheyReach) {
  const int width = 230;
  const int height = 190;
  const std::vector<std::uint8_t> pixels = texture(width, height, 31);
  std::mt19937 random(37);
  for (const int level : {0, 1, 4, 5}) {
    DescriptorPyramid pyramid = built(pixels, width, height, 3);
    std::vector<reference::Picture> planes;
    for (const SDMCore::Plane& plane : pyramid.planes[0]) {
      planes.emplace_back(width, height);
      planes.back().pixels = plane.storage;
    }
    for (const float reach : {3.0F, 20.0F, 45.0F, 90.0F, 140.0F, 4000.0F}) {
      std::uniform_real_distribution<float> around(-reach, reach);
      std::vector<float> points(2 * 13);
      for (std::size_t i = 0; i < points.size(); i += 2) {
        points[i] = 80.0F + around(random);
        points[i + 1] = 70.0F + around(random);
      }
      points[8] = std::nanf("");
      std::vector<float> norms(13, -1.0F);
      std::vector<std::uint8_t> out(128 * 13, 55);
      pyramid.computeDescriptors(points.data(), 13, static_cast<float>(level), norms.data(),
                                 out.data());
      for (std::size_t i = 0; i < 13; ++i) {
        Bytes expected;
        expected.fill(55);
        const float norm = i == 4
                               ? 0.0F
                               : reference::descriptor(planes, 3, points[2 * i], points[2 * i + 1],
                                                       static_cast<float>(level), expected.data());
        EXPECT_NEAR(norms[i], norm, 1e-5F * norm) << level << " " << reach << " " << i;
        EXPECT_LE(differentBytes(out.data() + 128 * i, expected.data()), 2)
            << level << " " << reach << " " << i;
      }
    }
  }
}

TEST(ComputeDescriptor, SeveralAtOnceMakeNoGradientsOfTheWholeLevel) {
  DescriptorPyramid pyramid = built(texture(60, 60, 10), 60, 60, 3);
  const float points[] = {20, 20, 30, 25};
  float norms[2] = {};
  std::vector<std::uint8_t> out(2 * 128);
  pyramid.computeDescriptors(points, 2, 1, norms, out.data());
  EXPECT_GT(norms[0], 0);
  EXPECT_EQ(pyramid.gradients[0][1].data, nullptr);
}

TEST(ComputeDescriptor, OneByOneBetweenSeveralAtOnceChangesNothing) {
  const std::vector<std::uint8_t> pixels = texture(90, 80, 41);
  const float points[] = {30, 33, 70.25F, 61.5F, 12.75F, 9};
  Bytes alone[3] = {};
  Bytes mixed[3] = {};
  float norms[3] = {};
  DescriptorPyramid first = built(pixels, 90, 80, 3);
  for (int i = 0; i < 3; ++i) {
    first.computeDescriptor(points[2 * i], points[2 * i + 1], 2, &norms[i], alone[i].data());
    ASSERT_GT(norms[i], 0);
  }
  DescriptorPyramid second = built(pixels, 90, 80, 3);
  second.computeDescriptors(points, 1, 2, norms, mixed[0].data());
  second.computeDescriptor(points[2], points[3], 2, norms, mixed[1].data());
  second.computeDescriptors(points + 4, 1, 2, norms, mixed[2].data());
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(mixed[i], alone[i]) << i;
  }
}

TEST(ComputeDescriptor, ImagesWithoutInteriorHaveEmptyWindows) {
  for (const std::uint64_t side : {1U, 2U}) {
    DescriptorPyramid pyramid(side, side, 3);
    const float points[] = {0, 0, 1, 1};
    float norms[] = {5, 5};
    std::vector<std::uint8_t> out(2 * 128, 3);
    pyramid.computeDescriptors(points, 2, 0, norms, out.data());
    pyramid.computeDescriptor(1, 1, 0, norms, out.data());
    EXPECT_EQ(norms[0], 0);
    EXPECT_EQ(norms[1], 0);
    EXPECT_EQ(out, std::vector<std::uint8_t>(2 * 128, 3));
  }
}

TEST(ComputeDescriptor, BlackImageLeavesTheBuffer) {
  DescriptorPyramid pyramid = built(std::vector<std::uint8_t>(50 * 50), 50, 50, 3);
  Bytes out;
  out.fill(9);
  const Bytes before = out;
  float norm = 5;
  for (float at = -5; at < 60; at += 3.7F) {
    pyramid.computeDescriptor(at, at, 0, &norm, out.data());
    EXPECT_EQ(norm, 0);
    EXPECT_EQ(out, before);
  }
}

TEST(ComputeDescriptor, FaintPatchIsFlatUpToALengthOfOneHalf) {
  // A vertical edge: scaled until the raw length passes 0.5.
  const auto lengthAt = [](int contrast, Bytes& out) {
    std::vector<std::uint8_t> pixels(60 * 60);
    for (std::size_t i = 0; i < pixels.size(); ++i) {
      pixels[i] = static_cast<std::uint8_t>(i % 60 < 30 ? 100 : 100 + contrast);
    }
    DescriptorPyramid pyramid = built(pixels, 60, 60, 3);
    float norm = -1;
    pyramid.computeDescriptor(30, 30, 0, &norm, out.data());
    return norm;
  };
  Bytes strong{};
  const float full = lengthAt(100, strong);
  ASSERT_GT(full, 0.5F);
  const int below = static_cast<int>(100 * 0.45F / full);
  const int above = static_cast<int>(100 * 0.6F / full) + 1;
  Bytes faint{};
  EXPECT_EQ(lengthAt(below, faint), 0);
  EXPECT_EQ(faint, Bytes{});
  EXPECT_GT(lengthAt(above, faint), 0.5F);
  EXPECT_NE(faint, Bytes{});
}

TEST(ComputeDescriptor, CornerSeesTheInteriorOnly) {
  // All that a window at (0, 0) may touch starts at pixel (1, 1): the cells right of and below the
  // middle.
  DescriptorPyramid pyramid = built(texture(60, 60, 12), 60, 60, 3);
  Bytes out{};
  float norm = 0;
  pyramid.computeDescriptor(0, 0, 0, &norm, out.data());
  ASSERT_GT(norm, 0);
  for (int cell = 0; cell < 16; ++cell) {
    int sum = 0;
    for (int bin = 0; bin < 8; ++bin) {
      sum += out[static_cast<std::size_t>(cell * 8 + bin)];
    }
    const bool reached = cell / 4 >= 1 && cell % 4 >= 1;  // Shares reach half a cell back.
    EXPECT_EQ(sum > 0, reached) << cell;
  }
}

TEST(ComputeDescriptor, HorizontalStepFillsBinZeroOfTheMiddleColumns) {
  std::vector<std::uint8_t> pixels(60 * 60);
  for (std::size_t i = 0; i < pixels.size(); ++i) {
    pixels[i] = i % 60 < 30 ? 0 : 200;
  }
  DescriptorPyramid pyramid = built(pixels, 60, 60, 3);
  Bytes out{};
  float norm = 0;
  pyramid.computeDescriptor(29.5F, 30, 0, &norm, out.data());
  for (int cell = 0; cell < 16; ++cell) {
    for (int bin = 0; bin < 8; ++bin) {
      const bool edge = (cell % 4 == 1 || cell % 4 == 2) && bin == 0;
      EXPECT_EQ(out[static_cast<std::size_t>(cell * 8 + bin)] > 20, edge) << cell << " " << bin;
    }
  }
}

TEST(ComputeDescriptor, RunawayPointsHaveEmptyWindows) {
  DescriptorPyramid pyramid = built(texture(50, 50, 3), 50, 50, 3);
  const float infinity = std::numeric_limits<float>::infinity();
  Bytes out{};
  for (const float bad : {infinity, -infinity, std::nanf(""), 1e30F, -1e30F, 3e9F, -3e9F, 1e6F}) {
    for (const bool in_x : {true, false}) {
      float norm = 3;
      pyramid.computeDescriptor(in_x ? bad : 20, in_x ? 20 : bad, 0, &norm, out.data());
      EXPECT_EQ(norm, 0) << bad;
      EXPECT_EQ(out, Bytes{}) << bad;
    }
  }
}

TEST(ComputeDescriptor, LevelsThatDoNotExistHaveEmptyWindows) {
  DescriptorPyramid pyramid = built(texture(50, 50, 3), 50, 50, 3);
  Bytes out{};
  for (const float level : {6.0F, -2.0F, 1e20F}) {
    float norm = 3;
    pyramid.computeDescriptor(20, 20, level, &norm, out.data());
    EXPECT_EQ(norm, 0) << level;
  }
  float norm = 0;
  pyramid.computeDescriptor(20, 20, -1, &norm, out.data());  // Cut towards zero: level 0.
  EXPECT_GT(norm, 0);
}

}  // namespace
