/// A stack of ever more blurred copies of a grey image, and gradient descriptors taken from it at
/// any point.

#ifndef OZNA_ALIGNMENT_DESCRIPTOR_PYRAMID_H_
#define OZNA_ALIGNMENT_DESCRIPTOR_PYRAMID_H_

#include <cstddef>
#include <cstdint>
#include <vector>

#include "alignment/descriptor_histogram.h"
#include "alignment/gaussian_blur.h"
#include "alignment/gradient_row.h"
#include "alignment/gradient_shares.h"
#include "alignment/plane.h"

namespace SDMCore {

/// Descriptors of points whose place and size are given, so there is no search for points and no
/// rotation.
///
///
///   image          8-bit grey                         setImage: 0 to 1, blurred a little
///     |
///   planes[0][0]   float, width by height             buildLevels: each a blur of the one before,
///   planes[0][1]   the same size, blurred more        by the factor step; no plane is smaller
///      ...
///   planes[0][levels + 2]
///     |
///   shares         8 floats per pixel, one per        gradient of the pixel: its magnitude goes to
///     |            direction bin                      the nearest bin and to its neighbour
///     |
///   window         around a point, grid of            each pixel gives to the four cells around it
///     |  +--+--+--+--+   4 by 4 cells,                by its distance from their centres
///     |  |  |  |  |  |   a cell is
///     |  +--+--+--+--+   magnification blurs wide
///     |  |  |  |  |  |
///     |  +--+--o--+--+   o the point
///     |  |  |  |  |  |
///     |  +--+--+--+--+
///     |  |  |  |  |  |
///     |  +--+--+--+--+
///   histogram      4 rows, 4 columns, 8 bins: 128     divided by its length, capped at clampLevel,
///     |            floats                             divided by its length again
///   descriptor     128 bytes                          floor(255 * entry + 0.5), 255 at most
///
/// Order    Constructor, setImage, buildLevels, then any number of computeDescriptor.
/// Threads  One object serves one thread: descriptors make gradients on first demand.
/// Memory   One float per pixel for each of levels + 3 planes. 3 more are reserved with the first
///          descriptor, and taken up in levels in use where windows have reached; computeDescriptor
///          and prepareGradient take 4 more of the whole level.
/// Source   D. G. Lowe, Distinctive image features from scale-invariant keypoints, 2004; its use at
///          landmarks: X. Xiong and F. De la Torre, 2013.
class DescriptorPyramid {
 public:
  static constexpr int kDescriptorSize = 128;  ///< Bytes: 4 rows by 4 columns by 8 bins.

  /// width, height  Of the image, in pixels.
  /// levels         Blur levels in a doubling of the blur, at least 1.
  DescriptorPyramid(std::uint64_t width, std::uint64_t height, std::uint64_t levels);

  /// Fills plane 0 from 8-bit grey pixels, scaled to 0 to 1.
  ///
  /// stride  Bytes from one row to the next.
  /// rows    Rows of the image, no more than height.
  void setImage(const std::uint8_t* pixels, std::uint64_t stride, std::uint64_t rows);

  /// Fills all planes above 0.
  void buildLevels();

  /// Fills the planes above 0 up to the given one. Planes above it stay black, and descriptors must
  /// not ask for them.
  void buildLevels(std::uint64_t top);

  /// Makes the gradients of a level, unless they are there already. The outermost rows and columns
  /// stay 0.
  void prepareGradient(std::uint64_t level);

  /// Takes a descriptor, and prepares the gradients of its level for it.
  ///
  /// x, y   In pixels of the image, 0 at the centre of the first pixel. The window is clipped to
  ///        the image; a point far outside, or one that is NaN, has an empty window.
  /// level  Rounded to the nearest whole level. A level that does not exist gives an empty window.
  /// norm   Receives the length of the histogram before it is normalised, or 0.
  /// out    Receives 128 bytes: for each of 4 rows, for each of 4 columns, 8 bins. Where the length
  ///        is not above 0.5 (a flat patch) it is left as it is, and norm is 0.
  void computeDescriptor(float x, float y, float level, float* norm, std::uint8_t* out);

  /// Makes the gradients around points, unless they are there already, for descriptors that are
  /// going to be taken at these points.
  void prepareWindows(const float* points, std::size_t count, float level);

  /// Gives up what prepareWindows and computeDescriptors made of a level; the next level that needs
  /// the memory takes it over.
  void forgetWindows(float level);

  /// Takes the descriptors of several points: the same bytes as one by one, and faster, since
  /// gradients are worked out only around the points.
  ///
  /// points  count pairs x, y.
  /// norms   Receives count lengths.
  /// out     Receives 128 bytes per point; where the length is not above 0.5 they are left as they
  ///         are.
  /// ahead   Memory that is asked for meanwhile.
  void computeDescriptors(const float* points, std::size_t count, float level, float* norms,
                          std::uint8_t* out, MemoryAhead ahead = MemoryAhead());

  std::uint64_t width;   ///< Of the image, in pixels.
  std::uint64_t height;  ///< Of the image, in pixels.
  std::uint64_t octaves = 1;
  std::uint64_t levels;   ///< Blur levels in a doubling of the blur.
  bool upsample = false;  ///< Whether plane 0 has twice the size of the image.

  /// For each octave, levels + 3 planes of width by height.
  std::vector<std::vector<Plane>> planes;
  /// As many planes of 4 * width floats, a GradientCell per pixel, each made on first demand.
  std::vector<std::vector<Plane>> gradients;

  // Blurs are standard deviations in pixels. Those without a reader belong to the search for
  // points.
  float imageSigma = 0.5F;           ///< Blur that the image is taken to have.
  float baseSigma = 0.8F;            ///< Blur of plane 0.
  float peakThreshold = 0.02F;       ///< No reader here.
  float edgeThreshold = 12.1F;       ///< No reader here.
  float windowFactor = 3.0F;         ///< No reader here.
  float magnification = 4.0F;        ///< Side of a descriptor cell in units of the level's blur.
  float clampLevel = 0.2F;           ///< Cap of a normalised histogram entry.
  std::uint64_t pointCapacity;       ///< No reader here.
  std::uint64_t descriptorCapacity;  ///< No reader here. Twice pointCapacity.
  float step;  ///< 2 to the power 1 / levels: the blur ratio of neighbouring levels.

 private:
  // The whole level that a level is rounded to; negative if it does not exist.
  std::int64_t existingLevel(float level) const;

  float cellSize(std::int64_t whole_level) const;  // In pixels.

  GradientShares shares_;
  WindowGroup windows_ = {};  // Of the descriptors that are being taken.
};

}  // namespace SDMCore

#endif  // OZNA_ALIGNMENT_DESCRIPTOR_PYRAMID_H_
