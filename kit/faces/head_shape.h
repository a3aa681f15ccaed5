/// A head of average adult proportions, as the places of the 68 landmarks in space.

#ifndef OZNA_KIT_FACES_HEAD_SHAPE_H_
#define OZNA_KIT_FACES_HEAD_SHAPE_H_

#include <array>
#include <opencv2/core/matx.hpp>

namespace kit {

/// In millimetres. The head looks at the viewer: x to the right of the picture, y down, z away from
/// the viewer. The origin is the landmark at the root of the nose.
///
/// Source  Seen from the front: the mean of 773 annotated faces of the training photographs that
///         look at the viewer, made symmetric, 89 wide between the outer corners of the eyes. That,
///         and the protrusion of the nose by 19 over its root and of the lips, are averages of
///         adults: L. G. Farkas, Anthropometry of the head and face, 1994. Depths that it does not
///         have are estimates. A head that is not turned is thus one that is held as the average
///         one is.
extern const std::array<cv::Vec3d, 68> kHeadShape;

}  // namespace kit

#endif  // OZNA_KIT_FACES_HEAD_SHAPE_H_
