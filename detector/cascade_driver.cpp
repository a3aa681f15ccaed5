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

// Writes what a stage produced to a trace, if there is one.
void record(const CandidateList& list, std::size_t stage, StageResults* trace) {
  if (trace != nullptr) {
    (*trace)[stage].push_back(list);
  }
}

CandidateList runStages(DetectorImpl& detector, const cv::Mat& image,
                        const CascadeParameter& parameter, StageResults* trace) {
  CandidateList list =
      scanDenseStage(detector.stages[0], makeWorkingImage(image, parameter), parameter);
  mapToImage(list, workingScale(image.rows, image.cols, parameter));
  if (trace == nullptr) {
    // Sorting keeps the order of equals, so that it does not matter which of the two steps is first.
    keepAboveThreshold(list, detector.stages[0].threshold);
  }
  sortByScore(list);
  record(list, 0, trace);
  keepAboveThreshold(list, detector.stages[0].threshold);

  const std::size_t last = detector.stages.size() - 1;
  for (std::size_t i = 1; i <= last; ++i) {
    CascadeStage& stage = detector.stages[i];
    scoreCandidates(stage, image, list);
    if (i != last) {
      if (trace != nullptr) {
        calibrateCandidates(detector.calibration, image, list);
      } else {
        calibrateDeciding(detector.calibration, image, stage.threshold, list);
      }
      list = suppressBySize(list, kScoreFloor, kUnionLimit);
    }
    record(list, i, trace);
    // Only now: boxes that the threshold drops take part in the suppression above.
    keepAboveThreshold(list, stage.threshold);
  }
  return suppressContained(list, kScoreFloor, kContainmentLimit);
}

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
  return runStages(detector, image, parameter, &stageResults);
}

CandidateList runCascade(DetectorImpl& detector, const cv::Mat& image,
                         const CascadeParameter& parameter) {
  return runStages(detector, image, parameter, /*trace=*/nullptr);
}

}  // namespace oznalib
