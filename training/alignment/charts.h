/// Pictures of an evaluation: the curve of errors and the worst faces.

#ifndef OZNA_TRAINING_ALIGNMENT_CHARTS_H_
#define OZNA_TRAINING_ALIGNMENT_CHARTS_H_

#include <opencv2/core.hpp>
#include <string>
#include <vector>

#include "training/alignment/evaluation.h"

namespace alignment_training {

/// One line of a cumulative curve.
struct CurveLine {
  std::string name;
  std::vector<MeasuredFace> faces;
};

/// Share of faces (upwards, 0 to 1) with an error below a limit (to the right, 0 to 15 percent).
/// Returns 8-bit, blue, green, red, as cv::imwrite takes it.
cv::Mat drawErrorCurves(const std::vector<CurveLine>& lines);

/// The `count` faces with the largest errors, worst first, with their rectangles, true points
/// (green) and found points (red). Returns 8-bit, blue, green, red.
cv::Mat drawWorstFaces(const std::string& folder, const std::vector<LandmarkFace>& faces,
                       std::vector<MeasuredFace> measured, int count);

}  // namespace alignment_training

#endif  // OZNA_TRAINING_ALIGNMENT_CHARTS_H_
