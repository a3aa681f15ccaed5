/// DetectorImpl: what a Detector handle refers to, a cascade of networks with their tables.

#ifndef OZNA_DETECTOR_DETECTOR_IMPL_H_
#define OZNA_DETECTOR_DETECTOR_IMPL_H_

#include <boost/shared_ptr.hpp>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "caffe/net.hpp"

namespace oznalib {

/// Name of the blob in which every network of a cascade leaves its probabilities.
extern const std::string probsBlobName;

/// One output of the calibration network: how a crop lies about its face, where it is the best
/// match.
struct OffsetScale {
  /// How far the crop lies to the right of the face's box, in pixels of the network's input: it is
  /// subtracted from the box.
  std::int32_t dx = 0;
  std::int32_t dy = 0;  ///< How far it lies below, likewise.
  float scale = 1;      ///< Size of the crop over the size of the face's box.
};

/// One network of a cascade with what belongs to it.
struct CascadeStage {
  boost::shared_ptr<caffe::Net<float>> net;  ///< Null until loaded.
  std::vector<OffsetScale> offsets;          ///< Of the calibration stage only.
  /// Subtracted from the network's input, in its order: plane, row, column. Empty for the first
  /// stage, whose network corrects its first layer's output in place of its input.
  std::vector<float> mean;
  /// Of the calibration stage: a table entry that would make a box smaller leaves the box alone.
  std::int32_t least_side = 0;
  float threshold = 0;  ///< A candidate stays if its score is above. Unused by calibration.
  /// Called before each level of the first stage and each box of a later one, in the thread of the
  /// search, which an exception of it ends. Empty as a rule.
  std::function<void()> between_units;
};

/// A cascade, in one of four states: nothing, stages, stages and calibration, all loaded.
///
/// Threads  A detection writes into the networks: one thread at a time.
class DetectorImpl {
 public:
  DetectorImpl() = default;
  ~DetectorImpl();
  DetectorImpl(const DetectorImpl&) = delete;
  DetectorImpl& operator=(const DetectorImpl&) = delete;

  std::vector<CascadeStage> stages;  ///< In the order of their run; the first is the dense one.
  CascadeStage calibration;
  bool loaded = false;  ///< The whole load finished. A detection tests only this.
  bool stagesLoaded = false;
  bool calibrationLoaded = false;
};

}  // namespace oznalib

#endif  // OZNA_DETECTOR_DETECTOR_IMPL_H_
