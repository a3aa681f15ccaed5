/// How small a photograph may be decoded for a search.
///
/// A decoder that makes a half, a quarter or an eighth of the sides of a photograph takes less time and
/// memory for it. The search may work on the smaller picture where that one still holds the smallest
/// face at the size at which it is looked at:
///
/// - The first network sees the working image alone, whose size does not depend on the reduction: a
///   reduction that would lead to another size is not taken. In it, the smallest face has the side of
///   the network's window, so that in the photograph it has window / working side * photograph side.
/// - The later networks see their boxes cut out of the picture and scaled to 24 and 48 pixels. Box
///   coordinates are cut to whole pixels twice on their way, when they leave the working image and when
///   they are calibrated: the outcome is up to two pixels off. Two percent of a face's side are two
///   pixels where the face has 100, which is also twice what the last network looks at.
/// - The landmarks are placed in a window of 250 pixels that holds the face and half its side around it,
///   scaled so that the face has 125. A face below that would be enlarged.
///
/// The bound is therefore 100 pixels for the smallest face without landmarks, 125 with them, and at
/// least twice the side of the largest input of a later network.

#ifndef OZNA_TOOLS_DECODING_REDUCTION_H_
#define OZNA_TOOLS_DECODING_REDUCTION_H_

#include <opencv2/core/types.hpp>

#include "tools/search_options.h"
#include "tools/working_size.h"

namespace oznatool {

/// The side in pixels that the smallest face must keep. last_input_px  Side of the largest input of a
/// later network.
int leastFaceSide(bool with_landmarks, int last_input_px);

/// The side in pixels of the smallest face that a scan of the whole photograph looks for.
///
/// searched   Size in pixels with its border. parameter  Of the scan.
double smallestFaceSide(const cv::Size& searched, const oznalib::CascadeParameter& parameter);

/// The parameters that make of a reduced picture the working image that parameter makes of the whole
/// one: the picture may have to be enlarged by more where it is shorter than maxImageSide.
oznalib::CascadeParameter reducedParameter(const oznalib::CascadeParameter& parameter,
                                           int reduction);

/// By how much the sides of a photograph may be divided when it is decoded: 8, 4, 2 or 1. 1 also for
/// a photograph that is searched in tiles or cannot be searched.
///
/// upright        Size of the photograph in pixels.
/// first_input    Input of the first network in pixels.
/// least_face_px  See leastFaceSide.
int decodingReduction(const cv::Size& upright, const SearchOptions& options,
                      const Size& first_input, int least_face_px);

}  // namespace oznatool

#endif  // OZNA_TOOLS_DECODING_REDUCTION_H_
