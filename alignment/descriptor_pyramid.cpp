// The blur pyramid, its gradients and the descriptors taken from them.

#include "alignment/descriptor_pyramid.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "alignment/descriptor_histogram.h"
#include "alignment/truncation.h"
#include "caffe/util/wide_loops.hpp"

namespace SDMCore {
namespace {

using oznalib::truncateToInt;

constexpr float kFlatNorm = 0.5F;

// ----------------------------------------------------------------------------
// Numbers: cell sizes, normalising, bytes.

// Powers by repeated squaring: their rounding decides the last digit of the cell size.
float integerPower(float base, std::int64_t exponent) {
  float result = 1.0F;
  for (; exponent > 0; exponent >>= 1) {
    if ((exponent & 1) != 0) {
      result *= base;
    }
    base *= base;
  }
  return result;
}

// Divides the entries of each of the first count histograms by its length, and caps them.
void normalise(WindowGroup& windows, std::size_t count,
               const std::array<float, kWindowsTogether>& lengths, float cap) {
  for (std::size_t k = 0; k < count; ++k) {
    float* histogram = windows[k].histogram.data();
    const float length = lengths[k];
    caffe::RunWide([=]() OZNA_WIDE_LOOP {
      for (int i = 0; i < DescriptorPyramid::kDescriptorSize; ++i) {
        const float entry = histogram[i] / length;
        histogram[i] = cap < entry ? cap : entry;
      }
    });
  }
}

// Stores the entries, divided by the length, in 255 steps.
void storeBytes(const DescriptorWindow& window, float length, std::uint8_t* out) {
  const float* histogram = window.histogram.data();
  caffe::RunWide([=]() OZNA_WIDE_LOOP {
    OZNA_VECTOR_LOOP
    for (int i = 0; i < DescriptorPyramid::kDescriptorSize; ++i) {
      const float value = histogram[i] / length * 255.0F + 0.5F;
      out[i] =
          static_cast<std::uint8_t>(static_cast<std::int32_t>(255.0F < value ? 255.0F : value));
    }
  });
}

}  // namespace

// ----------------------------------------------------------------------------
// Planes: the image and its blurred copies.

DescriptorPyramid::DescriptorPyramid(std::uint64_t columns, std::uint64_t rows,
                                     std::uint64_t level_count)
    : width(columns),
      height(rows),
      levels(level_count),
      planes(1),
      gradients(1),
      pointCapacity(std::clamp<std::uint64_t>(columns * rows / 512, 128, 8192)),
      descriptorCapacity(2 * pointCapacity),
      step(std::pow(2.0F, 1.0F / static_cast<float>(level_count))),
      shares_(columns, rows, static_cast<std::size_t>(level_count) + 3) {
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
    const std::uint64_t columns = width;
    caffe::RunWide([=]() OZNA_WIDE_LOOP {
      OZNA_VECTOR_LOOP
      for (std::uint64_t x = 0; x < columns; ++x) {
        out[x] = static_cast<float>(pixel[x]) / 255.0F;
      }
    });
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
  const float ratio = std::pow(2.0F, 1.0F / static_cast<float>(levels));
  const float growth = std::sqrt(ratio * ratio - 1.0F);
  float sigma = growth * baseSigma;
  for (std::uint64_t level = 0; level < std::min(top, levels + 2); ++level) {
    oznalib::separableBlur(planes[0][level], planes[0][level + 1], oznalib::gaussianKernel(sigma));
    sigma *= ratio;
  }
}

// ----------------------------------------------------------------------------
// Gradients of a whole level.

void DescriptorPyramid::prepareGradient(std::uint64_t level) {
  Plane& gradient = gradients[0][level];
  if (gradient.data != nullptr) {
    return;
  }
  gradient.resize(4 * width, height);
  if (width < 3) {
    return;
  }
  const float* pixels = planes[0][level].data;
  const std::size_t columns = static_cast<std::size_t>(width) - 2;
  GradientRow row(columns);
  for (std::uint64_t y = 1; y + 1 < height; ++y) {
    const float* here = pixels + y * width + 1;
    row.compute(here - width, here, here + width, columns);
    GradientCell* cells = reinterpret_cast<GradientCell*>(gradient.data + y * gradient.width) + 1;
    for (std::size_t x = 0; x < columns; ++x) {
      cells[x] = {row.magnitude[x], row.fraction[x], 1.0F - row.fraction[x],
                  static_cast<std::uint8_t>(row.bin[x]),
                  static_cast<std::uint8_t>(row.neighbour[x])};
    }
  }
}

// ----------------------------------------------------------------------------
// Descriptors.

std::int64_t DescriptorPyramid::existingLevel(float level) const {
  const std::int64_t whole = truncateToInt(static_cast<double>(level) + 0.5);
  return whole < static_cast<std::int64_t>(planes[0].size()) ? whole : -1;
}

void DescriptorPyramid::computeDescriptor(float x, float y, float level, float* norm,
                                          std::uint8_t* out) {
  const std::int64_t whole_level = existingLevel(level);
  if (whole_level >= 0) {
    // Of the whole level: points that come one by one may lie anywhere.
    const std::size_t index = static_cast<std::size_t>(whole_level);
    prepareGradient(index);
    shares_.prepare(
        index, planes[0][index], gradients[0][index],
        {1, 1, static_cast<std::int64_t>(width) - 1, static_cast<std::int64_t>(height) - 1});
  }
  const float point[] = {x, y};
  computeDescriptors(point, 1, level, norm, out);
}

float DescriptorPyramid::cellSize(std::int64_t whole_level) const {
  return integerPower(step, whole_level) * baseSigma * magnification;
}

void DescriptorPyramid::prepareWindows(const float* points, std::size_t count, float level) {
  const std::int64_t whole_level = existingLevel(level);
  if (whole_level < 0) {
    return;
  }
  const float cell_size = cellSize(whole_level);
  PixelArea all;
  for (std::size_t i = 0; i < count; ++i) {
    all = all.joined(windowArea(points[2 * i], points[2 * i + 1], width, height, cell_size));
  }
  const std::size_t index = static_cast<std::size_t>(whole_level);
  shares_.prepare(index, planes[0][index], gradients[0][index], all);
}

void DescriptorPyramid::forgetWindows(float level) {
  const std::int64_t whole_level = existingLevel(level);
  if (whole_level >= 0) {
    shares_.forget(static_cast<std::size_t>(whole_level));
  }
}

void DescriptorPyramid::computeDescriptors(const float* points, std::size_t count, float level,
                                           float* norms, std::uint8_t* out, MemoryAhead ahead) {
  std::fill_n(norms, count, 0.0F);
  const std::int64_t whole_level = existingLevel(level);
  if (whole_level < 0) {
    return;
  }
  prepareWindows(points, count, level);
  const std::size_t index = static_cast<std::size_t>(whole_level);
  const float cell_size = cellSize(whole_level);
  for (std::size_t first = 0; first < count; first += kWindowsTogether) {
    const std::size_t present = std::min(kWindowsTogether, count - first);
    for (std::size_t k = 0; k < present; ++k) {
      const float x = points[2 * (first + k)];
      const float y = points[2 * (first + k) + 1];
      windows_[k].place(x, y, windowArea(x, y, width, height, cell_size), cell_size);
      fillHistogram(shares_, index, windows_[k], ahead);
    }
    const std::array<float, kWindowsTogether> lengths = histogramLengths(windows_, present);
    normalise(windows_, present, lengths, clampLevel);
    const std::array<float, kWindowsTogether> capped = histogramLengths(windows_, present);
    for (std::size_t k = 0; k < present; ++k) {
      if (lengths[k] > kFlatNorm) {
        norms[first + k] = lengths[k];
        storeBytes(windows_[k], capped[k], out + kDescriptorSize * (first + k));
      }
    }
  }
}

}  // namespace SDMCore
