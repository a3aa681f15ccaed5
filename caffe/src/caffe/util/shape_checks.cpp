// Fatal checks of shapes and sizes.

#include "caffe/util/shape_checks.hpp"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <limits>

#include "caffe/common.hpp"

namespace caffe {
namespace {

constexpr int kMaxCount = std::numeric_limits<int>::max();

}  // namespace

void CheckShapeFits(double num, double channels, double height, double width) {
  const double count =
      std::max(num, 1.0) * std::max(channels, 1.0) * std::max(height, 1.0) * std::max(width, 1.0);
  CHECK_LE(count, kMaxCount) << "A blob of shape (" << num << ", " << channels << ", " << height
                             << ", " << width << ") has too many elements.";
}

void CheckWindow(int kernel_size, int pad, int stride, int height, int width) {
  CHECK_GE(kernel_size, 0) << "kernel_size is too large.";
  CHECK_GE(pad, 0) << "pad is too large.";
  CHECK_GT(stride, 0) << "stride should be at least 1.";
  const std::int64_t extent =
      std::int64_t{2} * pad + kernel_size + stride + std::max(height, width);
  CHECK_LE(extent, kMaxCount / 2) << "pad, kernel_size and stride are too large together.";
}

void CheckHolds(const Blob<float>& blob, std::int64_t count) {
  CHECK_GE(count, 0) << "A blob was resized to a negative size.";
  CHECK_LE(static_cast<std::size_t>(count) * sizeof(float), blob.data()->size())
      << "The blob was resized beyond the memory that it got at SetUp.";
}

void CheckParameterHolds(const Blob<float>& blob, int num, int channels, int height, int width,
                         const char* name) {
  const std::int64_t expected = std::int64_t{num} * channels * height * width;
  CHECK_LE(expected, blob.count())
      << "The definition carries " << name << " of shape (" << blob.num() << ", " << blob.channels()
      << ", " << blob.height() << ", " << blob.width() << "), expected (" << num << ", " << channels
      << ", " << height << ", " << width << ").";
}

}  // namespace caffe
