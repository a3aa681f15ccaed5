/// Landmarks of one face, placed with a model of the caller's.

#ifndef OZNA_KIT_FACES_PLACEMENT_H_
#define OZNA_KIT_FACES_PLACEMENT_H_

#include "alignment/align68_points.h"
#include "alignment/sdm_model.h"
#include "kit/pixels/picture.h"
#include "ozna.h"

namespace kit {

/// Places 68 landmarks, with the very result of oznalib::align68Points.
///
/// model    One that readLandmarkModel returned.
/// rect     In pixels of the picture; finite.
/// Returns  Points and fits in pixels of the picture; nothing where less than a quarter of the
///          rectangle lies in the picture one way or the other, or too few pixels of it to be
///          aligned.
/// Errors   std::bad_alloc. No other.
/// Cost     Some 7 ms. Of the picture's pixels, those of the face and half its size around are
///          converted, or all where the face covers half of the picture each way.
oznalib::Placement68 placeLandmarks(const oznalib::SDMModel& model, const Picture& picture,
                                    const oznalib::Rectangle<float>& rect);

}  // namespace kit

#endif  // OZNA_KIT_FACES_PLACEMENT_H_
