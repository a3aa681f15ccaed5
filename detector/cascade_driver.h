/// The driver: the order in which the networks of a cascade turn an image into face boxes.

#ifndef OZNA_DETECTOR_CASCADE_DRIVER_H_
#define OZNA_DETECTOR_CASCADE_DRIVER_H_

#include <opencv2/core.hpp>
#include <vector>

#include "detector/detector_impl.h"
#include "detector/face_candidate.h"
#include "ozna.h"

namespace oznalib {

/// What each stage produced, before its threshold: one list a run and stage. For debugging and for
/// measuring a cascade; no result depends on it.
using StageResults = std::vector<std::vector<CandidateList>>;

/// The ratio of the working image, in which the dense stage searches, to an image of that size.
///
/// The smallest face of an image whose longer side is maxImageSide becomes windowSize pixels; a
/// smaller image is enlarged towards maxImageSide before that, by no more than maxUpscale.
float workingScale(int rows, int columns, const CascadeParameter& parameter);

/// The image in which the dense stage searches: image, resized bilinearly by workingScale.
///
/// image    8-bit, 3 channels; read only.
/// Errors   A result without area raises cv::Exception.
/// Threads  Any number.
cv::Mat makeWorkingImage(const cv::Mat& image, const CascadeParameter& parameter);

/// Takes boxes, in place, from the working image of that scale to the caller's image. The
/// coordinates, cut to whole pixels when the boxes were made, are cut once more.
void mapToImage(CandidateList& list, float scale);

/// Finds the faces of an image.
///
/// detector      A complete cascade of at least one stage. Its networks are written.
/// image         The caller's pixels, 8-bit, 3 channels; read only.
/// stageResults  One element a stage of the detector; each gets one list more.
/// parameter     See CascadeParameter.
/// Returns       Boxes in pixels of image, by descending score.
/// Errors        A working image without area, or a box that reaches out of image, raises
///               cv::Exception.
/// Threads       One a detector.
CandidateList runCascade(DetectorImpl& detector, const cv::Mat& image, StageResults& stageResults,
                         const CascadeParameter& parameter);

/// The same faces without the trace, in less time: what a stage's threshold drops anyway is left out
/// of the steps before as far as it decides nothing.
CandidateList runCascade(DetectorImpl& detector, const cv::Mat& image,
                         const CascadeParameter& parameter);

}  // namespace oznalib

#endif  // OZNA_DETECTOR_CASCADE_DRIVER_H_
