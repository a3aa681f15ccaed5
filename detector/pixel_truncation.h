/// Cutting of a float coordinate to whole pixels, defined for every value.

#ifndef OZNA_DETECTOR_PIXEL_TRUNCATION_H_
#define OZNA_DETECTOR_PIXEL_TRUNCATION_H_

#include <cstdint>
#include <limits>

namespace oznalib {

/// Cuts towards zero. Every value that an int32 cannot hold, and NaN, gives the smallest
/// int32, as the conversion instruction of x86 does: a size made of it is empty, so that parameters
/// which lead to an infinite scale fail in the same way on every machine.
inline std::int32_t truncateToPixel(float value) {
  constexpr float kLimit = 2147483648.0F;
  if (!(value >= -kLimit && value < kLimit)) {
    return std::numeric_limits<std::int32_t>::min();
  }
  return static_cast<std::int32_t>(value);
}

}  // namespace oznalib

#endif  // OZNA_DETECTOR_PIXEL_TRUNCATION_H_
