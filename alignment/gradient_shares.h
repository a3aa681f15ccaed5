/// Gradients of the levels in the form in which histograms add them up, worked out only where
/// windows reach.

#ifndef OZNA_ALIGNMENT_GRADIENT_SHARES_H_
#define OZNA_ALIGNMENT_GRADIENT_SHARES_H_

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "alignment/gradient_row.h"
#include "alignment/pixel_area.h"
#include "alignment/plane.h"

namespace SDMCore {

/// What one pixel gives to its two orientation bins.
struct GradientShare {
  float nearest;            ///< For the nearest bin: magnitude * weight of the gradient.
  float neighbour_ratio;    ///< Of that, what goes to the neighbour: fraction / weight, nearly.
  std::uint16_t bin;        ///< Start of the nearest bin in a histogram that is being filled, in
                            ///< floats: kShareBinFloats times its number.
  std::uint16_t neighbour;  ///< Start of the neighbour.
};

/// Distance of two bins in a histogram that is being filled, in floats.
constexpr int kShareBinFloats = 16;

/// The shares of all pixels of all levels.
///
/// Memory  12 bytes a pixel. What is reserved at once, on first demand, is all levels where that is
///         below 64 MiB, and one level otherwise; touched is only what has been asked for.
class GradientShares {
 public:
  /// width, height  Of each level, in pixels.
  GradientShares(std::uint64_t width, std::uint64_t height, std::size_t levels);

  /// Makes the shares of an area, unless they are there already.
  ///
  /// pixels    The level. The same at each call.
  /// gradient  GradientCells of the level, or an empty plane. Taken instead of the pixels where it
  ///           is not empty.
  /// area      Within the interior of the level: not in its outermost rows and columns.
  void prepare(std::size_t level, const Plane& pixels, const Plane& gradient,
               const PixelArea& area);

  /// Shares of a level, row after row of width. Only those that have been prepared may be read.
  /// Null as long as no memory has been reserved.
  const GradientShare* level(std::size_t index) const { return start(index); }

  std::int64_t width() const { return width_; }

 private:
  GradientShare* start(std::size_t level) const;
  void fill(std::size_t level, const Plane& pixels, const Plane& gradient, const PixelArea& area);

  std::int64_t width_;           // In pixels.
  std::int64_t height_;          // In pixels.
  std::size_t levels_in_block_;  // All of them, if they are small. An allocator keeps what it has
                                 // once had in one piece: a host that aligns again and again then
                                 // does not pay for fresh pages, here and in the planes, each time.
  std::vector<std::unique_ptr<GradientShare[]>> blocks_;
  std::vector<PixelArea> filled_;  // Of each level.
};

}  // namespace SDMCore

#endif  // OZNA_ALIGNMENT_GRADIENT_SHARES_H_
