/// Picks among the faces of several scans, and among those of a photograph.

#ifndef OZNA_TOOLS_FACE_MERGE_H_
#define OZNA_TOOLS_FACE_MERGE_H_

#include <vector>

#include "tools/face.h"
#include "tools/options.h"

namespace oznatool {

/// Drops each face that overlaps a face of better score by more than a quarter of the smaller one's
/// area, as the detector does within one scan, and sorts the rest by score, best first.
///
/// Cost: quadratic in the number of faces.
void mergeFaces(std::vector<Face>* faces);

/// Leaves the one face that was asked for: the largest area, the best score, or all. Among equals
/// the first stays.
void chooseFaces(Choice choice, std::vector<Face>* faces);

}  // namespace oznatool

#endif  // OZNA_TOOLS_FACE_MERGE_H_
