/// Plans the scans by which the faces of a photograph are searched.

#ifndef OZNA_TOOLS_SEARCH_PLAN_H_
#define OZNA_TOOLS_SEARCH_PLAN_H_

#include <opencv2/core/types.hpp>
#include <vector>

#include "ozna.h"
#include "tools/search_options.h"
#include "tools/working_size.h"

namespace oznatool {

/// One call of the detector.
struct Scan {
  cv::Rect region;  ///< The pixels to search, inside the photograph.
  /// Faces whose centre lies in here count; others belong to a neighbour's core. Left and top are
  /// inclusive, right and bottom not. The cores of a layer of tiles cover the plane without overlap.
  oznalib::Rectangle<float> core;
  oznalib::CascadeParameter parameter;
};

/// The scans for a photograph, finest first; at least one.
///
/// Without min_face this is one scan with the given parameters. With it, it is one scan where that
/// can find faces as small; otherwise layers of overlapping tiles come before it. A layer finds
/// faces from its smallest to six times that, the next one goes on from there, and the last scan is
/// that of the whole photograph. Tiles overlap by more than the largest face of their layer, so that
/// each face lies whole in the tile whose core holds its centre.
///
/// searched      Size in pixels of what is searched, with its border.
/// longer_side   Of the photograph without its border, which min_face refers to.
/// first_input   Input of the first network in pixels.
std::vector<Scan> planScans(const cv::Size& searched, int longer_side, const SearchOptions& options,
                            const Size& first_input);

}  // namespace oznatool

#endif  // OZNA_TOOLS_SEARCH_PLAN_H_
