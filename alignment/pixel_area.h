/// A rectangle of pixels.

#ifndef OZNA_ALIGNMENT_PIXEL_AREA_H_
#define OZNA_ALIGNMENT_PIXEL_AREA_H_

#include <algorithm>
#include <cstdint>

namespace SDMCore {

/// Columns left to right - 1 and rows top to bottom - 1 of an image.
struct PixelArea {
  std::int64_t left = 0;
  std::int64_t top = 0;
  std::int64_t right = 0;   ///< Past the last column.
  std::int64_t bottom = 0;  ///< Past the last row.

  bool empty() const { return left >= right || top >= bottom; }

  bool contains(const PixelArea& other) const {
    return other.empty() || (left <= other.left && top <= other.top && right >= other.right &&
                             bottom >= other.bottom);
  }

  /// The smallest area that holds both.
  PixelArea joined(const PixelArea& other) const {
    if (empty() || other.empty()) {
      return empty() ? other : *this;
    }
    return {std::min(left, other.left), std::min(top, other.top), std::max(right, other.right),
            std::max(bottom, other.bottom)};
  }

  /// The area with a margin on all four sides, as far as it lies within limits.
  PixelArea widened(std::int64_t margin, const PixelArea& limits) const {
    if (empty()) {
      return *this;
    }
    return {std::max(left - margin, limits.left), std::max(top - margin, limits.top),
            std::min(right + margin, limits.right), std::min(bottom + margin, limits.bottom)};
  }
};

}  // namespace SDMCore

#endif  // OZNA_ALIGNMENT_PIXEL_AREA_H_
