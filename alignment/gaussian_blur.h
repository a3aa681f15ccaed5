/// Gaussian kernels and the separable blur.

#ifndef OZNA_ALIGNMENT_GAUSSIAN_BLUR_H_
#define OZNA_ALIGNMENT_GAUSSIAN_BLUR_H_

#include <vector>

#include "alignment/plane.h"

namespace oznalib {

/// Taps of a Gaussian, each the integral over its pixel, normalised to a sum of 1.
///
/// sigma    In pixels, at least 0.
/// Returns  2 * half + 1 taps with half = sigma * 3.5 + 0.5, cut towards zero.
std::vector<float> gaussianKernel(float sigma);

/// Blurs rows, then columns. Beyond the border the nearest pixel of the row or column is repeated.
///
/// Each output is a float sum over the taps in ascending order.
///
/// source       Not empty.
/// destination  Takes the size of source. May be the same plane.
/// kernel       At least one tap; the middle one (taps / 2) lies on the pixel.
/// Errors       A failed allocation throws a std::bad_alloc whose text is "bad allocation".
/// Memory       About taps + 2 rows.
void separableBlur(const SDMCore::Plane& source, SDMCore::Plane& destination,
                   const std::vector<float>& kernel);

}  // namespace oznalib

#endif  // OZNA_ALIGNMENT_GAUSSIAN_BLUR_H_
