/// The host's picture, upright and in RGB, as the core takes it.

#ifndef OZNA_KIT_PIXELS_PICTURE_H_
#define OZNA_KIT_PIXELS_PICTURE_H_

#include <cstddef>
#include <cstdint>
#include <opencv2/core/mat.hpp>

#include "kit/oznakit.h"
#include "kit/pixels/orientation.h"
#include "kit/pixels/pixel_format.h"

namespace kit {

/// Errors  Error with OZNAKIT_BAD_ARGUMENT where a side of a picture is out of range.
void requireSides(std::int32_t width, std::int32_t height);

/// Borrows the host's pixels for the time of one call.
///
/// Threads  Any number may read one at once.
class Picture {
 public:
  /// image   Its size field has been looked at before.
  /// Errors  Error with OZNAKIT_BAD_ARGUMENT where another field is out of range.
  explicit Picture(const oznakit_image& image);

  /// Sides of the upright picture in pixels.
  cv::Size size() const { return size_; }

  /// The same pixels, upright after so many more quarter turns clockwise, of any number and sign.
  Picture turned(int quarter_turns) const;

  /// The upright pixels of a region, 8-bit, red, green, blue: a header on the host's own pixels
  /// where they are stored so, otherwise a copy.
  ///
  /// region  Inside the upright picture. One without area gives an empty matrix.
  /// Errors  Error with OZNAKIT_INTERNAL for a region that reaches outside; std::bad_alloc.
  /// Cost    A copy takes some nanoseconds a pixel, in the calling thread.
  cv::Mat rgb(const cv::Rect& region) const;

  /// The first byte of an upright pixel, which lies inside of the picture.
  const std::uint8_t* pixel(int x, int y) const { return first_ + x * step_x_ + y * step_y_; }
  const PixelFormat& format() const { return format_; }

 private:
  Picture(const Picture& picture, const Orientation& orientation);
  void place();

  PixelFormat format_;
  const std::uint8_t* stored_;  // First byte of the stored picture's top row.
  std::ptrdiff_t row_bytes_;    // Of the stored picture.
  cv::Size stored_size_;
  Orientation orientation_;
  cv::Size size_;
  const std::uint8_t* first_;  // First byte of the upright picture's top left pixel.
  std::ptrdiff_t step_x_;      // In bytes, from an upright pixel to the one on its right.
  std::ptrdiff_t step_y_;      // And to the one below.
};

}  // namespace kit

#endif  // OZNA_KIT_PIXELS_PICTURE_H_
