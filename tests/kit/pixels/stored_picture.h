/// Pictures for tests, stored in any format, orientation and row step, with the upright pixels that
/// they stand for.

#ifndef OZNA_TESTS_KIT_PIXELS_STORED_PICTURE_H_
#define OZNA_TESTS_KIT_PIXELS_STORED_PICTURE_H_

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <opencv2/core.hpp>
#include <vector>

#include "kit/oznakit.h"

namespace kit_test {

/// Where red, green and blue stand in a pixel of each format, in the order of OZNAKIT_RGB and so
/// on.
struct Channels {
  std::size_t bytes, red, green, blue;
};
constexpr Channels kChannels[] = {{3, 0, 1, 2}, {3, 2, 1, 0}, {4, 0, 1, 2},
                                  {4, 2, 1, 0}, {4, 1, 2, 3}, {1, 0, 0, 0}};
constexpr int kFormats = 6;

/// The stored pixel (column, row) of an upright one, from what the eight numbers say about the
/// sides that the first row and the first column belong to.
inline cv::Point storedPixel(int orientation, const cv::Size& upright, int x, int y) {
  const int from_right = upright.width - 1 - x;
  const int from_bottom = upright.height - 1 - y;
  switch (orientation) {
    case 2:  // First row at the top, first column on the right.
      return {from_right, y};
    case 3:  // Bottom, right.
      return {from_right, from_bottom};
    case 4:  // Bottom, left.
      return {x, from_bottom};
    case 5:  // First row on the left, first column at the top.
      return {y, x};
    case 6:  // Right, top.
      return {y, from_right};
    case 7:  // Right, bottom.
      return {from_bottom, from_right};
    case 8:  // Left, bottom.
      return {from_bottom, x};
    default:  // Top, left.
      return {x, y};
  }
}

/// An upright picture in packed RGB and one way of storing it. Bytes that hold no colour are noise.
class StoredPicture {
 public:
  /// rgb        Grey where the format is.
  /// gap_bytes  Between rows.
  /// upwards    Rows go upwards in memory.
  StoredPicture(const cv::Mat& rgb, int format, int orientation, std::size_t gap_bytes,
                bool upwards) {
    const bool exchanges = orientation >= 5;
    const int width = exchanges ? rgb.rows : rgb.cols;
    const int height = exchanges ? rgb.cols : rgb.rows;
    const Channels& channels = kChannels[format];
    const std::size_t step = static_cast<std::size_t>(width) * channels.bytes + gap_bytes;
    // No byte more than the last row has, at an odd address.
    bytes_.resize(step * static_cast<std::size_t>(height) - gap_bytes + 1);
    unsigned noise = 1;
    for (std::uint8_t& byte : bytes_) {
      noise = noise * 1103515245 + 12345;
      byte = static_cast<std::uint8_t>(noise >> 24);
    }
    std::uint8_t* const lowest = bytes_.data() + 1;
    std::uint8_t* const top =
        upwards ? lowest + step * static_cast<std::size_t>(height - 1) : lowest;
    const auto row_bytes = static_cast<std::ptrdiff_t>(step) * (upwards ? -1 : 1);
    for (int y = 0; y < rgb.rows; ++y) {
      for (int x = 0; x < rgb.cols; ++x) {
        const cv::Point at = storedPixel(orientation, rgb.size(), x, y);
        std::uint8_t* const pixel =
            top + at.y * row_bytes + static_cast<std::ptrdiff_t>(channels.bytes) * at.x;
        const std::uint8_t* const colour = rgb.ptr<std::uint8_t>(y) + 3 * x;
        pixel[channels.red] = colour[0];
        pixel[channels.green] = colour[1];
        pixel[channels.blue] = colour[2];
      }
    }
    image_ = OZNAKIT_IMAGE_INIT;
    image_.pixels = top;
    image_.width = width;
    image_.height = height;
    image_.row_bytes = row_bytes;
    image_.format = format;
    image_.orientation = orientation;
  }

  const oznakit_image& image() const { return image_; }

 private:
  std::vector<std::uint8_t> bytes_;
  oznakit_image image_;
};

/// Pixels of which no two neighbours are alike; grey for the grey format.
inline cv::Mat coloured(int width, int height, int format) {
  cv::Mat rgb(height, width, CV_8UC3);
  unsigned noise = static_cast<unsigned>(width * 1000 + height);
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      for (int c = 0; c < 3; ++c) {
        noise = noise * 1103515245 + 12345;
        rgb.ptr<std::uint8_t>(y)[3 * x + c] = format == OZNAKIT_GREY && c > 0
                                                  ? rgb.ptr<std::uint8_t>(y)[3 * x]
                                                  : static_cast<std::uint8_t>(noise >> 24);
      }
    }
  }
  return rgb;
}

inline bool equalPixels(const cv::Mat& a, const cv::Mat& b) {
  if (a.size() != b.size() || a.type() != b.type()) {
    return false;
  }
  const std::size_t row = static_cast<std::size_t>(a.cols) * a.elemSize();
  for (int y = 0; y < a.rows; ++y) {
    if (!std::equal(a.ptr<std::uint8_t>(y), a.ptr<std::uint8_t>(y) + row, b.ptr<std::uint8_t>(y))) {
      return false;
    }
  }
  return true;
}

}  // namespace kit_test

#endif  // OZNA_TESTS_KIT_PIXELS_STORED_PICTURE_H_
