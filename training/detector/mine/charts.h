/// Pictures of an evaluation: curves of recall, and contact sheets of misses and of wrong boxes.

#ifndef OZNA_TRAINING_DETECTOR_MINE_CHARTS_H_
#define OZNA_TRAINING_DETECTOR_MINE_CHARTS_H_

#include <opencv2/core.hpp>
#include <vector>

#include "training/detector/mine/evaluation.h"

namespace detector_training {

// All pictures are 8-bit, blue, green, red, as cv::imwrite takes them.

/// Recall (upwards, 0.5 to 1) over false positives per photograph (to the right, 0.01 to 1,
/// logarithmic), one line per measurement, with a dot at the built-in threshold.
cv::Mat drawRecallCurves(const std::vector<Measurement>& measurements);

/// Share of faces (upwards) among found boxes of like scores (to the right), both 0 to 1: a line
/// per measurement, a dot for each tenth, smaller where it stands for few boxes. Scores that are
/// probabilities lie on the diagonal.
cv::Mat drawReliability(const std::vector<Measurement>& measurements);

/// The first `count` counted faces that the built-in threshold misses, each amid its surroundings,
/// with the best score that it got.
cv::Mat drawMisses(const Measurement& measurement, const std::vector<Photograph>& photographs,
                   int count);

/// The `count` wrong boxes with the highest scores.
cv::Mat drawWrong(const Measurement& measurement, const std::vector<Photograph>& photographs,
                  int count);

}  // namespace detector_training

#endif  // OZNA_TRAINING_DETECTOR_MINE_CHARTS_H_
