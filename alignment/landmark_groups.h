/// Which of the 68 landmarks make up each of the 5.

#ifndef OZNA_ALIGNMENT_LANDMARK_GROUPS_H_
#define OZNA_ALIGNMENT_LANDMARK_GROUPS_H_

#include <cstdint>
#include <vector>

namespace oznalib {

/// Five groups of indices, from 0, into the 68 landmarks: the eye on the left side of the image,
/// the other eye, the tip of the nose, the mouth corner on the left side of the image, the other
/// one. Never changed.
extern const std::vector<std::vector<std::int32_t>> landmarkGroups;

/// Mean of each group.
///
/// landmarks  136 floats: x0, y0, ... x67, y67.
/// Returns    x and y for each group. Sums run in float, in the order of the table.
std::vector<float> groupCentres(const std::vector<float>& landmarks);

}  // namespace oznalib

#endif  // OZNA_ALIGNMENT_LANDMARK_GROUPS_H_
