/// The face rectangles that alignment starts from: by convention from the points, jittered, or from
/// the detector.

#ifndef OZNA_TRAINING_ALIGNMENT_RECTANGLES_H_
#define OZNA_TRAINING_ALIGNMENT_RECTANGLES_H_

#include <map>
#include <random>
#include <string>
#include <vector>

#include "ozna.h"
#include "training/alignment/shapes.h"

namespace alignment_training {

using FaceRect = oznalib::Rectangle<float>;

/// How far a rectangle may be from the face's true square. Standard deviations, normal.
struct RectNoise {
  float centre = 0.05F;      // Of the centre, in sides of the square, in each direction.
  float size = 0.08F;        // Of the logarithm of the side.
  float wild_share = 0.05F;  // Share of rectangles with twice these deviations.
};

/// Of rectangles that stand in for the detector's when a model is measured.
constexpr RectNoise kMeasuringNoise{/*centre=*/0.05F, /*size=*/0.08F, /*wild_share=*/0.0F};

/// The square that the detector is trained to give for a face with these points: from above the
/// brows to just above the tip of the chin. With t and b the top and bottom of the points, h = b -
/// t and w their width, side = 1.18 max(h, 0.9 w), centred on the points in x and at b - 0.675 h in
/// y.
FaceRect conventionSquare(const Shape& points);

/// The square moved and scaled at random.
FaceRect jitterSquare(const FaceRect& square, const RectNoise& noise, std::mt19937_64& random);

/// The same rectangle in the mirrored photograph. Edges, so 0 is the left edge of the first pixel.
FaceRect mirrorRect(const FaceRect& rect, int photo_width);

/// Area of the intersection over area of the union.
float overlap(const FaceRect& a, const FaceRect& b);

/// Boxes found in photographs: path below the data folder to rectangles.
using BoxTable = std::map<std::string, std::vector<FaceRect>>;

/// Reads JSON lines {"image": path, "boxes": [[left, top, right, bottom], ...]}. Throws
/// std::runtime_error.
BoxTable readBoxes(const std::string& path);

/// The box that overlaps `square` most, or null if none overlaps it by at least `least`.
const FaceRect* bestBox(const std::vector<FaceRect>& boxes, const FaceRect& square, float least);

/// Boxes that overlap the true square by less are boxes of another face, or of none.
constexpr float kLeastOverlap = 0.35F;

}  // namespace alignment_training

#endif  // OZNA_TRAINING_ALIGNMENT_RECTANGLES_H_
