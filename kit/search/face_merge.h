/// Picks among the faces of several scans.

#ifndef OZNA_KIT_SEARCH_FACE_MERGE_H_
#define OZNA_KIT_SEARCH_FACE_MERGE_H_

#include <vector>

#include "kit/faces/face.h"

namespace kit {

/// Drops each face that overlaps a face of better score by more than a quarter of the smaller one's
/// area, as the detector does within one scan, and sorts the rest by score, best first.
///
/// Cost: quadratic in the number of faces.
void mergeFaces(std::vector<Face>& faces);

}  // namespace kit

#endif  // OZNA_KIT_SEARCH_FACE_MERGE_H_
