/// A cascade whose files have been checked, from which any number of detectors can be made.

#ifndef OZNA_KIT_MODELS_CASCADE_H_
#define OZNA_KIT_MODELS_CASCADE_H_

#include <memory>
#include <utility>
#include <vector>

#include "detector/detector_impl.h"
#include "detector/trained_network.h"
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

  /// The detector that opening made, for one search at a time; null after the first call.
  std::unique_ptr<oznalib::DetectorImpl> takeFirst() { return std::move(first_); }

  /// A further detector; the weights are held once.
  ///
  /// Errors  std::bad_alloc.
  /// Memory  Next to nothing until it is used, then some 8 MB.
  std::unique_ptr<oznalib::DetectorImpl> makeDetector() const;

  int stageCount() const { return static_cast<int>(networks_.size()) - 1; }
  /// Declared input of the first network: width and height.
  const Shape& scanInput() const { return networks_[0].input(); }
  /// The longest side of the inputs behind the first network, in pixels; 0 where there is none.
  int largestLaterInput() const;

 private:
  std::vector<CheckedNetwork> networks_;     // The stages, then the calibration; without weights.
  std::vector<oznalib::CascadeStage> rest_;  // Means, thresholds and the table, without networks.
  std::vector<std::vector<oznalib::TrainedLayer>> weights_;  // Of the networks.
  std::unique_ptr<oznalib::DetectorImpl> first_;
};

}  // namespace kit

#endif  // OZNA_KIT_MODELS_CASCADE_H_
