/// How far the landmarks of a face can be trusted.

#ifndef OZNA_KIT_FACES_POINT_QUALITY_H_
#define OZNA_KIT_FACES_POINT_QUALITY_H_

#include "alignment/align68_points.h"

namespace kit {

/// How far the fits of a face are apart: the mean distance of their landmarks from the median, over
/// the root of the mean square of the landmarks' distances from their centre.
///
/// placement  With points.
float fitSpread(const oznalib::Placement68& placement);

/// 1 where the fits agree and the face looks like one, towards 0 where they do not.
///
/// misfit  Of headPose.
float pointQuality(float spread, float misfit);

}  // namespace kit

#endif  // OZNA_KIT_FACES_POINT_QUALITY_H_
