// Tests of the gradients as histograms take them, against the plain gradient of each pixel.

#include "alignment/gradient_shares.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <random>
#include <vector>

#include "tests/alignment/reference_pyramid.h"

namespace {

using SDMCore::GradientCell;
using SDMCore::GradientShares;
using SDMCore::PixelArea;
using SDMCore::Plane;

constexpr int kWidth = 70;
constexpr int kHeight = 60;

Plane noise(unsigned seed) {
  std::mt19937 random(seed);
  Plane plane(kWidth, kHeight);
  for (float& pixel : plane.storage) {
    pixel = static_cast<float>(random() % 1000) / 1000.0F;
  }
  return plane;
}

void expectShare(const GradientShares& shares, std::size_t level, const reference::Cell& cell,
                 int x, int y) {
  const std::size_t at = static_cast<std::size_t>(y) * kWidth + static_cast<std::size_t>(x);
  const float of_nearest = cell.magnitude * cell.weight;
  for (int bin = 0; bin < SDMCore::kOrientationBins; ++bin) {
    const float of_neighbour =
        bin == cell.neighbour ? of_nearest * (cell.fraction / (cell.weight + 1e-6F)) : 0.0F;
    ASSERT_EQ(shares.bins(level)[at].of_bin[bin], bin == cell.bin ? of_nearest : of_neighbour)
        << x << " " << y << " " << bin;
  }
}

void expectShares(const GradientShares& shares, std::size_t level, const Plane& plane,
                  const PixelArea& area) {
  reference::Picture picture(kWidth, kHeight);
  picture.pixels = plane.storage;
  for (std::int64_t y = area.top; y < area.bottom; ++y) {
    for (std::int64_t x = area.left; x < area.right; ++x) {
      const int column = static_cast<int>(x);
      const int row = static_cast<int>(y);
      expectShare(shares, level, reference::gradientAt(picture, column, row), column, row);
    }
  }
}

TEST(GradientShares, HaveNoMemoryBeforeTheFirstDemand) {
  GradientShares shares(kWidth, kHeight, 3);
  EXPECT_EQ(shares.bins(2), nullptr);
  shares.prepare(2, noise(1), Plane(), {7, 7, 7, 20});
  EXPECT_EQ(shares.bins(2), nullptr);
}

TEST(GradientShares, HandTheMemoryOfAForgottenLevelOn) {
  const Plane first = noise(9);
  const Plane second = noise(10);
  GradientShares shares(kWidth, kHeight, 3);
  const PixelArea area = {20, 25, 33, 31};
  shares.prepare(1, first, Plane(), area);
  const SDMCore::BinShares* memory = shares.bins(1);
  shares.forget(1);
  shares.forget(0);  // It never had any.
  EXPECT_EQ(shares.bins(1), nullptr);
  shares.prepare(2, second, Plane(), area);
  EXPECT_EQ(shares.bins(2), memory);
  expectShares(shares, 2, second, area);
  shares.prepare(1, first, Plane(), area);  // Anew, in memory of its own.
  expectShares(shares, 1, first, area);
  expectShares(shares, 2, second, area);
}

TEST(GradientShares, AreThoseOfThePixelsOfTheArea) {
  const Plane plane = noise(2);
  GradientShares shares(kWidth, kHeight, 1);
  const PixelArea area = {20, 25, 33, 31};
  shares.prepare(0, plane, Plane(), area);
  expectShares(shares, 0, plane, area);
}

TEST(GradientShares, GrowToEachSide) {
  const Plane plane = noise(3);
  const PixelArea middle = {30, 25, 34, 29};
  for (const PixelArea& more :
       {PixelArea{2, 26, 5, 28}, PixelArea{31, 1, 33, 2}, PixelArea{60, 26, 69, 28},
        PixelArea{31, 50, 33, 59}, PixelArea{3, 4, 6, 7}, PixelArea{1, 1, 69, 59}}) {
    GradientShares shares(kWidth, kHeight, 1);
    shares.prepare(0, plane, Plane(), middle);
    shares.prepare(0, plane, Plane(), more);
    expectShares(shares, 0, plane, middle.joined(more));
  }
}

TEST(GradientShares, StandApartForEachLevel) {
  const Plane first = noise(4);
  const Plane last = noise(5);
  GradientShares shares(kWidth, kHeight, 3);
  const PixelArea interior = {1, 1, kWidth - 1, kHeight - 1};
  shares.prepare(0, first, Plane(), interior);
  shares.prepare(2, last, Plane(), interior);
  expectShares(shares, 0, first, interior);
  expectShares(shares, 2, last, interior);
}

TEST(GradientShares, ComeFromTheGradientsWhereThereAreAny) {
  Plane gradient(4 * kWidth, kHeight);
  GradientCell* cells = reinterpret_cast<GradientCell*>(gradient.data);
  cells[22 * kWidth + 21] = {8.0F, 0.25F, 0.75F, 7, 0};
  GradientShares shares(kWidth, kHeight, 1);
  shares.prepare(0, noise(6), gradient, {20, 20, 24, 24});
  const SDMCore::BinShares& share = shares.bins(0)[22 * kWidth + 21];
  EXPECT_EQ(share.of_bin[7], 6.0F);
  EXPECT_EQ(share.of_bin[0], 6.0F * (0.25F / (0.75F + 1e-6F)));
  EXPECT_EQ(share.of_bin[1], 0.0F);
  EXPECT_EQ(shares.bins(0)[22 * kWidth + 22].of_bin[0], 0.0F);
}

TEST(GradientShares, AreMadeOnce) {
  const Plane plane = noise(7);
  GradientShares shares(kWidth, kHeight, 1);
  const PixelArea area = {20, 20, 24, 24};
  shares.prepare(0, plane, Plane(), area);
  shares.prepare(0, noise(8), Plane(), area);
  expectShares(shares, 0, plane, area);
}

}  // namespace
