/// Cuts training windows out of views, where the library itself would look.

#ifndef OZNA_TRAINING_DETECTOR_MINE_MINER_H_
#define OZNA_TRAINING_DETECTOR_MINE_MINER_H_

#include <cstdint>
#include <vector>

#include "detector/detector_impl.h"
#include "ozna.h"
#include "training/detector/mine/views.h"
#include "training/detector/mine/window_file.h"

namespace detector_training {

/// The stage that scans, whose windows are 13 by 13 pixels of a level image; the windows of the
/// others are boxes cut from the view. Calibration sees the boxes of all later stages but the last.
constexpr int kScan = 0;

struct MinerOptions {
  int target = kScan;  ///< The stage whose windows are cut.
  int side = 0;        ///< Of the windows in pixels; 0 for that of the stage's input.
  /// Least scores, by stage: boxes that the scan scores above the first go on, of those the ones
  /// that the second stage scores above the second, and so on. Stages without an entry keep to
  /// their own thresholds.
  std::vector<float> floors;
  /// Let the target network itself judge each window, and prefer hard ones.
  bool score_target = false;
  float keep_above = -1;  ///< Negatives with such a score at most are dropped.
  int negatives = 100;    ///< Most windows per view that lie on no face.
  int jittered = 0;       ///< Boxes around each counted face, moved and scaled at random.
  std::uint64_t seed = 1;
};

/// Side in pixels of the windows that these options ask for.
int windowSide(const oznalib::DetectorImpl& detector, const MinerOptions& options);

/// The windows of one view.
///
/// Windows that lie on a face (overlap at least 0.3; from the third stage on 0.15) are all kept,
/// those that lie on an ignored face are not, and of the others a random choice, or the ones with
/// the highest scores.
///
/// detector  All networks that the target's windows depend on; written. One thread each.
std::vector<Window> mineView(oznalib::DetectorImpl& detector, const View& view,
                             const MinerOptions& options);

}  // namespace detector_training

#endif  // OZNA_TRAINING_DETECTOR_MINE_MINER_H_
