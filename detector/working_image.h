/// The working image: the photograph at the size in which the dense stage searches.

#ifndef OZNA_DETECTOR_WORKING_IMAGE_H_
#define OZNA_DETECTOR_WORKING_IMAGE_H_

#include <opencv2/core.hpp>

#include "detector/face_candidate.h"
#include "ozna.h"

namespace oznalib {

/// The ratio of the working image to an image of that size.
///
/// The smallest face of an image whose longer side is maxImageSide becomes windowSize pixels; a
/// smaller image is enlarged towards maxImageSide before that, by no more than maxUpscale.
float workingScale(int rows, int columns, const CascadeParameter& parameter);

/// Pixels for the dense stage, and the way back from them.
struct WorkingImage {
  cv::Mat pixels;   ///< 8-bit, 3 channels; a copy of its own, also at a scale of 1.
  float scale = 1;  ///< Sides of pixels over sides of the caller's image, before the cut to pixels.
};

/// Resizes an image bilinearly by workingScale.
///
/// image    8-bit, 3 channels; read only.
/// Errors   A result without area raises cv::Exception.
/// Threads  Any number.
WorkingImage makeWorkingImage(const cv::Mat& image, const CascadeParameter& parameter);

/// Takes boxes, in place, from a working image of that scale to the caller's image. The
/// coordinates, cut to whole pixels when the boxes were made, are cut once more.
void mapToImage(CandidateList& list, float scale);

}  // namespace oznalib

#endif  // OZNA_DETECTOR_WORKING_IMAGE_H_
