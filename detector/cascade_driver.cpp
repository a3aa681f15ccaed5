/// The driver: the order in which the networks of a cascade turn an image into face boxes.

#include "detector/cascade_driver.h"

#include <algorithm>
#include <cstddef>
#include <opencv2/imgproc.hpp>

#include "detector/dense_stage.h"
#include "detector/pixel_truncation.h"
#include "detector/stage_scoring.h"
#include "detector/suppression.h"

namespace oznalib {
namespace {

constexpr float kScoreFloor = 0.0F;
constexpr float kUnionLimit = 0.5F;         // Between stages.
constexpr float kContainmentLimit = 0.25F;  // At the end.

}  // namespace

float workingScale(int rows, int columns, const CascadeParameter& parameter) {
  const int longer_side = std::max(rows, columns);
  const float target_side = static_cast<float>(parameter.maxImageSide);
  const int smallest_face = truncateToPixel(target_side * parameter.minFaceFraction);
  const float face_to_window =
      static_cast<float>(parameter.windowSize) / static_cast<float>(smallest_face);
  const float ratio = target_side / static_cast<float>(longer_side);
  if (longer_side > parameter.maxImageSide) {
    return face_to_window * ratio;
  }
  return face_to_window * std::min(parameter.maxUpscale, ratio);
}

cv::Mat makeWorkingImage(const cv::Mat& image, const CascadeParameter& parameter) {
  const float scale = workingScale(image.rows, image.cols, parameter);
  const cv::Size size(truncateToPixel(static_cast<float>(image.cols) * scale),
                      truncateToPixel(static_cast<float>(image.rows) * scale));
  cv::Mat working;
  cv::resize(image, working, size, 4.0, 0.0, cv::INTER_LINEAR);
  return working;
}

// The networks are trained on boxes that were cut to whole pixels twice.
void mapToImage(CandidateList& list, float scale) {
  const float reciprocal = 1.0F / scale;
  const auto map = [&](std::int32_t value) {
    return truncateToPixel(static_cast<float>(value) * reciprocal);
  };
  for (FaceCandidate& candidate : list.candidates) {
    candidate.x = map(candidate.x);
    candidate.y = map(candidate.y);
    candidate.width = map(candidate.width);
    candidate.height = map(candidate.height);
  }
}

CandidateList runCascade(DetectorImpl& detector, const cv::Mat& image, StageResults& stageResults,
                         const CascadeParameter& parameter) {
  CandidateList list =
      scanDenseStage(detector.stages[0], makeWorkingImage(image, parameter), parameter);
  mapToImage(list, workingScale(image.rows, image.cols, parameter));
  sortByScore(list);
  stageResults[0].push_back(list);
  keepAboveThreshold(list, detector.stages[0].threshold);

  const std::size_t last = detector.stages.size() - 1;
  for (std::size_t i = 1; i <= last; ++i) {
    CascadeStage& stage = detector.stages[i];
    scoreCandidates(stage, image, list);
    if (i != last) {
      calibrateCandidates(detector.calibration, image, list);
      list = suppressBySize(list, kScoreFloor, kUnionLimit);
    }
    stageResults[i].push_back(list);
    // Only now: boxes that the threshold drops take part in the suppression above.
    keepAboveThreshold(list, stage.threshold);
  }
  return suppressContained(list, kScoreFloor, kContainmentLimit);
}

}  // namespace oznalib
