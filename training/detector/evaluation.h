// Measures a cascade on annotated photographs.

#ifndef OZNA_TRAINING_DETECTOR_EVALUATION_H_
#define OZNA_TRAINING_DETECTOR_EVALUATION_H_

#include <opencv2/core.hpp>
#include <string>
#include <vector>

#include "detector/face_candidate.h"
#include "training/detector/photographs.h"

namespace detector_training {

/// A detection matches a face from this intersection over union on.
constexpr double kMatchOverlap = 0.45;
/// A detection that overlaps an ignored or too small face by this counts neither way. Less than for a
/// match, since such faces are annotated loosely.
constexpr double kUncountedOverlap = 0.3;
/// Faces count from this share of the photograph's longer side on.
constexpr double kLeastSide = 0.05;

/// What became of a face that counts.
struct FaceResult {
  int photograph = 0;
  FaceSquare face;
  double relativeSide = 0;  ///< Side over the photograph's longer side.
  double brightness = 0;    ///< Mean grey level of the square, 0 to 255.
  bool greyPhotograph = false;
  float score = -1;            ///< Of the best detection that matches; -1 without one.
  double overlap = 0;          ///< Of that detection.
  bool scanned = false;        ///< A window of the dense scan would match,
  bool reachedSecond = false;  ///< a box that the second network judges,
  bool reachedThird = false;   ///< one that the third judges.
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
  double cells = 0;             ///< Sums over the photographs: windows of the dense scan,
  double intoSecond = 0;        ///< boxes that the second network judges,
  double intoThird = 0;         ///< that the third judges,
  double passed = 0;            ///< and that the last suppression sees.
  double milliseconds = 0;      ///< Of all detections, one thread each.
};

/// Runs the default search over all photographs, with the last network's threshold taken away, so
/// that every operating point can be read off. Second boxes on a face, and boxes on faces that are
/// ignored or too small, count neither way. Throws std::runtime_error where `models` has no cascade.
Measurement measure(const std::string& models, const std::vector<Photograph>& photographs,
                    int threads);

/// Found and wrong at one operating point.
struct OperatingPoint {
  float threshold = 0;  ///< Scores above it count.
  double recall = 0;
  double wrongEach = 0;    ///< False positives a photograph.
  double meanOverlap = 0;  ///< Of the matches.
};

OperatingPoint atThreshold(const Measurement& measurement, float threshold);

/// The lowest threshold that keeps to so many false positives a photograph.
OperatingPoint atWrongEach(const Measurement& measurement, double wrongEach);

}  // namespace detector_training

#endif  // OZNA_TRAINING_DETECTOR_EVALUATION_H_
