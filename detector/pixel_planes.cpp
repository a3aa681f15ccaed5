// The way of pixels into a network: interleaved bytes to planes of floats.

#include "detector/pixel_planes.h"

#include <algorithm>
#include <cstddef>

#include "caffe/util/math_functions.hpp"
#include "caffe/util/wide_loops.hpp"

namespace oznalib {
namespace {

constexpr int kPlanes = 3;

// Where the planes of an image begin in the input, and how many values each has.
struct Planes {
  float* first;
  std::size_t size;
  int count;
};

Planes planesOf(const cv::Mat& image, caffe::Blob<float>& input) {
  const std::size_t size =
      static_cast<std::size_t>(image.rows) * static_cast<std::size_t>(image.cols);
  return {input.mutable_cpu_data(), size,
          static_cast<int>(std::min<std::size_t>(kPlanes, input.count() / size))};
}

void writeRow(const unsigned char* pixels, int columns, int byte, float* plane_row) {
  for (int column = 0; column < columns; ++column) {
    plane_row[column] = static_cast<float>(pixels[kPlanes * column + byte]);
  }
}

void writeRowLessMean(const unsigned char* pixels, int columns, int byte, const float* mean_row,
                      float* plane_row) {
  for (int column = 0; column < columns; ++column) {
    plane_row[column] = static_cast<float>(pixels[kPlanes * column + byte]) - mean_row[column];
  }
}

// Calls write(pixels of a row, byte of each pixel, position of the row in the input) for each row
// of each plane.
template <class WriteRow>
void forEachRow(const cv::Mat& image, const Planes& planes, const WriteRow& write) {
  for (int row = 0; row < image.rows; ++row) {
    const unsigned char* const pixels = image.ptr<unsigned char>(row);
    for (int plane = 0; plane < planes.count; ++plane) {
      write(pixels, kPlanes - 1 - plane,
            plane * planes.size + static_cast<std::size_t>(row) * image.cols);
    }
  }
}

}  // namespace

void writePixelPlanes(const cv::Mat& image, caffe::Blob<float>& input) {
  const Planes planes = planesOf(image, input);
  forEachRow(image, planes, [&](const unsigned char* pixels, int byte, std::size_t at) {
    caffe::RunWide([=]() OZNA_WIDE_LOOP { writeRow(pixels, image.cols, byte, planes.first + at); });
  });
}

void writePixelPlanesLessMean(const cv::Mat& image, const float* mean, caffe::Blob<float>& input) {
  const Planes planes = planesOf(image, input);
  forEachRow(image, planes, [&](const unsigned char* pixels, int byte, std::size_t at) {
    caffe::RunWide([=]() OZNA_WIDE_LOOP {
      writeRowLessMean(pixels, image.cols, byte, mean + at, planes.first + at);
    });
  });
  const std::size_t written = planes.count * planes.size;
  vsSub(static_cast<int>(input.count() - written), planes.first + written, mean + written,
        planes.first + written);
}

}  // namespace oznalib
