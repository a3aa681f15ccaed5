/// Conversion of coordinates to integers that is defined for every value.

#ifndef OZNA_ALIGNMENT_TRUNCATION_H_
#define OZNA_ALIGNMENT_TRUNCATION_H_

#include <cstdint>
#include <limits>

namespace oznalib {

/// Cuts towards zero. Values beyond the range give its nearest end, NaN gives 0.
inline std::int32_t truncateToInt(double value) {
  if (value != value) {
    return 0;
  }
  if (value >= 2147483647.0) {
    return std::numeric_limits<std::int32_t>::max();
  }
  if (value <= -2147483648.0) {
    return std::numeric_limits<std::int32_t>::min();
  }
  return static_cast<std::int32_t>(value);
}

}  // namespace oznalib

#endif  // OZNA_ALIGNMENT_TRUNCATION_H_
