// The loops over pixels and histograms give the same bits in both versions that they are compiled
// in. The narrow version is compared with the wide one, and both with the plain references by the
// tests of each unit: those run the wide version where the processor has it.

#include "caffe/util/wide_loops.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <random>
#include <vector>

#include "alignment/descriptor_pyramid.h"
#include "alignment/gaussian_blur.h"
#include "alignment/gradient_row.h"

namespace {

using SDMCore::DescriptorPyramid;
using SDMCore::Plane;

// Runs what is given in both versions and compares the bits of the floats or bytes that it returns.
template <class Run>
void expectSameBits(const Run& run) {
  const bool before = caffe::SetWideLoops(false);
  const auto narrow = run();
  caffe::SetWideLoops(true);
  if (!caffe::UsesWideLoops()) {
    caffe::SetWideLoops(before);
    GTEST_SKIP() << "this processor has one version only";
  }
  const auto wide = run();
  caffe::SetWideLoops(before);
  ASSERT_EQ(narrow.size(), wide.size());
  ASSERT_FALSE(narrow.empty());
  EXPECT_EQ(std::memcmp(narrow.data(), wide.data(), narrow.size() * sizeof(narrow[0])), 0);
}

Plane noise(std::uint64_t width, std::uint64_t height, unsigned seed) {
  std::mt19937 random(seed);
  Plane plane(width, height);
  for (float& pixel : plane.storage) {
    pixel = static_cast<float>(random() % 1000) / 1000.0F;
  }
  return plane;
}

std::vector<std::uint8_t> grey(int width, int height) {
  std::mt19937 random(3);
  std::vector<std::uint8_t> pixels(static_cast<std::size_t>(width) * height);
  std::generate(pixels.begin(), pixels.end(),
                [&] { return static_cast<std::uint8_t>(random() % 90 + (random() % 7) * 20); });
  return pixels;
}

TEST(WideLoops, BlurRowsOfEveryWidthAlike) {
  for (std::uint64_t width = 1; width <= 70; ++width) {
    SCOPED_TRACE(width);
    const Plane plane = noise(width, 9, static_cast<unsigned>(width));
    expectSameBits([&] {
      Plane out;
      oznalib::separableBlur(plane, out, oznalib::gaussianKernel(1.2F));
      return out.storage;
    });
  }
}

TEST(WideLoops, WorkOutGradientsAlike) {
  for (std::size_t count = 1; count <= 40; ++count) {
    SCOPED_TRACE(count);
    const Plane plane = noise(count + 2, 3, static_cast<unsigned>(count));
    expectSameBits([&] {
      SDMCore::GradientRow row(count);
      const float* here = plane.data + plane.width + 1;
      row.compute(here - plane.width, here, here + plane.width, count);
      std::vector<float> all = row.magnitude;
      all.insert(all.end(), row.fraction.begin(), row.fraction.end());
      all.insert(all.end(), row.bin.begin(), row.bin.end());
      all.insert(all.end(), row.neighbour.begin(), row.neighbour.end());
      return all;
    });
  }
}

// Points inside, near each edge and outside, so that windows are cut at every side and to every
// size.
TEST(WideLoops, TakeDescriptorsAlike) {
  const int width = 93;
  const int height = 88;
  const std::vector<std::uint8_t> pixels = grey(width, height);
  for (const float level : {0.0F, 2.0F, 4.0F}) {
    SCOPED_TRACE(level);
    expectSameBits([&] {
      DescriptorPyramid pyramid(width, height, 3);
      pyramid.setImage(pixels.data(), width, height);
      pyramid.buildLevels();
      std::mt19937 random(7);
      std::uniform_real_distribution<float> across(-20.0F, 110.0F);
      std::vector<float> points(2 * 150);
      std::generate(points.begin(), points.end(), [&] { return across(random); });
      std::vector<float> norms(150);
      std::vector<std::uint8_t> out(150 * 128);
      pyramid.computeDescriptors(points.data(), 150, level, norms.data(), out.data());
      std::vector<float> all = norms;
      all.insert(all.end(), out.begin(), out.end());
      all.insert(all.end(), pyramid.planes[0][4].storage.begin(),
                 pyramid.planes[0][4].storage.end());
      return all;
    });
  }
}

}  // namespace
