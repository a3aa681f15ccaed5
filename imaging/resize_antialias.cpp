// Separable Lanczos resize of 8-bit colour images.

#include "imaging/resize_antialias.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <iostream>
#include <vector>

#include "caffe/util/wide_loops.hpp"

namespace oznalib {
namespace {

constexpr int kPixelBytes = 3;
constexpr double kPi = 3.14159265358979323846;

// ----------------------------------------------------------------------------
// The filter: which source pixels, with which weights.

// sin(pi * x) / (pi * x). The product is rounded to float before the sine sees it.
float sinc(float x) {
  if (x == 0.0F) {
    return 1.0F;
  }
  const float angle = static_cast<float>(x * kPi);
  return std::sin(angle) / angle;
}

// The source pixels that make up one output position, and their weights.
struct Footprint {
  int first;            // First source position.
  int taps;             // Number of source positions.
  float inverse_sum;    // Of the weights.
  const float* weight;  // taps floats.
};

// The footprints of all positions along one axis.
class FilterTable {
 public:
  FilterTable(int source_length, int length) {
    const float ratio = static_cast<float>(source_length) / static_cast<float>(length);
    // An enlargement takes the filter at its natural scale but looks half a pixel far only.
    const float filter_scale = ratio < 1.0F ? 1.0F : ratio;
    const float support = ratio < 1.0F ? 0.5F : 3.0F * ratio;
    const std::size_t row = static_cast<std::size_t>(support) * 2 + 10;
    weights_.assign(row * static_cast<std::size_t>(length), 0.0F);
    footprints_.reserve(static_cast<std::size_t>(length));
    for (int i = 0; i < length; ++i) {
      float* weight = weights_.data() + row * static_cast<std::size_t>(i);
      footprints_.push_back(makeFootprint(i, source_length, ratio, filter_scale, support, weight));
    }
  }

  const Footprint& operator[](int position) const {
    return footprints_[static_cast<std::size_t>(position)];
  }

 private:
  static Footprint makeFootprint(int position, int source_length, float ratio, float filter_scale,
                                 float support, float* weight) {
    const float centre = (static_cast<float>(position) + 0.5F) * ratio;
    const int low = static_cast<int>(std::max(0.0F, std::floor(centre - support)));
    const int high =
        static_cast<int>(std::min(static_cast<float>(source_length), std::ceil(centre + support)));
    const float inverse_scale = 1.0F / filter_scale;
    float sum = 0.0F;
    for (int j = low; j < high; ++j) {
      const float w =
          lanczos3(((static_cast<float>(j) - centre) + 0.5F) * inverse_scale) * inverse_scale;
      weight[j - low] = w;
      sum += w;
    }
    const int taps = std::max(0, high - low);
    return {low, taps, taps > 0 && sum != 0.0F ? 1.0F / sum : 1.0F, weight};
  }

  std::vector<float> weights_;
  std::vector<Footprint> footprints_;
};

// ----------------------------------------------------------------------------
// Rounding.

// Byte i is sum i times inverse_sum, rounded and cut to what a byte holds. NaN gives 0.
inline OZNA_WIDE_LOOP void roundToBytes(const float* sums, float inverse_sum, int count,
                                        std::uint8_t* bytes) {
  OZNA_VECTOR_LOOP
  for (int i = 0; i < count; ++i) {
    const float value = sums[i] * inverse_sum + 0.5F;
    const float above = value >= 0.5F ? value : 0.0F;
    const float limited = above < 255.0F ? above : 255.0F;
    bytes[i] = static_cast<std::uint8_t>(static_cast<std::int32_t>(limited));
  }
}

// ----------------------------------------------------------------------------
// The pass along the rows.

// Eight rows run side by side, so that one weight serves 24 sums at once while each of them still
// grows in ascending order of the source.
constexpr int kRowBlock = 8;
constexpr int kBlockLanes = kRowBlock * kPixelBytes;

// Lays out lane (channel, row) of source column x at columns[x * kBlockLanes + channel * kRowBlock
// + row].
void interleaveRows(const cv::Mat& source, int first_row, int row_count,
                    std::vector<float>& columns) {
  for (int row = 0; row < row_count; ++row) {
    const std::uint8_t* pixel = source.ptr<std::uint8_t>(first_row + row);
    float* lane = columns.data() + row;
    for (int x = 0; x < source.cols; ++x, pixel += kPixelBytes, lane += kBlockLanes) {
      lane[0] = pixel[0];
      lane[kRowBlock] = pixel[1];
      lane[2 * kRowBlock] = pixel[2];
    }
  }
}

// One pixel of each of the rows, laid out as interleaveRows does.
inline OZNA_WIDE_LOOP void sumColumns(const float* columns, const Footprint& footprint,
                                      std::uint8_t* bytes) {
  const float* column = columns + static_cast<std::size_t>(footprint.first) * kBlockLanes;
  float sums[kBlockLanes] = {};
  for (int tap = 0; tap < footprint.taps; ++tap, column += kBlockLanes) {
    const float weight = footprint.weight[tap];
    for (int lane = 0; lane < kBlockLanes; ++lane) {
      sums[lane] += column[lane] * weight;
    }
  }
  roundToBytes(sums, footprint.inverse_sum, kBlockLanes, bytes);
}

void resizeHorizontally(const cv::Mat& source, const FilterTable& table, cv::Mat& destination) {
  std::vector<float> columns(static_cast<std::size_t>(source.cols) * kBlockLanes, 0.0F);
  std::vector<std::uint8_t> bytes(static_cast<std::size_t>(destination.cols) * kBlockLanes);
  for (int first_row = 0; first_row < source.rows; first_row += kRowBlock) {
    const int row_count = std::min(kRowBlock, source.rows - first_row);
    interleaveRows(source, first_row, row_count, columns);
    const float* from = columns.data();
    std::uint8_t* to = bytes.data();
    caffe::RunWide([=, &table]() OZNA_WIDE_LOOP {
      for (int x = 0; x < destination.cols; ++x) {
        sumColumns(from, table[x], to + static_cast<std::size_t>(x) * kBlockLanes);
      }
    });
    for (int row = 0; row < row_count; ++row) {
      const std::uint8_t* lane = bytes.data() + row;
      std::uint8_t* pixel = destination.ptr<std::uint8_t>(first_row + row);
      for (int x = 0; x < destination.cols; ++x, pixel += kPixelBytes, lane += kBlockLanes) {
        pixel[0] = lane[0];
        pixel[1] = lane[kRowBlock];
        pixel[2] = lane[2 * kRowBlock];
      }
    }
  }
}

constexpr int kByteBlock = 32;  // Bytes of a row that are summed side by side.

// ----------------------------------------------------------------------------
// The pass along the columns.

// count bytes of a row, at most kByteBlock, out of the source rows of a footprint.
inline OZNA_WIDE_LOOP void sumRows(const std::uint8_t* source, std::size_t step,
                                   const Footprint& footprint, int count, std::uint8_t* bytes) {
  float sums[kByteBlock] = {};
  for (int tap = 0; tap < footprint.taps; ++tap, source += step) {
    const float weight = footprint.weight[tap];
    OZNA_VECTOR_LOOP
    for (int i = 0; i < count; ++i) {
      sums[i] += static_cast<float>(source[i]) * weight;
    }
  }
  roundToBytes(sums, footprint.inverse_sum, count, bytes);
}

void resizeVertically(const cv::Mat& source, const FilterTable& table, cv::Mat& destination) {
  const int row_bytes = destination.cols * kPixelBytes;
  const std::size_t step = source.step[0];
  for (int y = 0; y < destination.rows; ++y) {
    const Footprint& footprint = table[y];
    const std::uint8_t* from = source.ptr<std::uint8_t>(std::min(footprint.first, source.rows - 1));
    std::uint8_t* to = destination.ptr<std::uint8_t>(y);
    caffe::RunWide([=, &footprint]() OZNA_WIDE_LOOP {
      int i = 0;
      for (; i + kByteBlock <= row_bytes; i += kByteBlock) {
        sumRows(from + i, step, footprint, kByteBlock, to + i);
      }
      sumRows(from + i, step, footprint, row_bytes - i, to + i);
    });
  }
}

// ----------------------------------------------------------------------------
// The two resizes, and the slow one that tests hold them to.

// 32-bit product that wraps.
std::int32_t wrappingProduct(std::int32_t a, std::int32_t b) {
  return static_cast<std::int32_t>(static_cast<std::uint32_t>(a) * static_cast<std::uint32_t>(b));
}

}  // namespace

float lanczos3(float x) {
  if (x < -3.0F || !(x < 3.0F)) {
    return 0.0F;
  }
  const float a = sinc(x);
  const float b = sinc(x / 3.0F);
  return b * a;
}

cv::Mat resize_antialias_oracle(const cv::Mat& source, int width, int height) {
  cv::Mat destination(height, width, source.type());
  if (source.rows == height) {
    if (!destination.empty()) {
      resizeHorizontally(source, FilterTable(source.cols, width), destination);
    }
    return destination;
  }
  if (source.cols == width) {
    if (!destination.empty()) {
      resizeVertically(source, FilterTable(source.rows, height), destination);
    }
    return destination;
  }
  std::cerr << "Error: resize_antialias_oracle size" << std::endl;
  return cv::Mat();
}

cv::Mat resize_antialias(const cv::Mat& source, const cv::Size& size) {
  if (source.type() != CV_8UC3) {
    std::cerr << "Error: resize_antialias type" << std::endl;
    return source;
  }
  const bool vertical_first =
      wrappingProduct(source.cols, size.height) < wrappingProduct(source.rows, size.width);
  const cv::Mat intermediate = vertical_first
                                   ? resize_antialias_oracle(source, source.cols, size.height)
                                   : resize_antialias_oracle(source, size.width, source.rows);
  return resize_antialias_oracle(intermediate, size.width, size.height);
}

}  // namespace oznalib
