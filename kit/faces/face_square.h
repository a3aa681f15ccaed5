/// The square around the usual part of a face, from above the brows to the chin, and where its
/// landmarks lie in it.

#ifndef OZNA_KIT_FACES_FACE_SQUARE_H_
#define OZNA_KIT_FACES_FACE_SQUARE_H_

#include <opencv2/core/types.hpp>
#include <optional>
#include <vector>

#include "kit/faces/similarity.h"
#include "ozna.h"

namespace kit {

/// How pixels of a picture become pixels of a chip: the square stands in the middle of the chip as
/// large as the padding leaves it, upright, with the landmarks at their places as nearly as a
/// similarity brings them.
///
/// points   x0, y0, ... of 5 or 68 landmarks in pixels of the picture, 0 at the centre of the first
///          pixel.
/// chip     Size of the chip in pixels.
/// padding  Room on each side of the square, as a share of the square's side; above -0.5.
/// Returns  Nothing where the points do not make a face: not finite, beyond a million pixels, or
///          all on one spot.
std::optional<Similarity> chipMap(const std::vector<float>& points, const cv::Size& chip,
                                  double padding);

/// Five landmarks where they usually are in the box of a detected face.
///
/// box      Edges, in pixels.
/// Returns  x0, y0, ..., 0 at the centre of the first pixel.
std::vector<float> usualPoints(const oznalib::Rectangle<float>& box);

}  // namespace kit

#endif  // OZNA_KIT_FACES_FACE_SQUARE_H_
