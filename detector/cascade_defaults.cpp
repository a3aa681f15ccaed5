// CascadeDefaults: the cascade that the core has built in, but for its weights.

#include "detector/cascade_defaults.h"

#include <algorithm>
#include <cstddef>

namespace oznalib {
namespace {

// The build writes the included files from those of public/cascades/; see
// cmake/embed_models.cmake.
const double kCalibrationMean[] = {
#include "calibration_mean.inc"
};
const double kSecondStageMean[] = {
#include "second_stage_mean.inc"
};
const double kThirdStageMean[] = {
#include "third_stage_mean.inc"
};
const double kFirstStageMean[] = {
#include "first_stage_mean.inc"
};
const char* const kCalibrationNetText =
#include "calibration_net_text.inc"
    ;
const char* const kFirstStageNetText =
#include "first_stage_net_text.inc"
    ;
const char* const kSecondStageNetText =
#include "second_stage_net_text.inc"
    ;
const char* const kThirdStageNetText =
#include "third_stage_net_text.inc"
    ;

constexpr double kSameSize = 1.0;
constexpr double kLargerBox = 0.9166666666666666;   // 11 / 12.
constexpr double kSmallerBox = 1.0833333333333333;  // 13 / 12.

struct CalibrationEntry {
  std::int32_t dx;
  std::int32_t dy;
  double scale;
};

// Not symmetrical: entries 9 to 18 are the shifts of entries 0 to 8 moved by one pixel, at a larger
// box, but for entry 10, the only one that makes the box smaller.
constexpr CalibrationEntry kCalibrationTable[CascadeDefaults::kCalibrationEntries] = {
    {0, 0, kSameSize},   {-4, -4, kSameSize}, {-4, 0, kSameSize},    {0, -4, kSameSize},
    {4, 0, kSameSize},   {4, -4, kSameSize},  {-4, 4, kSameSize},    {0, 4, kSameSize},
    {4, 4, kSameSize},   {1, 1, kLargerBox},  {-1, -1, kSmallerBox}, {-3, -3, kLargerBox},
    {-3, 1, kLargerBox}, {1, -3, kLargerBox}, {5, 1, kLargerBox},    {5, -3, kLargerBox},
    {-3, 5, kLargerBox}, {1, 5, kLargerBox},  {5, 5, kLargerBox},
};

template <std::size_t kCount>
void copyTable(const double (&source)[kCount], std::array<double, kCount>& target) {
  std::copy(std::begin(source), std::end(source), target.begin());
}

}  // namespace

CascadeDefaults::CascadeDefaults()
    : stageThresholds{0.4, 0.8, 0.98},
      stageWeightPaths{"../../../Ozna/public/cascades/x16Net-demo/proto-full",
                       "../../../Ozna/public/cascades/x32Net/proto",
                       "../../../Ozna/public/cascades/x64Net/proto"},
      calibrationWeightPath("../../../Ozna/public/cascades/x32Net-x32-3Scales-200/proto"),
      calibrationNetText(kCalibrationNetText),
      firstStageNetText(kFirstStageNetText),
      secondStageNetText(kSecondStageNetText),
      thirdStageNetText(kThirdStageNetText) {
  for (int entry = 0; entry < kCalibrationEntries; ++entry) {
    calibrationDx[entry] = kCalibrationTable[entry].dx;
    calibrationDy[entry] = kCalibrationTable[entry].dy;
    calibrationScale[entry] = kCalibrationTable[entry].scale;
  }
  copyTable(kCalibrationMean, calibrationMean);
  copyTable(kSecondStageMean, secondStageMean);
  copyTable(kThirdStageMean, thirdStageMean);
  copyTable(kFirstStageMean, firstStageMean);
}

}  // namespace oznalib
