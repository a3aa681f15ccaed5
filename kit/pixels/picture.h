/// The host's picture, upright and in RGB, as the core takes it.

#ifndef OZNA_KIT_PIXELS_PICTURE_H_
#define OZNA_KIT_PIXELS_PICTURE_H_

#include <opencv2/core/mat.hpp>

#include "kit/oznakit.h"

namespace kit {

/// Borrows the host's pixels for the time of one call.
///
/// Threads  Any number may read one at once.
class Picture {
 public:
  /// Errors  Error with OZNAKIT_BAD_ARGUMENT where a field is out of range.
  explicit Picture(const oznakit_image& image);

  /// Sides of the upright picture in pixels.
  cv::Size size() const;

  /// The upright pixels of a region, 8-bit, red, green, blue: a header on the host's own pixels where
  /// they are stored so, otherwise a copy.
  ///
  /// region  Inside the upright picture.
  cv::Mat rgb(const cv::Rect& region) const;

 private:
  oznakit_image image_;
};

}  // namespace kit

#endif  // OZNA_KIT_PIXELS_PICTURE_H_
