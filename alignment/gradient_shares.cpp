// Gradients of the levels in the form in which histograms add them up.

#include "alignment/gradient_shares.h"

namespace SDMCore {
namespace {

// Windows wander: an area grows by a little more than what is asked for, so that it grows seldom.
constexpr std::int64_t kMargin = 8;  // Pixels.

constexpr std::size_t kMostSharesInBlock = (std::size_t{64} << 20) / sizeof(GradientShare);

GradientShare shareOf(float magnitude, float fraction, float weight, int bin, int neighbour) {
  return {magnitude * weight, fraction / (weight + 1e-6f),
          static_cast<std::uint16_t>(bin * kShareBinFloats),
          static_cast<std::uint16_t>(neighbour * kShareBinFloats)};
}

}  // namespace

GradientShares::GradientShares(std::uint64_t width, std::uint64_t height, std::size_t levels)
    : width_(static_cast<std::int64_t>(width)),
      height_(static_cast<std::int64_t>(height)),
      levels_in_block_(width * height * levels < kMostSharesInBlock ? levels : 1),
      blocks_((levels + levels_in_block_ - 1) / levels_in_block_),
      filled_(levels) {}

void GradientShares::prepare(std::size_t level, const Plane& pixels, const Plane& gradient,
                             const PixelArea& area) {
  const PixelArea filled = filled_[level];
  if (filled.contains(area)) {
    return;
  }
  std::unique_ptr<GradientShare[]>& block = blocks_[level / levels_in_block_];
  if (block == nullptr) {
    // Not make_unique, which would set, and so touch, all of it.
    block.reset(new GradientShare[levels_in_block_ * static_cast<std::size_t>(width_ * height_)]);
  }
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
  filled_[level] = wanted;
}

GradientShare* GradientShares::start(std::size_t level) const {
  GradientShare* block = blocks_[level / levels_in_block_].get();
  const std::size_t within = level % levels_in_block_;
  return block == nullptr ? nullptr : block + within * static_cast<std::size_t>(width_ * height_);
}

void GradientShares::fill(std::size_t level, const Plane& pixels, const Plane& gradient,
                          const PixelArea& area) {
  if (area.empty()) {
    return;
  }
  GradientShare* shares = start(level);
  const std::size_t columns = static_cast<std::size_t>(area.right - area.left);
  GradientRow row(columns);
  for (std::int64_t y = area.top; y < area.bottom; ++y) {
    const std::int64_t start = y * width_ + area.left;
    GradientShare* out = shares + start;
    if (gradient.data != nullptr) {
      const GradientCell* cell = reinterpret_cast<const GradientCell*>(gradient.data) + start;
      for (std::size_t x = 0; x < columns; ++x) {
        out[x] = shareOf(cell[x].magnitude, cell[x].fraction, cell[x].weight, cell[x].bin,
                         cell[x].neighbour);
      }
      continue;
    }
    const float* here = pixels.data + start;
    row.compute(here - width_, here, here + width_, columns);
    for (std::size_t x = 0; x < columns; ++x) {
      out[x] = shareOf(row.magnitude[x], row.fraction[x], 1.0f - row.fraction[x], row.bin[x],
                       row.neighbour[x]);
    }
  }
}

}  // namespace SDMCore
