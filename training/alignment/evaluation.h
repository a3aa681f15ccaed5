/// Measures a landmark model, through the library's public calls, on annotated faces.

#ifndef OZNA_TRAINING_ALIGNMENT_EVALUATION_H_
#define OZNA_TRAINING_ALIGNMENT_EVALUATION_H_

#include <cstdint>
#include <string>
#include <vector>

#include "training/alignment/dataset.h"
#include "training/alignment/rectangles.h"

namespace alignment_training {

/// One face, aligned.
struct MeasuredFace {
  int face = 0;  // Index into the list of faces.
  bool manual = false;
  bool detected = false;  // Whether the rectangle is the detector's.
  FaceRect rect{};
  Shape points;       // As align68Points gives them.
  float yaw = 0;      // Degrees, of an average head in the pose of the true points.
  float error68 = 0;  // Mean point distance over the outer eye distance.
  float error5 = 0;   // Of align5Points against the centres of the same groups of true points.
};

/// Aligns every face of a folder with the model in the library's slot. Faces whose photograph has
/// no fitting box in `boxes` are aligned from a square by convention, jittered by seed and index.
std::vector<MeasuredFace> measureFaces(const std::string& folder,
                                       const std::vector<LandmarkFace>& faces,
                                       const BoxTable& boxes, const RectNoise& noise,
                                       std::uint64_t seed, int threads);

/// Figures of a set of faces.
struct ErrorSummary {
  int faces = 0;
  int detected = 0;
  double mean68 = 0;
  double median68 = 0;
  double mean5 = 0;
  double under8 = 0;   // Share of faces with an error of 68 points below 8 percent.
  double under10 = 0;  // Below 10 percent.
};
ErrorSummary summarise(const std::vector<MeasuredFace>& measured);

/// Share of faces with an error of 68 points below `limit`.
double shareUnder(const std::vector<MeasuredFace>& measured, double limit);

/// Those that are manual, or not.
std::vector<MeasuredFace> onlyQuality(const std::vector<MeasuredFace>& measured, bool manual);

/// Those whose yaw, to either side, is at least `least` and below `limit` degrees.
std::vector<MeasuredFace> onlyYaw(const std::vector<MeasuredFace>& measured, float least,
                                  float limit);

}  // namespace alignment_training

#endif  // OZNA_TRAINING_ALIGNMENT_EVALUATION_H_
