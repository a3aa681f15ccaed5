/// Gradients of one row of pixels, shared out between two of 8 orientation bins.

#ifndef OZNA_ALIGNMENT_GRADIENT_ROW_H_
#define OZNA_ALIGNMENT_GRADIENT_ROW_H_

#include <cstddef>
#include <cstdint>
#include <vector>

namespace oznalib {

/// Angle of (x, y) in radians, -pi to pi, by a rational approximation that is off by 0.005 at most.
/// 0 for (0, 0).
float fastAtan2(float y, float x);

}  // namespace oznalib

namespace SDMCore {

/// Gradient of one pixel, shared out to two of 8 orientation bins.
struct GradientCell {
  float magnitude;         ///< Length of the gradient.
  float fraction;          ///< Distance of the angle from its nearest bin, 0 to 0.5, in bins.
  float weight;            ///< 1 - fraction.
  std::uint8_t bin;        ///< Nearest bin, 0 to 7; bin 0 points along x, bin 2 along y.
  std::uint8_t neighbour;  ///< The bin on the other side of the angle.
};

/// The gradients of a row, one array per value, so that the arithmetic vectorises.
struct GradientRow {
  /// width  Pixels that the row can hold.
  explicit GradientRow(std::size_t width);

  /// Works out the gradients of count neighbouring pixels: the differences between the pixels right
  /// and left, and below and above. Entry i of each array is pixel i.
  ///
  /// above, here, below  The first of those pixels and its neighbours in the rows around it.
  ///                     here[-1] and here[count] are read too.
  void compute(const float* above, const float* here, const float* below, std::size_t count);

  std::vector<float> magnitude;
  std::vector<float> fraction;
  std::vector<std::int32_t> bin;
  std::vector<std::int32_t> neighbour;
};

}  // namespace SDMCore

#endif  // OZNA_ALIGNMENT_GRADIENT_ROW_H_
