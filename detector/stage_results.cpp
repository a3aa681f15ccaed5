// The driver's run with a trace of what each stage produced.

#include "detector/stage_results.h"

#include <cstddef>

#include "detector/cascade_driver.h"
#include "detector/dense_stage.h"
#include "detector/stage_scoring.h"
#include "detector/suppression.h"
#include "detector/working_image.h"

namespace oznalib {

CandidateList runCascade(DetectorImpl& detector, const cv::Mat& image, StageResults& stage_results,
                         const CascadeParameter& parameter) {
  const WorkingImage working = makeWorkingImage(image, parameter);
  CandidateList list = scanDenseStage(detector.stages[0], working.pixels, parameter);
  mapToImage(list, working.scale);
  sortByScore(list);
  stage_results[0].push_back(list);
  keepAboveThreshold(list, detector.stages[0].threshold);

  const std::size_t last = detector.stages.size() - 1;
  for (std::size_t i = 1; i <= last; ++i) {
    scoreCandidates(detector.stages[i], image, list);
    if (i != last) {
      calibrateCandidates(detector.calibration, image, list);
      list = suppressBySize(list, kScoreFloor, kUnionLimit);
    }
    stage_results[i].push_back(list);
    keepAboveThreshold(list, detector.stages[i].threshold);
  }
  return suppressContained(list, kScoreFloor, kContainmentLimit);
}

}  // namespace oznalib
