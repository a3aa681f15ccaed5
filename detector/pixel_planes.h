/// The way of pixels into a network: interleaved bytes to planes of floats.

#ifndef OZNA_DETECTOR_PIXEL_PLANES_H_
#define OZNA_DETECTOR_PIXEL_PLANES_H_

#include <opencv2/core.hpp>

#include "caffe/blob.hpp"

namespace oznalib {

/// Fills a network's input from an image of the same height and width.
///
/// image  8-bit, 3 channels. Any row step.
/// input  Plane c, c from 0 to 2, becomes byte 2 - c of each pixel, 0 to 255, row by row: networks
///        see the bytes in reverse order. With fewer than 3 planes the fill stops at the last one;
///        further ones are left as they are.
/// Errors An input without elements is a fatal check.
void writePixelPlanes(const cv::Mat& image, caffe::Blob<float>& input);

/// writePixelPlanes with a mean subtracted from each value of the input, also from those that no
/// pixel was written to.
///
/// mean   As many values as input has, in its order.
void writePixelPlanesLessMean(const cv::Mat& image, const float* mean, caffe::Blob<float>& input);

}  // namespace oznalib

#endif  // OZNA_DETECTOR_PIXEL_PLANES_H_
