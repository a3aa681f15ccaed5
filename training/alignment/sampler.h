/// Turns annotated photographs into the scaled grey pictures that alignment regresses on.

#ifndef OZNA_TRAINING_ALIGNMENT_SAMPLER_H_
#define OZNA_TRAINING_ALIGNMENT_SAMPLER_H_

#include <cstdint>
#include <opencv2/core.hpp>
#include <string>
#include <vector>

#include "training/alignment/dataset.h"
#include "training/alignment/rectangles.h"

namespace alignment_training {

/// One face under one rectangle, as fitShape sees it after its scaling.
struct AlignmentSample {
  cv::Mat grey;       // 8-bit, scaled so that box has the model's face width.
  cv::Rect box;       // Face box in pixels of grey.
  Shape truth;        // In pixels of grey.
  float units_x = 1;  // Pixels of grey in one column and
  float units_y = 1;  // one row of the photograph.
  int face = 0;       // Index into the list of faces.
  bool manual = false;
  bool mirrored = false;
};

/// What is made of each face.
struct SamplerOptions {
  std::uint64_t seed = 1;
  int face_width = 80;            // Pixels.
  int manual_variants = 13;       // Samples from each face placed by hand; half of them mirrored.
  int tracked_variants = 4;       // Samples from each tracked face.
  RectNoise noise;                // Of rectangles by convention.
  float box_share = 0.5F;         // Share of samples that start from a detector box, where known.
  float rotation_degrees = 6.0F;  // Standard deviation of turns in the image plane.
  float rotated_share = 0.4F;     // Share of samples that are turned.
  float cropped_share = 0.04F;    // Share of samples whose photograph ends beside the face.
  float gamma_spread = 0.25F;     // Standard deviation of the logarithm of a gamma curve.
};

/// A photograph with the points and boxes that belong to it.
struct Scene {
  cv::Mat rgb;
  Shape points;
  std::vector<FaceRect> boxes;
};

/// Cuts the photograph close to the face, as portraits of user accounts are: each side keeps up to
/// 0.4 times the extent of the points beyond them, where the photograph has that much. The
/// detector finds no such face, since it needs room around it, so no box is left.
Scene cropScene(const Scene& scene, std::mt19937_64& random);

/// Cuts, greys and scales a face with the library's own code. `rgb` has packed rows.
/// Throws cv::Exception for a rectangle outside the photograph.
AlignmentSample makeSample(const cv::Mat& rgb, const FaceRect& rect, const Shape& points,
                           int face_width);

/// All variants of all faces of one folder. Variants of face i depend on the seed and on i alone.
/// Works on `threads` threads; the result does not depend on their number.
std::vector<AlignmentSample> makeTrainingSamples(const std::string& folder,
                                                 const std::vector<LandmarkFace>& faces,
                                                 const BoxTable& boxes,
                                                 const SamplerOptions& options, int threads);

/// One sample per face, as it stands: the detector's box where it found the face, otherwise a
/// jittered square. Seeded as evaluationRect.
std::vector<AlignmentSample> makeMeasuringSamples(const std::string& folder,
                                                  const std::vector<LandmarkFace>& faces,
                                                  const BoxTable& boxes, const RectNoise& noise,
                                                  int face_width, std::uint64_t seed, int threads);

/// A rectangle to measure a face with.
struct MeasuringRect {
  FaceRect rect;
  bool is_detected = false;  // Whether it is a box of the detector.
};

/// The rectangle to measure face number `index` with: the detector's box that fits best, otherwise
/// the convention's square, jittered from the seed and the index.
MeasuringRect evaluationRect(const std::vector<FaceRect>& boxes, const LandmarkFace& face,
                             const RectNoise& noise, std::uint64_t seed, int index);

/// A generator whose stream depends on the seed and the index alone.
std::mt19937_64 generatorFor(std::uint64_t seed, std::uint64_t index);

}  // namespace alignment_training

#endif  // OZNA_TRAINING_ALIGNMENT_SAMPLER_H_
