// Gradients of one row of pixels, shared out between two of 8 orientation bins.

#include "alignment/gradient_row.h"

#include <cmath>

#include "caffe/util/wide_loops.hpp"

namespace oznalib {
namespace {

// One step of float precision below pi / 2 and pi.
constexpr float kQuarterTurn = 1.5707962513F;
constexpr float kHalfTurn = 3.1415925026F;

}  // namespace

// All cases are worked out and one is selected: without branches, a row of pixels goes through as
// vectors.
float fastAtan2(float y, float x) {
  const float t = y / x;
  const float upward = kQuarterTurn - t / (t * t + 0.28F);
  const float steep = y < 0.0F ? upward - kHalfTurn : upward;
  const float right = t / (t * 0.28F * t + 1.0F);
  const float left = y < 0.0F ? right - kHalfTurn : right + kHalfTurn;
  const float flat = x < 0.0F ? left : right;
  const float oblique = std::fabs(t) > 1.0F ? steep : flat;
  const float side = y >= 0.0F ? kQuarterTurn : -kQuarterTurn;
  const float vertical = y == 0.0F ? 0.0F : side;
  return x == 0.0F ? vertical : oblique;
}

}  // namespace oznalib

namespace SDMCore {
namespace {

constexpr float kTwoPi = 6.2831855F;
constexpr int kBins = 8;

// The two bins next to an angle wrap around: the nearest one may come out as 8, which is 0 again.
void computeRow(const float* above, const float* before, const float* after, const float* below,
                std::size_t count, float* magnitude, float* fraction, std::int32_t* bin,
                std::int32_t* neighbour) {
  caffe::RunWide([=]() OZNA_WIDE_LOOP {
    OZNA_VECTOR_LOOP
    for (std::size_t x = 0; x < count; ++x) {
      const float dx = after[x] - before[x];
      const float dy = below[x] - above[x];
      magnitude[x] = std::sqrt(dy * dy + dx * dx);
      float angle = oznalib::fastAtan2(dy, dx);
      angle = angle < 0.0F ? angle + kTwoPi : angle;
      angle = angle * 8.0F / kTwoPi;
      const std::int32_t nearest = static_cast<std::int32_t>(angle + 0.5F);
      const float rest = angle - static_cast<float>(nearest);
      fraction[x] = std::fabs(rest);
      bin[x] = nearest & (kBins - 1);
      neighbour[x] = (nearest + (rest > 0.0F ? 1 : -1)) & (kBins - 1);
    }
  });
}

}  // namespace

GradientRow::GradientRow(std::size_t width)
    : magnitude(width), fraction(width), bin(width), neighbour(width) {}

void GradientRow::compute(const float* above, const float* here, const float* below,
                          std::size_t count) {
  computeRow(above, here - 1, here + 1, below, count, magnitude.data(), fraction.data(), bin.data(),
             neighbour.data());
}

}  // namespace SDMCore
