/// The driver: the order in which the networks of a cascade turn an image into face boxes.

#ifndef OZNA_DETECTOR_CASCADE_DRIVER_H_
#define OZNA_DETECTOR_CASCADE_DRIVER_H_

#include <cstddef>
#include <opencv2/core.hpp>

#include "detector/detector_impl.h"
#include "detector/face_candidate.h"
#include "detector/working_image.h"
#include "ozna.h"

namespace oznalib {

/// Finds the faces of an image.
///
/// detector   A complete cascade of at least one stage. Its networks are written.
/// image      The caller's pixels, 8-bit, 3 channels; read only.
/// parameter  See CascadeParameter.
/// Returns    Boxes in pixels of image, by descending score.
/// Errors     A working image without area, or a box that reaches out of image, raises
///            cv::Exception.
/// Threads    One per detector.
///
/// It is firstRound, then a middleRound for each stage but the first and the last, then scoring by
/// the last one, and suppressContained.
CandidateList runCascade(DetectorImpl& detector, const cv::Mat& image,
                         const CascadeParameter& parameter);

/// The boxes that the first stage scores above a threshold: in pixels of the caller's image, by
/// descending score, cells of equal scores in the order of the scan.
CandidateList firstRound(DetectorImpl& detector, const WorkingImage& working,
                         const CascadeParameter& parameter, float threshold);

/// One later stage but the last: scores the boxes, calibrates them, suppresses those of equal width
/// and keeps what is above a threshold.
///
/// Boxes below the threshold take part in the suppression. They can decide nothing there but the
/// order of the result, so that only those that do are calibrated.
///
/// stage  Index of the stage, 1 at least.
/// list   In pixels of image.
void middleRound(DetectorImpl& detector, std::size_t stage, const cv::Mat& image, float threshold,
                 CandidateList& list);

// What the driver's steps and its trace (stage_results.h) suppress by.
constexpr float kScoreFloor = 0.0F;
constexpr float kUnionLimit = 0.5F;         // Between stages.
constexpr float kContainmentLimit = 0.25F;  // At the end.

}  // namespace oznalib

#endif  // OZNA_DETECTOR_CASCADE_DRIVER_H_
