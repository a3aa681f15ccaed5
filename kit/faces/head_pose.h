/// How a head is turned, from its landmarks.

#ifndef OZNA_KIT_FACES_HEAD_POSE_H_
#define OZNA_KIT_FACES_HEAD_POSE_H_

#include <vector>

namespace kit {

/// Degrees. A head that looks at the viewer is first turned up by pitch, then to the right of the
/// picture by yaw, and then, as one looks at it, clockwise by roll.
struct HeadPose {
  float roll;   ///< -180 to 180.
  float yaw;    ///< -90 to 90.
  float pitch;  ///< -180 to 180.
  /// Root of the mean square of the distances between the landmarks and those of the average head
  /// in that pose, over the same of the landmarks' distances from their centre.
  float misfit;
};

/// Fits an average head to landmarks: the turn, the scale and the place that bring the landmarks of
/// the head, seen from far away, nearest to those of the face. The jaw's line, which is another one
/// on a turned head, and what a mouth moves have no say in it.
///
/// points   136 floats, finite, in pixels.
/// Returns  All NaN where the points do not make a face.
/// Cost     Less than a millisecond.
/// Source   The parts that cannot be seen, the depths, are filled in from the last estimate before
///          each least squares fit in space (S. Umeyama, 1991): expectation and maximisation, A. P.
///          Dempster, N. M. Laird and D. B. Rubin, 1977.
HeadPose headPose(const std::vector<float>& points);

}  // namespace kit

#endif  // OZNA_KIT_FACES_HEAD_POSE_H_
