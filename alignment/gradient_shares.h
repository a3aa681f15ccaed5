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

/// Orientation bins of a histogram.
constexpr int kOrientationBins = 8;

/// What one pixel's gradient gives to the orientation bins: magnitude * weight to the nearest one,
/// of that fraction / weight (nearly) to its neighbour, and nothing to the others. A histogram adds
/// all bins at once, and takes no branch and no address from the gradient.
struct alignas(32) BinShares {
  float of_bin[kOrientationBins];
};

/// The shares of all pixels of all levels.
///
/// Memory  32 bytes per pixel. A level's is reserved when its first shares are asked for, and
///         touched is only what has been asked for.
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

  /// Hands the memory of a level on to the next one that needs some. Its shares can be made again.
  void forget(std::size_t level);

  /// Shares of a level, row after row of width. Only what has been prepared may be read. Null as
  /// long as no memory has been reserved.
  const BinShares* bins(std::size_t level) const { return levels_[level].memory.get(); }

  std::int64_t width() const { return width_; }

 private:
  // An allocator keeps a block that is as large as the rest of an alignment: a host that aligns
  // again and again then does not pay for fresh pages, here and in the planes, each time. So one
  // block goes from level to level.
  using Memory = std::unique_ptr<BinShares[]>;

  struct Level {
    Memory memory;
    PixelArea filled;
  };

  void reserve(Level& level);
  void fill(Level& level, const Plane& pixels, const Plane& gradient, const PixelArea& area);

  std::int64_t width_;   // In pixels.
  std::int64_t height_;  // In pixels.
  std::vector<Level> levels_;
  Memory spare_;
};

}  // namespace SDMCore

#endif  // OZNA_ALIGNMENT_GRADIENT_SHARES_H_
