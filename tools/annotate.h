/// Draws faces into a photograph.

#ifndef OZNA_TOOLS_ANNOTATE_H_
#define OZNA_TOOLS_ANNOTATE_H_

#include <opencv2/core/mat.hpp>
#include <vector>

#include "tools/face.h"

namespace oznatool {

/// Draws the box of each face with its score, and its landmarks where it has some: as points, and
/// for 68 of them with the lines of jaw, brows, nose, eyes and lips.
///
/// The lines of a box grow with the photograph's longer side and lie wholly inside its edges, as does
/// its score at its top; a score that would be too small to read is left out. Landmarks grow with
/// their face; those that are not finite are left out.
///
/// pixels  8-bit, three channels, red first; drawn into.
void annotate(cv::Mat& pixels, const std::vector<Face>& faces);

}  // namespace oznatool

#endif  // OZNA_TOOLS_ANNOTATE_H_
