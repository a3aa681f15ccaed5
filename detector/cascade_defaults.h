/// CascadeDefaults: the cascade that the core has built in, but for its weights.

#ifndef OZNA_DETECTOR_CASCADE_DEFAULTS_H_
#define OZNA_DETECTOR_CASCADE_DEFAULTS_H_

#include <array>
#include <cstdint>
#include <string>

namespace oznalib {

/// Everything of the built-in cascade but its trained weights, which lie in files.
///
/// The mean images and the definitions are those of public/cascades/, taken into the program when
/// it is built, so that a load with files and a load without give the same faces. Mean images are
/// in the order of a network's input: plane, row, column, plane 0 for the third byte of a pixel.
/// About 90 KB: not for the stack.
class CascadeDefaults {
 public:
  static constexpr int kStages = 3;
  static constexpr int kCalibrationEntries = 19;

  CascadeDefaults();

  std::array<double, kStages> stageThresholds;
  /// Relative to the current directory, as is the next one.
  std::array<std::string, kStages> stageWeightPaths;
  std::string calibrationWeightPath;
  /// Shift of the crop from the face's box, and size of the crop over that of the box, for which
  /// output k of the calibration network stands. The shift is in pixels of its 24 by 24 input, and
  /// is subtracted from a box.
  std::array<std::int32_t, kCalibrationEntries> calibrationDx;
  std::array<std::int32_t, kCalibrationEntries> calibrationDy;
  std::array<double, kCalibrationEntries> calibrationScale;
  std::array<double, 3 * 24 * 24> calibrationMean;
  std::array<double, 3 * 24 * 24> secondStageMean;
  std::array<double, 3 * 48 * 48> thirdStageMean;
  std::array<double, 3 * 12 * 12> firstStageMean;  ///< Applied by nothing: see CascadeStage::mean.
  std::string calibrationNetText;
  std::string firstStageNetText;
  std::string secondStageNetText;
  std::string thirdStageNetText;
};

}  // namespace oznalib

#endif  // OZNA_DETECTOR_CASCADE_DEFAULTS_H_
