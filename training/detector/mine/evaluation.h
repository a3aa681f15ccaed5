/// Measures a cascade on annotated photographs.

#ifndef OZNA_TRAINING_DETECTOR_MINE_EVALUATION_H_
#define OZNA_TRAINING_DETECTOR_MINE_EVALUATION_H_

#include <opencv2/core.hpp>
#include <string>
#include <vector>

#include "detector/face_candidate.h"
#include "training/detector/mine/photographs.h"

namespace detector_training {

/// A detection matches a face from this intersection over union on.
constexpr double kMatchOverlap = 0.45;
/// A detection that overlaps an ignored or too small face by this counts neither way. Less than for
/// a match, since such faces are annotated loosely.
constexpr double kUncountedOverlap = 0.3;
/// Faces count from this share of the photograph's longer side on.
constexpr double kLeastSide = 0.05;

/// What became of a face that counts.
struct FaceResult {
  int photograph = 0;
  FaceSquare face;
  double relative_side = 0;  ///< Side over the photograph's longer side.
  double brightness = 0;     ///< Mean grey level of the square, 0 to 255.
  bool grey_photograph = false;
  float score = -1;    ///< Of the best detection that matches; -1 without one.
  double overlap = 0;  ///< Of that detection.
  /// By stage, whether a box that it judges would match; for the first, a window of the dense scan.
  std::vector<bool> reached;
};

/// A detection on nothing that is annotated.
struct WrongBox {
  int photograph = 0;
  oznalib::FaceCandidate box;
};

/// All that was measured of a cascade. Scores are those of the last network, from 0 on.
struct Measurement {
  std::string name;
  int photographs = 0;
  float threshold = 0;  ///< The built-in one of the last network.
  std::vector<FaceResult> faces;
  std::vector<WrongBox> wrong;  ///< By descending score.
  /// Sums over the photographs: by stage the windows or boxes that it judges, and the boxes that the
  /// last suppression sees.
  std::vector<double> judged;
  double passed = 0;
  double milliseconds = 0;  ///< Processor time of all detections.
};

/// Runs the default search over all photographs, with the last network's threshold taken away, so
/// that every operating point can be read off. Second boxes on a face, and boxes on faces that are
/// ignored or too small, count neither way. Throws std::runtime_error where `models` has
/// no cascade of at least two stages.
Measurement measure(const std::string& models, const std::vector<Photograph>& photographs,
                    int threads);

/// Found and wrong at one operating point.
struct OperatingPoint {
  float threshold = 0;  ///< Scores above it count.
  double recall = 0;
  double wrong_each = 0;    ///< False positives per photograph.
  double mean_overlap = 0;  ///< Of the matches.
};

/// Found boxes by their scores, whether right or wrong: what a score is worth.
struct Reliability {
  double mean_score = 0;  ///< Of the boxes; 0 without any.
  double share = 0;       ///< Of them that are faces; 0 without any.
  int boxes = 0;
};

/// The boxes with scores from `from` on and below `to`, or up to 1 where `to` is 1. Boxes that
/// count neither way do not count here.
Reliability reliabilityOf(const Measurement& measurement, float from, float to);

OperatingPoint atThreshold(const Measurement& measurement, float threshold);

/// The lowest threshold that keeps to so many false positives per photograph.
OperatingPoint atWrongEach(const Measurement& measurement, double wrong_each);

}  // namespace detector_training

#endif  // OZNA_TRAINING_DETECTOR_MINE_EVALUATION_H_
