/// A cascade whose files have been checked, from which any number of detectors can be made.

#ifndef OZNA_KIT_MODELS_CASCADE_H_
#define OZNA_KIT_MODELS_CASCADE_H_

#include <memory>
#include <vector>

#include "detector/detector_impl.h"
#include "kit/models/checked_network.h"
#include "kit/models/model_source.h"

namespace kit {

/// Threads  Any number may use one at once.
class Cascade {
 public:
  /// Reads and checks the stage list and every file that it stands for.
  ///
  /// Errors  Error with OZNAKIT_NO_MODEL or OZNAKIT_BAD_MODEL; std::bad_alloc.
  explicit Cascade(const ModelSource& source);

  /// A detector of its own for one search at a time; the weights are held once.
  ///
  /// Errors  std::bad_alloc.
  /// Memory  Next to nothing until it is used, then some 8 MB.
  std::unique_ptr<oznalib::DetectorImpl> makeDetector() const;

  int stageCount() const { return static_cast<int>(networks_.size()) - 1; }
  /// Declared input of the first network: width and height.
  const Shape& scanInput() const { return networks_[0].input(); }

 private:
  std::vector<CheckedNetwork> networks_;     // The stages, then the calibration; without weights.
  std::vector<oznalib::CascadeStage> rest_;  // Means, thresholds and the table, without networks.
  std::unique_ptr<oznalib::DetectorImpl> first_;  // Holds the weights; no search uses it.
};

}  // namespace kit

#endif  // OZNA_KIT_MODELS_CASCADE_H_
