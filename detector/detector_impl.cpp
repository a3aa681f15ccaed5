// DetectorImpl: the order in which a cascade is taken down.

#include "detector/detector_impl.h"

namespace oznalib {

const std::string probsBlobName = "probs";

DetectorImpl::~DetectorImpl() {
  if (!loaded) {
    return;  // What a load that failed left behind goes with the members.
  }
  if (calibrationLoaded) {
    calibration = CascadeStage();
    calibrationLoaded = false;
  }
  if (stagesLoaded) {
    stages.clear();
    stagesLoaded = false;
  }
  loaded = false;
}

}  // namespace oznalib
