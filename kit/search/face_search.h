/// A search for faces: scans, tiles, margins and turns.

#ifndef OZNA_KIT_SEARCH_FACE_SEARCH_H_
#define OZNA_KIT_SEARCH_FACE_SEARCH_H_

#include <vector>

#include "detector/detector_impl.h"
#include "kit/faces/face.h"
#include "kit/pixels/picture.h"
#include "kit/search/search_request.h"
#include "kit/search/work_progress.h"
#include "kit/search/working_size.h"

namespace kit {

/// The faces of a picture, best score first, in its upright pixels, with score and turn.
///
/// detector     Of a checked cascade. Written to.
/// first_input  Declared input of its first network in pixels.
/// end_share    The progress when the search is done.
/// Returns      Nothing for a picture so narrow that no window fits into its working image. Faces
///              whose centre lies in a margin are left out.
/// Errors       Error with OZNAKIT_CANCELLED, or with OZNAKIT_BAD_ARGUMENT where the first network
///              cannot hold the working image; std::bad_alloc.
std::vector<Face> searchFaces(oznalib::DetectorImpl& detector, const Size& first_input,
                              const Picture& picture, const SearchRequest& request,
                              double end_share, WorkProgress& progress);

}  // namespace kit

#endif  // OZNA_KIT_SEARCH_FACE_SEARCH_H_
