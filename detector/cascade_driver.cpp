// The driver: the order in which the networks of a cascade turn an image into face boxes.

#include "detector/cascade_driver.h"

#include "detector/dense_stage.h"
#include "detector/stage_scoring.h"
#include "detector/suppression.h"

namespace oznalib {

CandidateList firstRound(DetectorImpl& detector, const WorkingImage& working,
                         const CascadeParameter& parameter, float threshold) {
  CandidateList list = scanDenseStage(detector.stages[0], working.pixels, parameter);
  mapToImage(list, working.scale);
  // Sorting keeps the order of equals, so that it does not matter which of the two steps is first;
  // few cells are above a threshold.
  keepAboveThreshold(list, threshold);
  sortByScore(list);
  return list;
}

void middleRound(DetectorImpl& detector, std::size_t stage, const cv::Mat& image, float threshold,
                 CandidateList& list) {
  scoreCandidates(detector.stages[stage], image, list);
  calibrateDeciding(detector.calibration, image, threshold, list);
  list = suppressBySize(list, kScoreFloor, kUnionLimit);
  // Only now: boxes that the threshold drops take part in the suppression.
  keepAboveThreshold(list, threshold);
}

CandidateList runCascade(DetectorImpl& detector, const cv::Mat& image,
                         const CascadeParameter& parameter) {
  const auto& stages = detector.stages;
  CandidateList list =
      firstRound(detector, makeWorkingImage(image, parameter), parameter, stages[0].threshold);
  const std::size_t last = stages.size() - 1;
  for (std::size_t i = 1; i < last; ++i) {
    middleRound(detector, i, image, stages[i].threshold, list);
  }
  if (last > 0) {
    scoreCandidates(detector.stages[last], image, list);
    keepAboveThreshold(list, stages[last].threshold);
  }
  return suppressContained(list, kScoreFloor, kContainmentLimit);
}

}  // namespace oznalib
