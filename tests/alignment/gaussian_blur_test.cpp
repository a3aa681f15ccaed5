// Tests of Gaussian kernels and of the separable blur, bit for bit against a plain one.

#include "alignment/gaussian_blur.h"

#include <gtest/gtest.h>

#include <random>
#include <utility>
#include <vector>

#include "tests/alignment/reference_pyramid.h"

namespace {

using oznalib::gaussianKernel;
using oznalib::separableBlur;
using SDMCore::Plane;

std::pair<Plane, reference::Picture> noise(int width, int height) {
  std::mt19937 random(static_cast<unsigned>(width * 1000 + height));
  std::uniform_real_distribution<float> uniform(0, 1);
  Plane plane(static_cast<std::uint64_t>(width), static_cast<std::uint64_t>(height));
  reference::Picture picture(width, height);
  for (float& pixel : picture.pixels) {
    pixel = uniform(random);
  }
  plane.storage = picture.pixels;
  plane.data = plane.storage.data();
  return {std::move(plane), std::move(picture)};
}

TEST(GaussianKernel, HasThreeAndAHalfSigmaToEachSide) {
  EXPECT_EQ(gaussianKernel(0.6245F).size(), 5U);  // 2.19 + 0.5.
  EXPECT_EQ(gaussianKernel(1.55F).size(), 11U);   // 5.43 + 0.5.
  EXPECT_EQ(gaussianKernel(0.1F).size(), 1U);     // 0.85 is cut to 0.
  EXPECT_EQ(gaussianKernel(1.0F).size(), 9U);     // 4.0 exactly.
}

TEST(GaussianKernel, IsSymmetricAndSumsToOne) {
  for (const float sigma : {0.3F, 0.6245F, 1.0F, 1.55F, 3.0F}) {
    const std::vector<float> kernel = gaussianKernel(sigma);
    float sum = 0;
    for (std::size_t i = 0; i < kernel.size(); ++i) {
      EXPECT_EQ(kernel[i], kernel[kernel.size() - 1 - i]) << sigma;
      sum += kernel[i];
    }
    EXPECT_NEAR(sum, 1.0F, 1e-6F) << sigma;
  }
}

TEST(GaussianKernel, IntegratesTheGaussianOverEachPixel) {
  for (const float sigma : {0.61F, 0.6245F, 1.0F, 1.2F, 1.55F, 4.0F}) {
    const std::vector<float> kernel = gaussianKernel(sigma);
    const std::vector<float> expected = reference::kernel(sigma);
    ASSERT_EQ(kernel.size(), expected.size());
    for (std::size_t i = 0; i < kernel.size(); ++i) {
      EXPECT_FLOAT_EQ(kernel[i], expected[i]) << sigma << " tap " << i;
    }
  }
}

TEST(GaussianKernel, SingleTapIsOne) { EXPECT_EQ(gaussianKernel(0.05F), std::vector<float>{1.0F}); }

TEST(SeparableBlur, EqualsThePlainSumsBitForBit) {
  std::mt19937 random(3);
  std::uniform_real_distribution<float> uniform(0, 1);
  for (const std::size_t taps : {2U, 3U, 4U, 5U, 7U, 9U, 11U, 13U, 15U, 17U, 18U, 19U, 31U}) {
    std::vector<float> kernel(taps);
    for (float& tap : kernel) {
      tap = uniform(random);
    }
    for (const auto& [width, height] :
         {std::pair<int, int>{1, 1}, {1, 9}, {9, 1}, {3, 4}, {16, 16}, {33, 20}, {50, 37}}) {
      const auto [plane, picture] = noise(width, height);
      Plane blurred;
      separableBlur(plane, blurred, kernel);
      EXPECT_EQ(blurred.storage, reference::blur(picture, kernel).pixels)
          << taps << " taps, " << width << "x" << height;
    }
  }
}

TEST(SeparableBlur, WorksInPlace) {
  const std::vector<float> kernel = gaussianKernel(1.3F);
  auto [plane, picture] = noise(40, 23);
  separableBlur(plane, plane, kernel);
  EXPECT_EQ(plane.storage, reference::blur(picture, kernel).pixels);
}

TEST(SeparableBlur, OneTapScalesByItsSquare) {
  const auto [plane, picture] = noise(5, 4);
  Plane blurred;
  separableBlur(plane, blurred, {0.5F});
  for (std::size_t i = 0; i < picture.pixels.size(); ++i) {
    EXPECT_EQ(blurred.storage[i], picture.pixels[i] * 0.25F);
  }
}

TEST(SeparableBlur, RepeatsTheBorder) {
  Plane plane(3, 1);
  plane.data[0] = 8;
  Plane blurred;
  separableBlur(plane, blurred, {0.25F, 0.5F, 0.25F});
  EXPECT_EQ(blurred.data[0], 6);  // (8 + 2 * 8 + 0) / 4 along the row; the column repeats itself.
  EXPECT_EQ(blurred.data[1], 2);
  EXPECT_EQ(blurred.data[2], 0);
}

TEST(SeparableBlur, TakesTheSizeOfTheSource) {
  const auto [plane, picture] = noise(7, 6);
  Plane blurred(20, 20);
  separableBlur(plane, blurred, {1.0F});
  EXPECT_EQ(blurred.width, 7U);
  EXPECT_EQ(blurred.height, 6U);
  Plane nothing;
  separableBlur(Plane(), nothing, gaussianKernel(1.0F));
  EXPECT_EQ(nothing.data, nullptr);
}

}  // namespace
