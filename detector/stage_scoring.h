/// The passes that look at each surviving box by itself: scoring, and calibration of its place and
/// size.

#ifndef OZNA_DETECTOR_STAGE_SCORING_H_
#define OZNA_DETECTOR_STAGE_SCORING_H_

#include <opencv2/core.hpp>

#include "detector/detector_impl.h"
#include "detector/face_candidate.h"

namespace oznalib {

// Common to both passes. Each box is cut from the image, resized bilinearly to the network's input,
// the stage's mean is subtracted, and the network runs once per box, in the order of the list. No
// candidate is added, removed or moved within the list. An empty list runs no network.
//
// stage    Its network is in plain mode and has a blob "probs".
// image    The caller's: 8-bit, 3 channels; read only. The boxes are in its pixels.
// Errors   A mean with fewer values than the network's input is a fatal check, as is an input
//          without elements. A box that reaches out of the image, or has no area, raises
//          cv::Exception.
// Threads  One per stage.

/// Replaces each score by the second output of the stage's network: the probability of a face.
void scoreCandidates(CascadeStage& stage, const cv::Mat& image, CandidateList& list);

/// Moves and resizes each box by the table entry of the network's largest output.
///
/// A box stays as it was, in place and in size, if that output is below 0.1 or if the new box would
/// not lie inside the image with a pixel to spare: it is never clipped. Outputs beyond the table,
/// and entries beyond the outputs, are not looked at; an empty table leaves the list as it was.
void calibrateCandidates(CascadeStage& calibration, const cv::Mat& image, CandidateList& list);

/// calibrateCandidates for a list that goes through suppressBySize and keepAboveThreshold next: the
/// result of those two is the same, in the same order, but boxes whose score is not above the
/// threshold are removed here and not calibrated, as far as their new width cannot decide about the
/// order of the groups.
void calibrateDeciding(CascadeStage& calibration, const cv::Mat& image, float threshold,
                       CandidateList& list);

}  // namespace oznalib

#endif  // OZNA_DETECTOR_STAGE_SCORING_H_
