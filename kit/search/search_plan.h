/// Plans the scans by which the faces of a picture are searched.

#ifndef OZNA_KIT_SEARCH_SEARCH_PLAN_H_
#define OZNA_KIT_SEARCH_SEARCH_PLAN_H_

#include <opencv2/core/types.hpp>
#include <vector>

#include "kit/search/search_request.h"
#include "kit/search/working_size.h"
#include "ozna.h"

namespace kit {

/// One call of the detector.
struct Scan {
  cv::Rect region;  ///< The pixels to search, inside the picture.
  /// Faces whose centre lies in here count; others belong to a neighbour's core. Left and top are
  /// inclusive, right and bottom not. The cores of a layer of tiles cover the plane without
  /// overlap.
  oznalib::Rectangle<float> core;
  oznalib::CascadeParameter parameter;
};

/// The scans for a picture, finest first; at least one.
///
/// Without min_face this is one scan with the parameters of the request. With it, it is one scan
/// where that can find faces as small; otherwise layers of overlapping tiles come before it. A
/// layer finds faces from its smallest to six times that, the next one continues from there, and
/// the last scan is that of the whole picture. Tiles overlap by more than the largest face of their
/// layer, so that each face lies whole in the tile whose core holds its centre.
///
/// searched      Size in pixels of what is searched, with its border.
/// longer_side   Of the picture without its border, which min_face refers to.
/// first_input   Input of the first network in pixels.
std::vector<Scan> planScans(const cv::Size& searched, int longer_side, const SearchRequest& request,
                            const Size& first_input);

/// The working image that the cascade makes of a scan's region.
Size workingSizeOf(const Scan& scan);

/// Whether a scan can find anything: at least a window fits into its working image.
bool isWideEnough(const Scan& scan);

/// The least min_face_fraction that the first network can hold for a scan's region, in thousandths
/// rounded up; 1 where not even that is enough.
float acceptedFraction(const Scan& scan, const Size& first_input);

}  // namespace kit

#endif  // OZNA_KIT_SEARCH_SEARCH_PLAN_H_
