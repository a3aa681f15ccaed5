/// The way of pixels into a network: interleaved bytes to planes of floats.

#include "detector/pixel_planes.h"

#include <algorithm>
#include <cstddef>

namespace oznalib {
namespace {

constexpr int kPlanes = 3;

void writeRow(const unsigned char* pixels, int columns, int byte, float* plane_row) {
  for (int column = 0; column < columns; ++column) {
    plane_row[column] = static_cast<float>(pixels[kPlanes * column + byte]);
  }
}

}  // namespace

void writePixelPlanes(const cv::Mat& image, caffe::Blob<float>& input) {
  float* const planes = input.mutable_cpu_data();
  const std::size_t plane_size =
      static_cast<std::size_t>(image.rows) * static_cast<std::size_t>(image.cols);
  const int plane_count =
      static_cast<int>(std::min<std::size_t>(kPlanes, input.count() / plane_size));
  for (int row = 0; row < image.rows; ++row) {
    const unsigned char* const pixels = image.ptr<unsigned char>(row);
    float* const plane_row = planes + static_cast<std::size_t>(row) * image.cols;
    for (int plane = 0; plane < plane_count; ++plane) {
      writeRow(pixels, image.cols, kPlanes - 1 - plane, plane_row + plane * plane_size);
    }
  }
}

}  // namespace oznalib
