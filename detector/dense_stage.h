/// The first stage: one fully convolutional network over a small pyramid of the working image.

#ifndef OZNA_DETECTOR_DENSE_STAGE_H_
#define OZNA_DETECTOR_DENSE_STAGE_H_

#include <opencv2/core.hpp>

#include "detector/detector_impl.h"
#include "detector/face_candidate.h"
#include "ozna.h"

namespace oznalib {

/// The image of a pyramid level: working itself, shared and of whatever size, for level 0, and
/// working reduced bilinearly by pyramidFactor to the power of the level otherwise. Empty where the
/// pyramid ends, which is at a level above 0 whose sides are not both above windowSize + 1.
cv::Mat makeLevelImage(const cv::Mat& working, int level, const CascadeParameter& parameter);

/// Scans the working image and makes a candidate of every cell of every probability map.
///
/// stage      The first one. Its network is in fast mode and ends in a blob "probs" of 2 planes,
///            plane 1 for faces. Left at the shape and with the activations of the last level.
/// working    8-bit, 3 channels, not empty; read only.
/// parameter  pyramidLevels, pyramidFactor and windowSize are read.
/// Returns    Boxes in pixels of working, level by level and row by row, none thresholded. The
///            cells of a map are spread evenly over the positions 0 to side - windowSize - 1 of the
///            window in the level. Levels end early at one above 0 whose sides are not both above
///            windowSize + 1, or at any whose map has a side below 2.
/// Errors     A level for which the network was not built, with more values than fit its input or a
///            later blob, is logged as an error that names the blob, and the result is empty.
/// Threads    One per stage.
/// Memory     One level image at a time; level 0 shares working.
CandidateList scanDenseStage(CascadeStage& stage, const cv::Mat& working,
                             const CascadeParameter& parameter);

}  // namespace oznalib

#endif  // OZNA_DETECTOR_DENSE_STAGE_H_
