/// How far eyes are open.

#ifndef OZNA_KIT_FACES_EYE_OPENNESS_H_
#define OZNA_KIT_FACES_EYE_OPENNESS_H_

#include <cstddef>
#include <vector>

namespace kit {

/// First landmark of the eye on the left, and of that on the right, of the upright face.
constexpr std::size_t kLeftEye = 36;
constexpr std::size_t kRightEye = 42;

/// Height over width of an eye: the mean distance of its two pairs of lid points over that of its
/// corners.
///
/// points   136 floats.
/// Returns  NaN where the corners are one.
/// Source   T. Soukupova and J. Cech, Real-time eye blink detection using facial landmarks, 2016.
float eyeOpenness(const std::vector<float>& points, std::size_t eye);

}  // namespace kit

#endif  // OZNA_KIT_FACES_EYE_OPENNESS_H_
