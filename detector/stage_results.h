/// The driver's run with a trace of what each stage produced, for measuring a cascade.

#ifndef OZNA_DETECTOR_STAGE_RESULTS_H_
#define OZNA_DETECTOR_STAGE_RESULTS_H_

#include <opencv2/core.hpp>
#include <vector>

#include "detector/detector_impl.h"
#include "detector/face_candidate.h"
#include "ozna.h"

namespace oznalib {

/// What each stage produced, before its threshold: one list per run and stage. The evaluation of
/// cascades, benchmarks and tests read it; nothing in a detection does.
using StageResults = std::vector<std::vector<CandidateList>>;

/// runCascade, with the same faces in the same order, in more time: also the boxes that a threshold
/// drops anyway are calibrated, since the trace shows them.
///
/// stage_results  One element per stage of the detector; each gets one list more.
CandidateList runCascade(DetectorImpl& detector, const cv::Mat& image, StageResults& stage_results,
                         const CascadeParameter& parameter);

}  // namespace oznalib

#endif  // OZNA_DETECTOR_STAGE_RESULTS_H_
