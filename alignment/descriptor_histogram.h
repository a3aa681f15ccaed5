/// The inner part of a descriptor: gradients of a window summed into a grid of orientation
/// histograms.

#ifndef OZNA_ALIGNMENT_DESCRIPTOR_HISTOGRAM_H_
#define OZNA_ALIGNMENT_DESCRIPTOR_HISTOGRAM_H_

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "alignment/gradient_shares.h"
#include "alignment/memory_ahead.h"
#include "alignment/pixel_area.h"

namespace SDMCore {

/// Pixels of an image that the window around a point may reach: a square around the pixel that the
/// point is rounded to, clipped to the interior of the image. A coordinate that is NaN or far
/// outside gives an empty area.
///
/// x, y           In pixels of the image, 0 at the centre of the first pixel.
/// columns, rows  Of the image.
/// cell_size      Side of a cell in pixels.
PixelArea windowArea(float x, float y, std::uint64_t columns, std::uint64_t rows, float cell_size);

/// Cells along each side of a descriptor.
constexpr std::size_t kGridCells = 4;
/// A pixel is shared out to the last cell whose centre is not beyond it and to the next one, which
/// may lie just off the grid: so many first cells reach the grid.
constexpr std::size_t kCellsThatReach = kGridCells + 1;

/// Neighbouring columns, or rows, of a window that reach its grid of cells.
struct AxisTaps {
  /// Places the taps of those pixels from begin to end - 1 that reach a cell.
  ///
  /// position   Of the window's point along the axis, in pixels.
  /// cell_size  Side of a cell in pixels.
  void place(float position, std::int64_t begin, std::int64_t end, float cell_size);

  std::int64_t first_pixel = 0;  ///< In the image.
  std::size_t first = 0;         ///< Where the entry of that pixel stands in cell and fraction.
  std::size_t count = 0;
  /// The last cell whose centre is not beyond the pixel, counted from the first one that reaches
  /// the grid: 0 to 4, where 2 and 3 are around the middle. Never descends.
  std::vector<std::int32_t> cell;
  std::vector<float> fraction;  ///< Place between that cell's centre and the next one's, 0 to 1.
  /// Taps, counted from first, that lie before the end of each cell, the cells before it included.
  std::array<std::size_t, kCellsThatReach> cell_end = {};
};

/// The pixels around a point that reach its grid of 4 by 4 cells, and the histograms over that
/// grid. One that is placed again keeps its memory.
struct DescriptorWindow {
  /// Places the window.
  ///
  /// area  What windowArea gives for the point.
  void place(float x, float y, const PixelArea& area, float cell_size);

  AxisTaps columns;  ///< From left to right.
  AxisTaps rows;     ///< From top to bottom.
  /// 4 rows by 4 columns by 8 bins.
  std::array<float, kGridCells * kGridCells * kOrientationBins> histogram;
};

/// Windows whose lengths are summed side by side. The sums of one window depend on each other,
/// entry after entry; the other windows fill the time that the processor would wait. An alignment
/// asks for the windows of its nine shapes together.
constexpr std::size_t kWindowsTogether = 9;

using WindowGroup = std::array<DescriptorWindow, kWindowsTogether>;

/// Fills the histogram of a window, which may be empty, from one level's gradients. Those of its
/// area must have been prepared.
///
/// Each pixel is shared out to the four cells around it and to two bins. The float sums run over
/// the pixels of a cell in an image row, then over its neighbour's, then over the rows.
///
/// ahead  Memory that is asked for meanwhile.
void fillHistogram(const GradientShares& shares, std::size_t level, DescriptorWindow& window,
                   MemoryAhead& ahead);

/// Lengths of the first count histograms, squares summed in float in ascending order.
std::array<float, kWindowsTogether> histogramLengths(const WindowGroup& windows, std::size_t count);

}  // namespace SDMCore

#endif  // OZNA_ALIGNMENT_DESCRIPTOR_HISTOGRAM_H_
