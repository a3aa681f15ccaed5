/// Draws faces into a photograph.

#ifndef OZNA_TOOLS_OUTPUT_ANNOTATE_H_
#define OZNA_TOOLS_OUTPUT_ANNOTATE_H_

#include <opencv2/core/mat.hpp>
#include <vector>

#include "tools/photograph/face.h"

namespace oznatool {

/// Draws the box of each face with its score, and its landmarks where it has some: as points, and
/// for 68 of them with the lines of jaw, brows, nose, eyes and lips.
///
/// The lines of a box grow with the face and lie wholly inside its edges. Its score stands above
/// it, or below, or inside where the photograph ends on both sides; that of a face below 20 pixels
/// is left out. Landmarks grow with their face; those that are not finite are left out.
///
/// pixels  8-bit, three channels, red first; drawn into.
void annotate(cv::Mat& pixels, const std::vector<Face>& faces);

}  // namespace oznatool

#endif  // OZNA_TOOLS_OUTPUT_ANNOTATE_H_
