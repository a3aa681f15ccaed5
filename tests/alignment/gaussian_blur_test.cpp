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
  EXPECT_EQ(gaussianKernel(0.6245f).size(), 5u);  // 2.19 + 0.5.
  EXPECT_EQ(gaussianKernel(1.55f).size(), 11u);   // 5.43 + 0.5.
  EXPECT_EQ(gaussianKernel(0.1f).size(), 1u);     // 0.85 is cut to 0.
  EXPECT_EQ(gaussianKernel(1.0f).size(), 9u);     // 4.0 exactly.
}

TEST(GaussianKernel, IsSymmetricAndSumsToOne) {
  for (const float sigma : {0.3f, 0.6245f, 1.0f, 1.55f, 3.0f}) {
    const std::vector<float> kernel = gaussianKernel(sigma);
    float sum = 0;
    for (std::size_t i = 0; i < kernel.size(); ++i) {
      EXPECT_EQ(kernel[i], kernel[kernel.size() - 1 - i]) << sigma;
      sum += kernel[i];
    }
    EXPECT_NEAR(sum, 1.0f, 1e-6f) << sigma;
  }
}

TEST(GaussianKernel, IntegratesTheGaussianOverEachPixel) {
  for (const float sigma : {0.61f, 0.6245f, 1.0f, 1.2f, 1.55f, 4.0f}) {
    const std::vector<float> kernel = gaussianKernel(sigma);
    const std::vector<float> expected = reference::kernel(sigma);
    ASSERT_EQ(kernel.size(), expected.size());
    for (std::size_t i = 0; i < kernel.size(); ++i) {
      EXPECT_FLOAT_EQ(kernel[i], expected[i]) << sigma << " tap " << i;
    }
  }
}

TEST(GaussianKernel, SingleTapIsOne) { EXPECT_EQ(gaussianKernel(0.05f), std::vector<float>{1.0f}); }

TEST(SeparableBlur, EqualsThePlainSumsBitForBit) {
  std::mt19937 random(3);
  std::uniform_real_distribution<float> uniform(0, 1);
  for (const std::size_t taps : {2u, 3u, 4u, 5u, 7u, 9u, 11u, 13u, 15u, 17u, 18u, 19u, 31u}) {
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
  const std::vector<float> kernel = gaussianKernel(1.3f);
  auto [plane, picture] = noise(40, 23);
  separableBlur(plane, plane, kernel);
  EXPECT_EQ(plane.storage, reference::blur(picture, kernel).pixels);
}

TEST(SeparableBlur, OneTapScalesByItsSquare) {
  const auto [plane, picture] = noise(5, 4);
  Plane blurred;
  separableBlur(plane, blurred, {0.5f});
  for (std::size_t i = 0; i < picture.pixels.size(); ++i) {
    EXPECT_EQ(blurred.storage[i], picture.pixels[i] * 0.25f);
  }
}

TEST(SeparableBlur, RepeatsTheBorder) {
  Plane plane(3, 1);
  plane.data[0] = 8;
  Plane blurred;
  separableBlur(plane, blurred, {0.25f, 0.5f, 0.25f});
  EXPECT_EQ(blurred.data[0], 6);  // (8 + 2 * 8 + 0) / 4 along the row; the column repeats itself.
  EXPECT_EQ(blurred.data[1], 2);
  EXPECT_EQ(blurred.data[2], 0);
}

TEST(SeparableBlur, TakesTheSizeOfTheSource) {
  const auto [plane, picture] = noise(7, 6);
  Plane blurred(20, 20);
  separableBlur(plane, blurred, {1.0f});
  EXPECT_EQ(blurred.width, 7u);
  EXPECT_EQ(blurred.height, 6u);
  Plane nothing;
  separableBlur(Plane(), nothing, gaussianKernel(1.0f));
  EXPECT_EQ(nothing.data, nullptr);
}

TEST(Plane, KeepsItsStorageUnlessItGrows) {
  Plane plane(4, 3);
  EXPECT_EQ(plane.storage, std::vector<float>(12, 0.0f));
  plane.data[0] = 5;
  const float* const start = plane.data;
  plane.resize(2, 5);
  EXPECT_EQ(plane.data, start);
  EXPECT_EQ(plane.data[0], 5);
  EXPECT_EQ(plane.storage.size(), 12u);
  EXPECT_EQ(plane.width, 2u);
  EXPECT_EQ(plane.height, 5u);
  plane.resize(4, 4);
  EXPECT_EQ(plane.storage, std::vector<float>(16, 0.0f));
  EXPECT_EQ(Plane().data, nullptr);
}

TEST(Plane, CopiesPointAtTheirOwnStorage) {
  Plane plane(2, 2);
  const Plane copy = plane;
  EXPECT_EQ(copy.data, copy.storage.data());
  EXPECT_NE(copy.data, plane.data);
  Plane assigned;
  assigned = plane;
  EXPECT_EQ(assigned.data, assigned.storage.data());
}

}  // namespace
