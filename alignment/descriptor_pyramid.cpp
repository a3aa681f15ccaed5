// The blur pyramid, its gradients and the descriptors taken from them.

#include "alignment/descriptor_pyramid.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "alignment/descriptor_histogram.h"
#include "alignment/truncation.h"

namespace oznalib {
namespace {

// One step of float precision below pi / 2 and pi.
constexpr float kQuarterTurn = 1.5707962513f;
constexpr float kHalfTurn = 3.1415925026f;

}  // namespace

// All cases are worked out and one is selected: without branches, a row of pixels goes through as
// vectors.
float fastAtan2(float y, float x) {
  const float t = y / x;
  const float upward = kQuarterTurn - t / (t * t + 0.28f);
  const float steep = y < 0.0f ? upward - kHalfTurn : upward;
  const float right = t / (t * 0.28f * t + 1.0f);
  const float left = y < 0.0f ? right - kHalfTurn : right + kHalfTurn;
  const float flat = x < 0.0f ? left : right;
  const float oblique = std::fabs(t) > 1.0f ? steep : flat;
  const float side = y >= 0.0f ? kQuarterTurn : -kQuarterTurn;
  const float vertical = y == 0.0f ? 0.0f : side;
  return x == 0.0f ? vertical : oblique;
}

}  // namespace oznalib

namespace SDMCore {
namespace {

using oznalib::truncateToInt;

constexpr float kTwoPi = 6.2831855f;
constexpr int kBins = 8;
constexpr float kFlatNorm = 0.5f;

// Powers by repeated squaring: their rounding decides the last digit of the cell size.
float integerPower(float base, std::int64_t exponent) {
  float result = 1.0f;
  for (; exponent > 0; exponent >>= 1) {
    if ((exponent & 1) != 0) {
      result *= base;
    }
    base *= base;
  }
  return result;
}

// What the gradients of one row are worked out into, one array a value, so that the arithmetic
// vectorises.
struct GradientRow {
  explicit GradientRow(std::size_t width)
      : magnitude(width), fraction(width), bin(width), neighbour(width) {}

  std::vector<float> magnitude;
  std::vector<float> fraction;
  std::vector<std::int32_t> bin;
  std::vector<std::int32_t> neighbour;
};

// Fills columns 1 to width - 2 from the rows above, at and below. The two bins next to an angle
// wrap around: the nearest one may come out as 8, which is 0 again.
void computeGradientRow(const float* above, const float* here, const float* below,
                        std::size_t width, GradientRow& row) {
  float* magnitude = row.magnitude.data();
  float* fraction = row.fraction.data();
  std::int32_t* bin = row.bin.data();
  std::int32_t* neighbour = row.neighbour.data();
  for (std::size_t x = 1; x + 1 < width; ++x) {
    const float dx = here[x + 1] - here[x - 1];
    const float dy = below[x] - above[x];
    magnitude[x] = std::sqrt(dy * dy + dx * dx);
    float angle = oznalib::fastAtan2(dy, dx);
    angle = angle < 0.0f ? angle + kTwoPi : angle;
    angle = angle * 8.0f / kTwoPi;
    const std::int32_t nearest = static_cast<std::int32_t>(angle + 0.5f);
    const float rest = angle - static_cast<float>(nearest);
    fraction[x] = std::fabs(rest);
    bin[x] = nearest & (kBins - 1);
    neighbour[x] = (nearest + (rest > 0.0f ? 1 : -1)) & (kBins - 1);
  }
}

using WindowGroup = std::array<DescriptorWindow, kWindowsTogether>;

// Normalises the histograms, caps their entries and normalises them again.
void normalise(WindowGroup& windows, const std::array<float, kWindowsTogether>& lengths,
               float cap) {
  for (std::size_t k = 0; k < kWindowsTogether; ++k) {
    for (float& entry : windows[k].histogram) {
      entry = std::min(entry / lengths[k], cap);
    }
  }
  const std::array<float, kWindowsTogether> capped = histogramLengths(windows);
  for (std::size_t k = 0; k < kWindowsTogether; ++k) {
    for (float& entry : windows[k].histogram) {
      entry /= capped[k];
    }
  }
}

void storeBytes(const DescriptorWindow& window, std::uint8_t* out) {
  for (std::size_t i = 0; i < window.histogram.size(); ++i) {
    const float value = std::min(window.histogram[i] * 255.0f + 0.5f, 255.0f);
    out[i] = static_cast<std::uint8_t>(static_cast<std::int32_t>(value));
  }
}

}  // namespace

DescriptorPyramid::DescriptorPyramid(std::uint64_t columns, std::uint64_t rows,
                                     std::uint64_t level_count)
    : width(columns),
      height(rows),
      levels(level_count),
      planes(1),
      gradients(1),
      pointCapacity(std::clamp<std::uint64_t>(columns * rows / 512, 128, 8192)),
      descriptorCapacity(2 * pointCapacity),
      step(std::pow(2.0f, 1.0f / static_cast<float>(level_count))) {
  planes[0].resize(level_count + 3);
  for (Plane& plane : planes[0]) {
    plane.resize(columns, rows);
  }
  gradients[0].resize(level_count + 3);
}

void DescriptorPyramid::setImage(const std::uint8_t* pixels, std::uint64_t stride,
                                 std::uint64_t rows) {
  Plane& scaled = planes[0][1];
  for (std::uint64_t y = 0; y < std::min(rows, height); ++y) {
    const std::uint8_t* pixel = pixels + y * stride;
    float* out = scaled.data + y * width;
    for (std::uint64_t x = 0; x < width; ++x) {
      out[x] = static_cast<float>(pixel[x]) / 255.0f;
    }
  }
  if (baseSigma <= imageSigma) {
    planes[0][0] = scaled;
    return;
  }
  const float sigma = std::sqrt(baseSigma * baseSigma - imageSigma * imageSigma);
  oznalib::separableBlur(scaled, planes[0][0], oznalib::gaussianKernel(sigma));
}

void DescriptorPyramid::buildLevels() { buildLevels(levels + 2); }

void DescriptorPyramid::buildLevels(std::uint64_t top) {
  const float ratio = std::pow(2.0f, 1.0f / static_cast<float>(levels));
  const float growth = std::sqrt(ratio * ratio - 1.0f);
  float sigma = growth * baseSigma;
  for (std::uint64_t level = 0; level < std::min(top, levels + 2); ++level) {
    oznalib::separableBlur(planes[0][level], planes[0][level + 1], oznalib::gaussianKernel(sigma));
    sigma *= ratio;
  }
}

void DescriptorPyramid::prepareGradient(std::uint64_t level) {
  Plane& gradient = gradients[0][level];
  if (gradient.data != nullptr) {
    return;
  }
  gradient.resize(4 * width, height);
  const float* pixels = planes[0][level].data;
  GradientRow row(width);
  for (std::uint64_t y = 1; y + 1 < height; ++y) {
    const float* here = pixels + y * width;
    computeGradientRow(here - width, here, here + width, width, row);
    GradientCell* cells = reinterpret_cast<GradientCell*>(gradient.data + y * gradient.width);
    for (std::uint64_t x = 1; x + 1 < width; ++x) {
      cells[x] = {row.magnitude[x], row.fraction[x], 1.0f - row.fraction[x],
                  static_cast<std::uint8_t>(row.bin[x]),
                  static_cast<std::uint8_t>(row.neighbour[x])};
    }
  }
}

void DescriptorPyramid::computeDescriptor(float x, float y, float level, float* norm,
                                          std::uint8_t* out) {
  const float point[] = {x, y};
  computeDescriptors(point, 1, level, norm, out);
}

void DescriptorPyramid::computeDescriptors(const float* points, std::size_t count, float level,
                                           float* norms, std::uint8_t* out) {
  std::fill_n(norms, count, 0.0f);
  const std::int64_t whole_level = truncateToInt(static_cast<double>(level) + 0.5);
  if (whole_level < 0 || whole_level >= static_cast<std::int64_t>(planes[0].size())) {
    return;
  }
  prepareGradient(static_cast<std::uint64_t>(whole_level));
  const Plane& gradient = gradients[0][static_cast<std::size_t>(whole_level)];
  const float cell_size = integerPower(step, whole_level) * baseSigma * magnification;
  WindowGroup windows;
  for (std::size_t first = 0; first < count; first += kWindowsTogether) {
    const std::size_t present = std::min(kWindowsTogether, count - first);
    for (std::size_t k = 0; k < kWindowsTogether; ++k) {
      const float* point = points + 2 * (first + k);
      k < present
          ? windows[k].place(point[0], point[1], planes[0][0].width, planes[0][0].height, cell_size)
          : windows[k].clear();
    }
    fillHistograms(gradient, windows);
    const std::array<float, kWindowsTogether> lengths = histogramLengths(windows);
    normalise(windows, lengths, clampLevel);
    for (std::size_t k = 0; k < present; ++k) {
      if (lengths[k] > kFlatNorm) {
        norms[first + k] = lengths[k];
        storeBytes(windows[k], out + kDescriptorSize * (first + k));
      }
    }
  }
}

}  // namespace SDMCore
