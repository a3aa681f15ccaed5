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
/// model    One that readLandmarkModel returned.
/// with     Sum of OZNAKIT_WITH_...: what is filled in. Nothing happens with 0.
/// Errors   Error with OZNAKIT_BAD_ARGUMENT for a rectangle without area or outside the picture;
///          std::bad_alloc. No other.
/// Threads  Any number at once.
void describeFace(const oznalib::SDMModel& model, const Picture& picture, std::int32_t with,
                  Face* face);

}  // namespace kit

#endif  // OZNA_KIT_FACES_DESCRIBE_H_
