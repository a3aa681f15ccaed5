/// The inner part of a descriptor: gradients of a window summed into a grid of orientation
/// histograms.

#ifndef OZNA_ALIGNMENT_DESCRIPTOR_HISTOGRAM_H_
#define OZNA_ALIGNMENT_DESCRIPTOR_HISTOGRAM_H_

#include <array>
#include <cstdint>
#include <vector>

#include "alignment/descriptor_pyramid.h"
#include "alignment/plane.h"

namespace SDMCore {

/// One column or row of a window.
struct AxisTap {
  std::int64_t pixel;  ///< In the image.
  std::int32_t cell;  ///< The last cell whose centre is not beyond the pixel, -3 to 1; -1 and 0 are
                      ///< around the middle.
  float fraction;     ///< Place between that cell's centre and the next one's, 0 to 1.
};

/// The pixels around a point that reach its grid of 4 by 4 cells, and the histograms over that
/// grid.
struct DescriptorWindow {
  /// Places the window, clipped to the interior of the image. A coordinate that is not a number, or
  /// is far outside, gives an empty window.
  ///
  /// columns, rows  Of the image.
  /// cell_size      Side of a cell in pixels.
  void place(float x, float y, std::uint64_t columns, std::uint64_t rows, float cell_size);

  void clear();  ///< Makes the window empty.

  std::vector<AxisTap> column_taps;  ///< From left to right.
  std::vector<AxisTap> row_taps;     ///< From top to bottom.
  /// 4 rows by 4 columns by 8 bins.
  std::array<float, DescriptorPyramid::kDescriptorSize> histogram;
};

/// Windows that are filled side by side. The sums of one window depend on each other, pixel after
/// pixel; a second window fills the time that the processor would wait.
constexpr std::size_t kWindowsTogether = 2;

/// Fills the histograms of windows, which may be empty, from one level's gradients.
///
/// Each pixel is shared out to the four cells around it and to two bins. Every entry is a float sum
/// over the window's pixels, row after row.
void fillHistograms(const Plane& gradient, std::array<DescriptorWindow, kWindowsTogether>& windows);

/// Lengths of the histograms, squares summed in float in ascending order.
std::array<float, kWindowsTogether> histogramLengths(
    const std::array<DescriptorWindow, kWindowsTogether>& windows);

}  // namespace SDMCore

#endif  // OZNA_ALIGNMENT_DESCRIPTOR_HISTOGRAM_H_
