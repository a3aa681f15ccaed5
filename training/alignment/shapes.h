/// Landmark shapes as plain lists of coordinates: mirroring, extents, and the error measure of the
/// field.

#ifndef OZNA_TRAINING_ALIGNMENT_SHAPES_H_
#define OZNA_TRAINING_ALIGNMENT_SHAPES_H_

#include <vector>

namespace alignment_training {

/// 68 points as x0, y0, ... x67, y67, in pixels, 0 at the centre of the first pixel.
/// Order: jaw 0-16, brows 17-26, nose 27-35, eyes 36-47, mouth 48-67.
using Shape = std::vector<float>;

constexpr int kLandmarks = 68;
constexpr int kCoordinates = 2 * kLandmarks;

/// The smallest upright rectangle that holds all points.
struct Extent {
  float left, top, right, bottom;
};
Extent extentOf(const Shape& shape);

/// The landmark that takes the place of `landmark` when a face is seen in a mirror.
int mirroredLandmark(int landmark);

/// The shape of the same face in the mirrored photograph of `photo_width` columns.
Shape mirrorShape(const Shape& shape, int photo_width);

/// Distance of the outer eye corners, points 36 and 45.
float outerEyeDistance(const Shape& truth);

/// Mean distance of corresponding points over the distance of the outer eye corners of `truth`.
/// Both shapes have 68 points in the same pixels.
float normalisedError(const Shape& found, const Shape& truth);

}  // namespace alignment_training

#endif  // OZNA_TRAINING_ALIGNMENT_SHAPES_H_
