// Checks of what is asked for, and the chip's pixels in the host's format.

#include "kit/faces/chip.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "kit/error.h"
#include "kit/faces/face_square.h"
#include "kit/faces/resampling.h"
#include "kit/pixels/picture.h"
#include "kit/pixels/pixel_format.h"
#include "kit/pixels/quarter_turns.h"

namespace kit {
namespace {

constexpr std::int32_t kLeastSide = 8;
constexpr std::int32_t kMostSide = 4096;
constexpr float kLeastPadding = -0.4F;
constexpr float kMostPadding = 4;

void requireSide(const char* name, std::int32_t side) {
  if (side < kLeastSide || side > kMostSide) {
    throw Error(OZNAKIT_BAD_ARGUMENT, std::string("Expected the ") + name + " of a chip to be " +
                                          std::to_string(kLeastSide) + " to " +
                                          std::to_string(kMostSide) + " pixels, found " +
                                          std::to_string(side) + ".");
  }
}

void requireOptions(const oznakit_chip_options& options) {
  requireSide("width", options.width);
  requireSide("height", options.height);
  // Written so that NaN is refused too.
  if (!(options.padding >= kLeastPadding && options.padding <= kMostPadding)) {
    throw Error(OZNAKIT_BAD_ARGUMENT, "Expected the padding of a chip to be -0.4 to 4, found " +
                                          std::to_string(options.padding) + ".");
  }
  if (options.border != OZNAKIT_BORDER_COLOUR && options.border != OZNAKIT_BORDER_MIRROR) {
    throw Error(OZNAKIT_BAD_ARGUMENT,
                "Expected the border of a chip to be OZNAKIT_BORDER_COLOUR (0) or "
                "OZNAKIT_BORDER_MIRROR (1), found " +
                    std::to_string(options.border) + ".");
  }
}

std::vector<float> pointsOfBox(const oznakit_face& face, const cv::Size& size) {
  const oznalib::Rectangle<float> box = {face.left, face.top, face.right, face.bottom};
  const bool is_box = std::isfinite(box.left) && std::isfinite(box.top) &&
                      std::isfinite(box.right) && std::isfinite(box.bottom) &&
                      box.left < box.right && box.top < box.bottom;
  if (!is_box) {
    throw Error(OZNAKIT_BAD_ARGUMENT,
                "Expected a face with points, or a box with left below right and top below bottom, "
                "found " +
                    std::to_string(box.left) + ", " + std::to_string(box.top) + ", " +
                    std::to_string(box.right) + ", " + std::to_string(box.bottom) + ".");
  }
  if (face.turn < 0 || face.turn > 3) {
    throw Error(OZNAKIT_BAD_ARGUMENT, "Expected the turn of a face to be 0 to 3, found " +
                                          std::to_string(face.turn) + ".");
  }
  std::vector<float> points = usualPoints(turnedRect(box, size, face.turn));
  for (std::size_t i = 0; i + 1 < points.size(); i += 2) {
    const cv::Point2f point = unturnedPoint({points[i], points[i + 1]}, size, face.turn);
    points[i] = point.x;
    points[i + 1] = point.y;
  }
  return points;
}

std::vector<float> pointsOf(const oznakit_face& face, const cv::Size& size) {
  if (face.point_count == 0) {
    return pointsOfBox(face, size);
  }
  if (face.point_count != 5 && face.point_count != 68) {
    throw Error(OZNAKIT_BAD_ARGUMENT, "Expected a face to have 0, 5 or 68 points, found " +
                                          std::to_string(face.point_count) + ".");
  }
  return std::vector<float>(face.points, face.points + 2 * face.point_count);
}

std::uint8_t byteOf(float value) {
  return static_cast<std::uint8_t>(std::clamp(value + 0.5F, 0.0F, 255.0F));
}

void writePixel(const Colour& colour, const PixelFormat& format, std::uint8_t* pixel) {
  if (format.bytes == 1) {
    // Luma as for the grey that faces are aligned in: ITU-R BT.601.
    pixel[0] = byteOf(0.299F * colour[0] + 0.587F * colour[1] + 0.114F * colour[2]);
    return;
  }
  pixel[format.red] = byteOf(colour[0]);
  pixel[format.green] = byteOf(colour[1]);
  pixel[format.blue] = byteOf(colour[2]);
  if (format.alpha >= 0) {
    pixel[format.alpha] = byteOf(colour[3]);
  }
}

}  // namespace

void cutChip(const oznakit_image& image, const oznakit_face& face,
             const oznakit_chip_options& options, void* pixels, std::ptrdiff_t row_bytes) {
  const Picture picture(image);
  requireOptions(options);
  const PixelFormat& format = pixelFormat(options.format);
  if (pixels == nullptr) {
    throw Error(OZNAKIT_BAD_ARGUMENT,
                "Expected room for the pixels of a chip, found a null pointer.");
  }
  row_bytes = checkedRowBytes("a chip", pixels, row_bytes, options.width, options.height, format);
  const cv::Size size(options.width, options.height);
  const std::optional<Similarity> map =
      chipMap(pointsOf(face, picture.size()), size, double{options.padding});
  if (!map) {
    throw Error(OZNAKIT_BAD_ARGUMENT,
                "Expected the points of a face, found some that are not finite, a million pixels "
                "away or all on one spot.");
  }
  Border border;
  border.mirrors = options.border == OZNAKIT_BORDER_MIRROR;
  std::copy_n(options.colour, border.colour.size(), border.colour.begin());
  auto* const top = static_cast<std::uint8_t*>(pixels);
  resample(picture, size, inverse(*map), border, [&](int y, const Colour* row) {
    std::uint8_t* pixel = top + y * row_bytes;
    for (int x = 0; x < size.width; ++x, pixel += format.bytes) {
      writePixel(row[x], format, pixel);
    }
  });
}

}  // namespace kit
