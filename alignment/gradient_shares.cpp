// Gradients of the levels in the form in which histograms add them up.

#include "alignment/gradient_shares.h"

#include <utility>

#include "caffe/util/wide_loops.hpp"

namespace SDMCore {
namespace {

// Windows wander: an area grows by a little more than what is asked for, so that it grows seldom.
constexpr std::int64_t kMargin = 8;  // Pixels.

// For each bin, a share of 1 for it and 0 for the others.
constexpr BinShares kWholeShare[kOrientationBins] = {
    {{1, 0, 0, 0, 0, 0, 0, 0}}, {{0, 1, 0, 0, 0, 0, 0, 0}}, {{0, 0, 1, 0, 0, 0, 0, 0}},
    {{0, 0, 0, 1, 0, 0, 0, 0}}, {{0, 0, 0, 0, 1, 0, 0, 0}}, {{0, 0, 0, 0, 0, 1, 0, 0}},
    {{0, 0, 0, 0, 0, 0, 1, 0}}, {{0, 0, 0, 0, 0, 0, 0, 1}}};

// Shares of a row whose gradients are given. Overwrites the row.
void shareOut(GradientRow& row, std::size_t count, BinShares* bins) {
  float* magnitude = row.magnitude.data();
  float* fraction = row.fraction.data();
  const std::int32_t* bin = row.bin.data();
  const std::int32_t* neighbour = row.neighbour.data();
  caffe::RunWide([=]() OZNA_WIDE_LOOP {
    OZNA_VECTOR_LOOP
    for (std::size_t x = 0; x < count; ++x) {
      const float weight = 1.0F - fraction[x];
      const float of_nearest = magnitude[x] * weight;
      const float ratio = fraction[x] / (weight + 1e-6F);
      magnitude[x] = of_nearest;
      fraction[x] = of_nearest * ratio;
    }
    for (std::size_t x = 0; x < count; ++x) {
      const float of_nearest = magnitude[x];
      const float of_neighbour = fraction[x];
      const float* nearest_only = kWholeShare[bin[x]].of_bin;
      const float* neighbour_only = kWholeShare[neighbour[x]].of_bin;
      float* share = bins[x].of_bin;
      OZNA_VECTOR_LOOP
      for (int i = 0; i < kOrientationBins; ++i) {
        share[i] = of_nearest * nearest_only[i] + of_neighbour * neighbour_only[i];
      }
    }
  });
}

// The gradients of a row out of cells.
void takeCells(const GradientCell* cells, std::size_t count, GradientRow& row) {
  for (std::size_t x = 0; x < count; ++x) {
    row.magnitude[x] = cells[x].magnitude;
    row.fraction[x] = cells[x].fraction;
    row.bin[x] = cells[x].bin;
    row.neighbour[x] = cells[x].neighbour;
  }
}

}  // namespace

GradientShares::GradientShares(std::uint64_t width, std::uint64_t height, std::size_t levels)
    : width_(static_cast<std::int64_t>(width)),
      height_(static_cast<std::int64_t>(height)),
      levels_(levels) {}

void GradientShares::prepare(std::size_t index, const Plane& pixels, const Plane& gradient,
                             const PixelArea& area) {
  Level& level = levels_[index];
  const PixelArea filled = level.filled;
  if (filled.contains(area)) {
    return;
  }
  reserve(level);
  const PixelArea interior = {1, 1, width_ - 1, height_ - 1};
  const PixelArea wanted = filled.joined(area).widened(kMargin, interior);
  if (filled.empty()) {
    fill(level, pixels, gradient, wanted);
  } else {
    fill(level, pixels, gradient, {wanted.left, wanted.top, wanted.right, filled.top});
    fill(level, pixels, gradient, {wanted.left, filled.top, filled.left, filled.bottom});
    fill(level, pixels, gradient, {filled.right, filled.top, wanted.right, filled.bottom});
    fill(level, pixels, gradient, {wanted.left, filled.bottom, wanted.right, wanted.bottom});
  }
  level.filled = wanted;
}

void GradientShares::forget(std::size_t index) {
  Level& level = levels_[index];
  if (level.memory != nullptr) {
    spare_ = std::move(level.memory);
  }
  level.filled = PixelArea();
}

void GradientShares::reserve(Level& level) {
  if (level.memory != nullptr) {
    return;
  }
  level.memory = std::move(spare_);
  if (level.memory == nullptr) {
    // Not make_unique, which would set, and so touch, all of it.
    level.memory.reset(new BinShares[static_cast<std::size_t>(width_ * height_)]);
  }
}

void GradientShares::fill(Level& level, const Plane& pixels, const Plane& gradient,
                          const PixelArea& area) {
  if (area.empty()) {
    return;
  }
  const std::size_t columns = static_cast<std::size_t>(area.right - area.left);
  GradientRow row(columns);
  for (std::int64_t y = area.top; y < area.bottom; ++y) {
    const std::int64_t start = y * width_ + area.left;
    if (gradient.data != nullptr) {
      takeCells(reinterpret_cast<const GradientCell*>(gradient.data) + start, columns, row);
    } else {
      const float* here = pixels.data + start;
      row.compute(here - width_, here, here + width_, columns);
    }
    shareOut(row, columns, level.memory.get() + start);
  }
}

}  // namespace SDMCore
