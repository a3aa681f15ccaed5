/// Placement of 5 landmarks, as averages of the 68.

#ifndef OZNA_ALIGNMENT_ALIGN5_POINTS_H_
#define OZNA_ALIGNMENT_ALIGN5_POINTS_H_

#include <vector>

#include "ozna.h"

namespace oznalib {

/// Places the two eye centres, the tip of the nose and the two corners of the mouth; see
/// align5Points.
///
/// Returns  StatusOk always. points has 10 floats.
Status placeLandmarks5(const Image& image, const Rectangle<float>& rect,
                       std::vector<float>& points);

}  // namespace oznalib

#endif  // OZNA_ALIGNMENT_ALIGN5_POINTS_H_
