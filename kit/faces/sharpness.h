/// How sharp the pixels of a face are.

#ifndef OZNA_KIT_FACES_SHARPNESS_H_
#define OZNA_KIT_FACES_SHARPNESS_H_

#include <vector>

#include "kit/pixels/picture.h"

namespace kit {

/// The share of the differences between neighbouring pixels that is lost when the face is blurred:
/// near 0 for a face without fine detail, and the more of it the higher.
///
/// The face is brought to 96 pixels per side first, so that faces of all sizes are measured by the
/// same details. A picture of fewer pixels than that has lost them. Contrast and brightness cancel
/// out; noise counts as detail.
///
/// points   5 or 68 landmarks in pixels of the picture.
/// Returns  0 to 1; NaN where the points do not make a face. 0 for an even surface.
/// Source   F. Crete, T. Dolmiere, P. Ladret and M. Nicolas, The blur effect: perception and
///          estimation with a new no-reference perceptual blur metric, 2007.
float faceSharpness(const Picture& picture, const std::vector<float>& points);

}  // namespace kit

#endif  // OZNA_KIT_FACES_SHARPNESS_H_
