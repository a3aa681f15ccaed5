/// Landmarks of a face and what follows from them.

#ifndef OZNA_KIT_FACES_DESCRIBE_H_
#define OZNA_KIT_FACES_DESCRIBE_H_

#include <cstdint>

#include "alignment/sdm_model.h"
#include "kit/faces/face.h"
#include "kit/pixels/picture.h"

namespace kit {

/// Fills in a face's points and details from its rectangle and turn.
///
/// A face of which less than a quarter lies in the picture, one way or the other, gets neither.
///
/// model    One that readLandmarkModel returned.
/// with     Sum of OZNAKIT_WITH_...: what is filled in. Nothing happens with 0.
/// face     Its turn says how it stands in the picture.
/// Errors   Error with OZNAKIT_BAD_ARGUMENT for a rectangle without area; std::bad_alloc. No other.
/// Threads  Any number at once.
/// Cost     Some 7 ms; less than a millisecond more for details of a face that is not large.
void describeFace(const oznalib::SDMModel& model, const Picture& picture, std::int32_t with,
                  Face& face);

}  // namespace kit

#endif  // OZNA_KIT_FACES_DESCRIBE_H_
