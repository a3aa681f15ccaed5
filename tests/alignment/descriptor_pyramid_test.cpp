// Tests of the pyramid, its gradients and its descriptors against a plain reference and hand-worked
// values.

#include "alignment/descriptor_pyramid.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <vector>

#include "tests/alignment/reference_pyramid.h"
#include "tests/alignment/textured_pyramid.h"

namespace {

using SDMCore::DescriptorPyramid;
using SDMCore::GradientCell;
using textured::built;
using textured::texture;
using Bytes = std::array<std::uint8_t, 128>;

const GradientCell* cellsOf(const DescriptorPyramid& pyramid, std::size_t level) {
  return reinterpret_cast<const GradientCell*>(pyramid.gradients[0][level].data);
}

TEST(DescriptorPyramid, CarriesItsConfiguration) {
  const DescriptorPyramid pyramid(64, 48, 3);
  EXPECT_EQ(pyramid.octaves, 1U);
  EXPECT_EQ(pyramid.levels, 3U);
  EXPECT_FALSE(pyramid.upsample);
  EXPECT_EQ(pyramid.planes.size(), 1U);
  EXPECT_EQ(pyramid.planes[0].size(), 6U);
  EXPECT_EQ(pyramid.gradients[0].size(), 6U);
  EXPECT_FLOAT_EQ(pyramid.step, 1.259921F);
  EXPECT_EQ(pyramid.imageSigma, 0.5F);
  EXPECT_EQ(pyramid.baseSigma, 0.8F);
  EXPECT_EQ(pyramid.peakThreshold, 0.02F);
  EXPECT_EQ(pyramid.edgeThreshold, 12.1F);
  EXPECT_EQ(pyramid.windowFactor, 3.0F);
  EXPECT_EQ(pyramid.magnification, 4.0F);
  EXPECT_EQ(pyramid.clampLevel, 0.2F);
  EXPECT_EQ(pyramid.pointCapacity, 128U);
  EXPECT_EQ(pyramid.descriptorCapacity, 256U);
  EXPECT_EQ(DescriptorPyramid(512, 512, 3).pointCapacity, 512U);
  for (const SDMCore::Plane& plane : pyramid.planes[0]) {
    EXPECT_EQ(plane.width, 64U);
    EXPECT_EQ(plane.height, 48U);
  }
}

TEST(DescriptorPyramid, PlanesEqualThePlainBlur) {
  const int width = 61;
  const int height = 43;
  for (const int levels : {1, 2, 3, 5}) {
    const std::vector<std::uint8_t> pixels = texture(width, height, 5);
    const DescriptorPyramid pyramid = built(pixels, width, height, levels);
    const auto expected = reference::pyramid(pixels, width, height, levels);
    ASSERT_EQ(pyramid.planes[0].size(), expected.size());
    for (std::size_t level = 0; level < expected.size(); ++level) {
      const SDMCore::Plane& plane = pyramid.planes[0][level];
      for (std::size_t i = 0; i < expected[level].pixels.size(); ++i) {
        // Taps may differ in their last digit from those of the standard library's error function.
        ASSERT_NEAR(plane.data[i], expected[level].pixels[i], 1e-6F) << levels << " " << level;
      }
    }
  }
}

TEST(DescriptorPyramid, SetImageHonoursTheStride) {
  const int width = 20;
  const int height = 10;
  const std::vector<std::uint8_t> pixels = texture(width, height, 6);
  std::vector<std::uint8_t> padded(static_cast<std::size_t>(width + 5) * height, 255);
  for (int y = 0; y < height; ++y) {
    std::copy_n(pixels.data() + y * width, width, padded.data() + y * (width + 5));
  }
  DescriptorPyramid pyramid(width, height, 3);
  pyramid.setImage(padded.data(), width + 5, height);
  EXPECT_EQ(pyramid.planes[0][0].storage, built(pixels, width, height, 3).planes[0][0].storage);
}

TEST(DescriptorPyramid, SetImageCopiesWhereNoBlurIsMissing) {
  DescriptorPyramid pyramid(4, 1, 3);
  pyramid.baseSigma = pyramid.imageSigma;
  const std::uint8_t pixels[] = {0, 51, 255, 1};
  pyramid.setImage(pixels, 4, 1);
  EXPECT_EQ(pyramid.planes[0][0].storage, (std::vector<float>{0.0F, 0.2F, 1.0F, 1.0F / 255.0F}));
}

TEST(DescriptorPyramid, PartialBuildEqualsTheFullOneUpToItsTop) {
  const std::vector<std::uint8_t> pixels = texture(40, 30, 8);
  const DescriptorPyramid full = built(pixels, 40, 30, 3);
  DescriptorPyramid partial(40, 30, 3);
  partial.setImage(pixels.data(), 40, 30);
  partial.buildLevels(2);
  for (std::size_t level = 0; level <= 2; ++level) {
    EXPECT_EQ(partial.planes[0][level].storage, full.planes[0][level].storage);
  }
}

TEST(PrepareGradient, EqualsThePlainGradientOfItsPlane) {
  const int width = 45;
  const int height = 38;
  DescriptorPyramid pyramid = built(texture(width, height, 9), width, height, 3);
  for (const std::size_t level : {0U, 2U, 5U}) {
    reference::Picture plane(width, height);
    plane.pixels = pyramid.planes[0][level].storage;
    pyramid.prepareGradient(level);
    EXPECT_EQ(pyramid.gradients[0][level].width, 4U * width);
    EXPECT_EQ(pyramid.gradients[0][level].height, static_cast<std::uint64_t>(height));
    for (int y = 0; y < height; ++y) {
      for (int x = 0; x < width; ++x) {
        const GradientCell& cell = cellsOf(pyramid, level)[y * width + x];
        const reference::Cell expected = reference::gradientAt(plane, x, y);
        ASSERT_EQ(cell.magnitude, expected.magnitude) << x << " " << y;
        ASSERT_EQ(cell.fraction, expected.fraction) << x << " " << y;
        ASSERT_EQ(cell.weight, expected.weight) << x << " " << y;
        ASSERT_EQ(cell.bin, expected.bin) << x << " " << y;
        ASSERT_EQ(cell.neighbour, expected.neighbour) << x << " " << y;
      }
    }
  }
}

TEST(PrepareGradient, IsMadeOnFirstDemandAndOnce) {
  DescriptorPyramid pyramid = built(texture(40, 40, 2), 40, 40, 3);
  EXPECT_EQ(pyramid.gradients[0][1].data, nullptr);
  float norm = 0;
  Bytes out{};
  pyramid.computeDescriptor(20, 20, 1, &norm, out.data());
  EXPECT_NE(pyramid.gradients[0][1].data, nullptr);
  EXPECT_EQ(pyramid.gradients[0][0].data, nullptr);
  pyramid.gradients[0][1].data[4 * (20 * 40 + 20)] = -7;  // A second run would overwrite it.
  pyramid.prepareGradient(1);
  EXPECT_EQ(pyramid.gradients[0][1].data[4 * (20 * 40 + 20)], -7);
}

// Sets the four neighbours of the middle of a 3 by 3 plane so that its gradient is (dx, dy).
GradientCell gradientOf(float dx, float dy) {
  DescriptorPyramid pyramid(3, 3, 3);
  float* p = pyramid.planes[0][0].data;
  p[5] = dx;
  p[7] = dy;
  pyramid.prepareGradient(0);
  return cellsOf(pyramid, 0)[4];
}

TEST(PrepareGradient, SharesAnAngleBetweenItsTwoBins) {
  const GradientCell right = gradientOf(2, 0);
  EXPECT_EQ(right.magnitude, 2);
  EXPECT_EQ(right.bin, 0);
  EXPECT_EQ(right.neighbour, 7);  // On the bin's centre counts as below it.
  EXPECT_EQ(right.fraction, 0);
  EXPECT_EQ(right.weight, 1);

  const GradientCell down = gradientOf(0, 3);
  EXPECT_EQ(down.bin, 2);
  EXPECT_EQ(down.neighbour, 1);  // The quarter turn is a step short of pi / 2.

  const GradientCell above_first = gradientOf(10, 1);  // About 5.7 degrees.
  EXPECT_EQ(above_first.bin, 0);
  EXPECT_EQ(above_first.neighbour, 1);
  EXPECT_NEAR(above_first.fraction, std::atan(0.1) / (M_PI / 4), 0.005);
}

TEST(PrepareGradient, AnglesJustBelowTheFullTurnWrapToBinZero) {
  const GradientCell just_below = gradientOf(10, -1);  // Nearest is bin 8, which is bin 0.
  EXPECT_EQ(just_below.bin, 0);
  EXPECT_EQ(just_below.neighbour, 7);
  EXPECT_NEAR(just_below.fraction, std::atan(0.1) / (M_PI / 4), 0.005);

  const GradientCell nearer_to_seven = gradientOf(10, -7);
  EXPECT_EQ(nearer_to_seven.bin, 7);
  EXPECT_EQ(nearer_to_seven.neighbour, 0);

  const GradientCell beyond_seven = gradientOf(7, -10);
  EXPECT_EQ(beyond_seven.bin, 7);
  EXPECT_EQ(beyond_seven.neighbour, 6);
}

TEST(PrepareGradient, ImagesWithoutInteriorHaveNone) {
  for (const std::uint64_t side : {1U, 2U}) {
    DescriptorPyramid pyramid(side, side, 3);
    pyramid.prepareGradient(0);
    EXPECT_EQ(pyramid.gradients[0][0].storage, std::vector<float>(4 * side * side, 0.0F));
  }
}

}  // namespace
