// Cuts training windows out of views, where the library itself would look.

#ifndef OZNA_TRAINING_DETECTOR_MINER_H_
#define OZNA_TRAINING_DETECTOR_MINER_H_

#include <cstdint>
#include <vector>

#include "detector/detector_impl.h"
#include "ozna.h"
#include "training/detector/views.h"
#include "training/detector/window_file.h"

namespace detector_training {

/// The search that the networks are trained for: the defaults of the program.
constexpr oznalib::CascadeParameter kSearch{
    /*maxUpscale=*/2.0F,       /*maxImageSide=*/640,
    /*minFaceFraction=*/0.05F, /*pyramidLevels=*/12,
    /*pyramidFactor=*/1.26F,   /*windowSize=*/13};

/// Whose windows: 13 by 13 pixels of a level image for the first network; for the others a box cut
/// from the view. Calibration sees the boxes of the second network.
enum class Target { First, Second, Third };

/// Side of the windows in pixels.
int windowSide(Target target);

struct MinerOptions {
  Target target = Target::First;
  float firstFloor = 0.3F;   ///< Boxes that the first network scores above this go on ...
  float secondFloor = 0.3F;  ///< ... and of those the ones that the second scores above this.
  bool scoreTarget =
      false;             ///< Let the target network itself judge each window, and prefer hard ones.
  float keepAbove = -1;  ///< Negatives with such a score at most are dropped.
  int negatives = 100;   ///< Most windows a view that lie on no face.
  int jittered = 0;      ///< Boxes around each counted face, moved and scaled at random.
  std::uint64_t seed = 1;
};

/// The windows of one view.
///
/// Windows that lie on a face (overlap at least 0.3; for the third network 0.15) are all kept, those that lie on an ignored
/// face are not, and of the others a random choice, or the ones with the highest scores.
///
/// detector  All networks that the target's windows depend on; written. One thread each.
std::vector<Window> mineView(oznalib::DetectorImpl& detector, const View& view,
                             const MinerOptions& options);

}  // namespace detector_training

#endif  // OZNA_TRAINING_DETECTOR_MINER_H_
