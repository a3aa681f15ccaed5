/// Resizes a colour image with a separable Lanczos filter, one axis at a time.

#ifndef OZNA_IMAGING_RESIZE_ANTIALIAS_H_
#define OZNA_IMAGING_RESIZE_ANTIALIAS_H_

#include <opencv2/core.hpp>

namespace oznalib {

/// Lanczos window of radius 3. 1 at 0, 0 below -3 and from 3 on: the lower bound belongs to the
/// window, the upper does not.
float lanczos3(float x);

/// Scales an image to an exact size; the aspect ratio is not kept.
///
/// source   8-bit, three channels; rows need not be continuous.
/// size     Target size in pixels.
/// Returns  A new image. The axis with the stronger reduction goes first, the horizontal one on a
///          tie.
/// Errors   A source of any other type is returned as it is (a second header on its pixels), after
///          the line "Error: resize_antialias type" on the standard error stream.
/// Threads  Any number at once.
cv::Mat resize_antialias(const cv::Mat& source, const cv::Size& size);

/// One pass along one axis: horizontal if the rows equal height, otherwise vertical if the columns
/// equal width.
///
/// An enlargement looks at one or two source pixels only, through the centre of the filter; a
/// reduction by r looks 3 * r pixels to each side. Products are summed in float, in ascending order
/// of the source.
///
/// source  8-bit, three channels.
/// Errors  If both sides differ: an empty image, after the line "Error: resize_antialias_oracle
///         size" on the standard error stream.
cv::Mat resize_antialias_oracle(const cv::Mat& source, int width, int height);

}  // namespace oznalib

#endif  // OZNA_IMAGING_RESIZE_ANTIALIAS_H_
