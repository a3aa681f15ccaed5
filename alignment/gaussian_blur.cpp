// Gaussian kernels and the separable blur.

#include "alignment/gaussian_blur.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstring>
#include <new>

#include "alignment/calerf.h"
#include "alignment/truncation.h"
#include "caffe/util/wide_loops.hpp"

namespace oznalib {
namespace {

constexpr std::size_t kRowAlignment = 64;  // Bytes: one cache line.
constexpr std::size_t kBlock = 16;         // Outputs that are summed side by side.

class BadAllocation : public std::bad_alloc {
 public:
  const char* what() const noexcept override { return "bad allocation"; }
};

// Aligned floats, uninitialised.
class AlignedBuffer {
 public:
  explicit AlignedBuffer(std::size_t count)
      : data_(static_cast<float*>(
            ::operator new(count * sizeof(float), std::align_val_t(kRowAlignment), std::nothrow))) {
    if (data_ == nullptr) {
      throw BadAllocation();
    }
  }
  AlignedBuffer(const AlignedBuffer&) = delete;
  AlignedBuffer& operator=(const AlignedBuffer&) = delete;
  ~AlignedBuffer() { ::operator delete(data_, std::align_val_t(kRowAlignment)); }

  float* get() const { return data_; }

 private:
  float* data_;
};

// kBlock outputs from the first position on.
inline OZNA_WIDE_LOOP void sumBlock(const float* const* lines, const float* kernel,
                                    std::size_t taps, std::size_t x, float* out) {
  float sums[kBlock] = {};
  for (std::size_t j = 0; j < taps; ++j) {
    const float* line = lines[j] + x;
    const float tap = kernel[j];
    for (std::size_t i = 0; i < kBlock; ++i) {
      sums[i] += tap * line[i];
    }
  }
  std::memcpy(out + x, sums, sizeof(sums));
}

// out[x] = sum over j of kernel[j] * lines[j][x], in ascending j for each x. out is not one of the
// lines: where the width is no multiple of a block, some outputs are worked out twice.
void sumLines(const float* const* lines, const float* kernel, std::size_t taps, std::size_t width,
              float* out) {
  if (width >= kBlock) {
    caffe::RunWide([=]() OZNA_WIDE_LOOP {
      for (std::size_t x = 0; x + kBlock <= width; x += kBlock) {
        sumBlock(lines, kernel, taps, x, out);
      }
      sumBlock(lines, kernel, taps, width - kBlock, out);
    });
    return;
  }
  for (std::size_t x = 0; x < width; ++x) {
    float sum = 0.0F;
    for (std::size_t j = 0; j < taps; ++j) {
      sum += kernel[j] * lines[j][x];
    }
    out[x] = sum;
  }
}

void scalePlane(const SDMCore::Plane& source, SDMCore::Plane& destination, float factor) {
  const std::size_t count = static_cast<std::size_t>(source.width * source.height);
  for (std::size_t i = 0; i < count; ++i) {
    destination.data[i] = source.data[i] * factor;
  }
}

// Keeps the last taps rows, blurred along x, in a ring: enough for one output row, and small enough
// to stay in the first level cache.
class RowRing {
 public:
  RowRing(const SDMCore::Plane& source, const std::vector<float>& kernel)
      : source_(source),
        kernel_(kernel),
        taps_(kernel.size()),
        half_(kernel.size() / 2),
        width_(static_cast<std::size_t>(source.width)),
        row_floats_((width_ + kBlock - 1) / kBlock * kBlock),
        padded_(width_ + taps_),
        rows_(row_floats_ * taps_),
        shifted_(taps_) {
    for (std::size_t j = 0; j < taps_; ++j) {
      shifted_[j] = padded_.get() + j;
    }
  }

  // Blurs row y of the source into its slot.
  void fill(std::size_t y) {
    const float* row = source_.data + y * width_;
    float* padded = padded_.get();
    std::fill_n(padded, half_, row[0]);
    std::copy_n(row, width_, padded + half_);
    std::fill_n(padded + half_ + width_, taps_ - half_ - 1, row[width_ - 1]);
    sumLines(shifted_.data(), kernel_.data(), taps_, width_, slot(y));
  }

  float* slot(std::size_t y) const { return rows_.get() + y % taps_ * row_floats_; }

 private:
  const SDMCore::Plane& source_;
  const std::vector<float>& kernel_;
  std::size_t taps_;
  std::size_t half_;
  std::size_t width_;
  std::size_t row_floats_;
  AlignedBuffer padded_;
  AlignedBuffer rows_;
  std::vector<const float*> shifted_;
};

}  // namespace

std::vector<float> gaussianKernel(float sigma) {
  const int half = truncateToInt(sigma * 3.5F + 0.5F);
  std::vector<float> kernel(static_cast<std::size_t>(2 * half + 1));
  const double c = 1.0 / (static_cast<double>(sigma) * std::sqrt(2.0));
  double sum = 0.0;
  for (int i = 1; i <= half; ++i) {
    // Far out, erf is so near 1 that only its complement keeps the difference.
    const double value = i * c >= 2.5 ? calerf((i - 0.5) * c, ErrorFunction::kErfc) -
                                            calerf((i + 0.5) * c, ErrorFunction::kErfc)
                                      : calerf((i + 0.5) * c, ErrorFunction::kErf) -
                                            calerf((i - 0.5) * c, ErrorFunction::kErf);
    kernel[static_cast<std::size_t>(half - i)] = static_cast<float>(value);
    kernel[static_cast<std::size_t>(half + i)] = static_cast<float>(value);
    sum += value;
  }
  const double centre =
      calerf(0.5 * c, ErrorFunction::kErf) - calerf(-0.5 * c, ErrorFunction::kErf);
  kernel[static_cast<std::size_t>(half)] = static_cast<float>(centre);
  const float total = static_cast<float>(2.0 * sum + centre);
  for (float& tap : kernel) {
    tap /= total;
  }
  return kernel;
}

void separableBlur(const SDMCore::Plane& source, SDMCore::Plane& destination,
                   const std::vector<float>& kernel) {
  destination.resize(source.width, source.height);
  if (source.width == 0 || source.height == 0) {
    return;
  }
  if (kernel.size() == 1) {
    scalePlane(source, destination, kernel[0] * kernel[0]);
    return;
  }
  const std::size_t taps = kernel.size();
  const std::size_t half = taps / 2;
  const std::size_t height = static_cast<std::size_t>(source.height);
  const std::size_t width = static_cast<std::size_t>(source.width);
  RowRing ring(source, kernel);
  std::vector<const float*> lines(taps);
  std::size_t filled = 0;
  for (std::size_t y = 0; y < height; ++y) {
    const std::size_t last = std::min(y + taps - half - 1, height - 1);
    for (; filled <= last; ++filled) {
      ring.fill(filled);
    }
    for (std::size_t j = 0; j < taps; ++j) {
      const std::size_t row = y + j < half ? 0 : std::min(y + j - half, height - 1);
      lines[j] = ring.slot(row);
    }
    // Rows up to last are in the ring already, so that writing row y of the source itself is safe.
    sumLines(lines.data(), kernel.data(), taps, width, destination.data + y * width);
  }
}

}  // namespace oznalib
