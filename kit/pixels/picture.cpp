// Checks of a host's picture, and its pixels in the order of the core.

#include "kit/pixels/picture.h"

#include <algorithm>
#include <string>

#include "kit/error.h"

namespace kit {
namespace {

constexpr std::int32_t kLongestSide = 1000000;
constexpr std::ptrdiff_t kRgbBytes = 3;
constexpr std::size_t kNoGaps = cv::Mat::AUTO_STEP;
// Where the upright rows are stored columns, each pixel of a row is in a cache line of its own. So
// many of them stay in the cache until the rows below have used up the rest of their lines.
constexpr int kColumnsAtOnce = 64;

void requireSide(const char* name, std::int32_t side) {
  if (side < 1 || side > kLongestSide) {
    throw Error(OZNAKIT_BAD_ARGUMENT,
                std::string("Expected the ") + name + " of a picture to be 1 to " +
                    std::to_string(kLongestSide) + " pixels, found " + std::to_string(side) + ".");
  }
}

void requireFields(const oznakit_image& image) {
  requireSides(image.width, image.height);
  if (image.pixels == nullptr) {
    throw Error(OZNAKIT_BAD_ARGUMENT, "Expected the pixels of a picture, found a null pointer.");
  }
  if (image.orientation < 0 || image.orientation > 8) {
    throw Error(OZNAKIT_BAD_ARGUMENT, "Expected the orientation of a picture to be 0 to 8, found " +
                                          std::to_string(image.orientation) + ".");
  }
}

void copyRow(const std::uint8_t* from, std::ptrdiff_t step, const PixelFormat& format, int count,
             std::uint8_t* rgb) {
  for (int i = 0; i < count; ++i, from += step, rgb += kRgbBytes) {
    rgb[0] = from[format.red];
    rgb[1] = from[format.green];
    rgb[2] = from[format.blue];
  }
}

// The compiler unrolls a loop whose step it knows.
void copyUprightRow(const std::uint8_t* from, const PixelFormat& format, int count,
                    std::uint8_t* rgb) {
  switch (format.bytes) {
    case 1:
      return copyRow(from, 1, {1, 0, 0, 0, -1}, count, rgb);
    case 3:
      return copyRow(from, 3, format, count, rgb);
    default:
      return copyRow(from, 4, format, count, rgb);
  }
}

}  // namespace

void requireSides(std::int32_t width, std::int32_t height) {
  requireSide("width", width);
  requireSide("height", height);
}

Picture::Picture(const oznakit_image& image) : format_(pixelFormat(image.format)) {
  requireFields(image);
  stored_ = static_cast<const std::uint8_t*>(image.pixels);
  stored_size_ = cv::Size(image.width, image.height);
  row_bytes_ = checkedRowBytes("a picture", image.pixels, image.row_bytes, image.width,
                               image.height, format_);
  orientation_ = orientationOf(image.orientation);
  place();
}

Picture::Picture(const Picture& picture, const Orientation& orientation) : Picture(picture) {
  orientation_ = orientation;
  place();
}

Picture Picture::turned(int quarter_turns) const {
  return Picture(*this, turnedClockwise(orientation_, quarter_turns));
}

// The steps of the orientation, applied to the way through the memory instead of the pixels.
void Picture::place() {
  size_ = stored_size_;
  first_ = stored_;
  step_x_ = format_.bytes;
  step_y_ = row_bytes_;
  if (orientation_.exchanges_sides) {
    std::swap(size_.width, size_.height);
    std::swap(step_x_, step_y_);
  }
  if (orientation_.mirrors_columns) {
    first_ += step_x_ * (size_.width - 1);
    step_x_ = -step_x_;
  }
  if (orientation_.mirrors_rows) {
    first_ += step_y_ * (size_.height - 1);
    step_y_ = -step_y_;
  }
}

cv::Mat Picture::rgb(const cv::Rect& region) const {
  const bool inside = region.x >= 0 && region.y >= 0 && region.width >= 0 && region.height >= 0 &&
                      region.x <= size_.width - region.width &&
                      region.y <= size_.height - region.height;
  if (!inside) {
    throw Error(OZNAKIT_INTERNAL,
                "A region of a picture reaches outside of it, a fault of the library.");
  }
  if (region.empty()) {
    return {};
  }
  const std::uint8_t* const start = pixel(region.x, region.y);
  const bool is_rgb = format_.bytes == kRgbBytes && format_.red == 0 && step_x_ == kRgbBytes;
  if (is_rgb && (step_y_ > 0 || region.height == 1)) {
    // The matrix is only read; the cast serves its interface.
    return cv::Mat(region.height, region.width, CV_8UC3, const_cast<std::uint8_t*>(start),
                   region.height == 1 ? kNoGaps : static_cast<std::size_t>(step_y_));
  }
  cv::Mat copy(region.height, region.width, CV_8UC3);
  const bool is_row = step_x_ == format_.bytes;
  const int columns = is_row ? region.width : kColumnsAtOnce;
  for (int x = 0; x < region.width; x += columns) {
    const int count = std::min(columns, region.width - x);
    for (int y = 0; y < region.height; ++y) {
      const std::uint8_t* const from = start + x * step_x_ + y * step_y_;
      std::uint8_t* const to = copy.ptr<std::uint8_t>(y) + x * kRgbBytes;
      is_row ? copyUprightRow(from, format_, count, to)
             : copyRow(from, step_x_, format_, count, to);
    }
  }
  return copy;
}

}  // namespace kit
