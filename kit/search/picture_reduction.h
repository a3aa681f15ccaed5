/// How small a picture may be decoded for a search.
///
/// A decoder that makes a half, a quarter or an eighth of the sides of a picture takes less time
/// and memory for it. The search may work on the smaller picture where that one still holds the
/// smallest face at the size at which it is looked at:
///
/// - The first network sees the working image alone, whose size does not depend on the reduction: a
///   reduction that would lead to another size is not taken. In it, the smallest face has the side
///   of the network's window, so that in the picture it has window / working side * picture side.
/// - The later networks see their boxes cut out of the picture and scaled to 24 and 48 pixels. Box
///   coordinates are cut to whole pixels twice on their way, when they leave the working image and
///   when they are calibrated: the outcome is up to two pixels off. Two percent of a face's side
///   are two pixels where the face has 100, which is also twice what the last network looks at.
/// - The landmarks are placed in a window of 250 pixels that holds the face and half its side
///   around it, scaled so that the face has 125. A face below that would be enlarged.
///
/// The bound is therefore 100 pixels for the smallest face without landmarks, 125 with them, and at
/// least twice the side of the largest input of a later network.

#ifndef OZNA_KIT_SEARCH_PICTURE_REDUCTION_H_
#define OZNA_KIT_SEARCH_PICTURE_REDUCTION_H_

#include <opencv2/core/types.hpp>

#include "kit/search/search_request.h"
#include "kit/search/working_size.h"

namespace kit {

/// The side in pixels that the smallest face must keep. last_input_px  Side of the largest input of
/// a later network.
int leastFaceSide(bool with_landmarks, int last_input_px);

/// Size of a picture whose sides are divided, rounded up.
cv::Size reducedSize(const cv::Size& picture, int reduction);

/// What to search a reduced picture with.
struct ReducedSearch {
  int reduction = 1;                         ///< 8, 4, 2, or 1: then the rest is not set.
  oznalib::CascadeParameter parameter = {};  ///< Makes the working image of the whole picture.
  double margin = 0;  ///< That of the whole picture, of the reduced longer side.
};

/// By how much the sides of a picture may be divided. 1 also for a picture that is searched in
/// tiles or cannot be searched.
///
/// upright        Size of the picture in pixels.
/// first_input    Input of the first network in pixels.
/// least_face_px  See leastFaceSide.
ReducedSearch reducedSearch(const cv::Size& upright, const SearchRequest& request,
                            const Size& first_input, int least_face_px);

}  // namespace kit

#endif  // OZNA_KIT_SEARCH_PICTURE_REDUCTION_H_
