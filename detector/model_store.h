/// The model store: from a model directory, or the built-in tables, to a cascade that can run.

#ifndef OZNA_DETECTOR_MODEL_STORE_H_
#define OZNA_DETECTOR_MODEL_STORE_H_

#include <boost/thread/mutex.hpp>
#include <functional>
#include <vector>

#include "detector/detector_impl.h"
#include "ozna.h"

namespace oznalib {

/// The one lock of the process: held by every load for as long as it reads.
///
/// It is never destroyed, so that an exit in the middle of a load finds it alive.
boost::mutex& loadLock();

/// Fills a fresh DetectorImpl from the files of a model directory.
///
/// The stage list is the text file cascadeRoot + stageListName: a stage directory and a threshold
/// per line, the dense stage first; lines that begin with "#" are skipped. A threshold that cannot
/// be read is 0. A stage directory is cascadeRoot + its name and holds, for the first stage,
/// "prototxt-full" and "proto-full", for a later one "prototxt-deploy", "proto" and "mean". The
/// calibration directory, cascadeRoot + "cascades/x32Net-x32-3Scales-200/", holds what a later
/// stage does and "offsets-scales". Text is read in the classic locale, whatever the host has set.
///
/// Returns  StatusOk with loaded set. StatusLoadFailed if the list names no stage: nothing else was
///          read then.
/// Errors   A definition or weight file that is missing or malformed ends the process, as does a
///          definition of a network that cannot serve a stage: the first input must be 1 by 3
///          planes, and the blob "probs" must hold two planes in the dense stage and two values in
///          any other and in the calibration. A failed allocation leaves as std::bad_alloc, with
///          the lock released and what was loaded until then in the detector. A missing "mean" or
///          "offsets-scales" leaves the vector empty; see stage_scoring.h for what follows.
/// Threads  Any number, one at a time: takes loadLock.
Status loadFromFiles(const DetectorParams& params, DetectorImpl& detector);

/// Fills a fresh DetectorImpl from the built-in tables; the weights alone are read from files, at
/// the paths of CascadeDefaults. Otherwise as loadFromFiles.
Status loadBuiltIn(DetectorImpl& detector);

/// What one network of a cascade is made of, in memory.
struct NetworkContent {
  const caffe::NetParameter* definition = nullptr;  ///< In the present layout. Not owned.
  /// Gives weights for every layer of the definition that has some: a message of its own, or the
  /// one that it is handed, which is freed when the network is built.
  std::function<const caffe::NetParameter&(caffe::NetParameter&)> weights;
  const CascadeStage* rest = nullptr;  ///< Its offsets, mean and threshold are copied. Not owned.
};

/// Fills a fresh DetectorImpl from memory.
///
/// stages       At least one, the dense one first; calibration as well.
/// Errors       What does not fit together ends the process, as in loadFromFiles: the caller has
///              checked it.
/// Threads      As loadFromFiles.
void loadFromMemory(const std::vector<NetworkContent>& stages, const NetworkContent& calibration,
                    DetectorImpl& detector);

}  // namespace oznalib

#endif  // OZNA_DETECTOR_MODEL_STORE_H_
