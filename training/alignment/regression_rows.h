/// The rows of a stage's regression: one sample from one starting shape, with its descriptors.

#ifndef OZNA_TRAINING_ALIGNMENT_REGRESSION_ROWS_H_
#define OZNA_TRAINING_ALIGNMENT_REGRESSION_ROWS_H_

#include <cstddef>
#include <cstdint>
#include <vector>

#include "training/alignment/sampler.h"

namespace alignment_training {

constexpr int kStarts = 9;                    // Starting shapes of a fit.
constexpr int kFeatures = kLandmarks * 128;   // Descriptor bytes of a row.
constexpr float kFeatureScale = 0.00390625F;  // What a byte counts in the regression: 1 / 256.

/// Rows of a set of samples. The rows of one sample follow each other. Shapes are in pixels of the
/// sample's grey picture after the border that alignment puts around it.
struct RegressionRows {
  std::vector<int> sample;             // Index of each row's sample.
  std::vector<int> first_row;          // Of each sample; one more at the end.
  std::vector<float> shapes;           // kCoordinates per row.
  std::vector<float> truths;           // kCoordinates per sample, with the border.
  std::vector<std::uint8_t> features;  // kFeatures per row, filled by describeRows.

  std::size_t count() const { return sample.size(); }
  float* shape(std::size_t row) { return shapes.data() + row * kCoordinates; }
  const float* shape(std::size_t row) const { return shapes.data() + row * kCoordinates; }
  const float* truth(std::size_t row) const {
    return truths.data() + static_cast<std::size_t>(sample[row]) * kCoordinates;
  }
  std::uint8_t* feature(std::size_t row) { return features.data() + row * kFeatures; }
  const std::uint8_t* feature(std::size_t row) const { return features.data() + row * kFeatures; }
};

/// Mean of the true shapes in units of the face box; samples of faces placed by hand count
/// `manual_weight` times.
Shape meanUnitShape(const std::vector<AlignmentSample>& samples, float manual_weight);

/// Sets up `starts` rows per sample: all nine starting shapes in their order if starts is 9,
/// otherwise so many drawn from the nine without repetition, by seed and sample index.
RegressionRows makeRows(const std::vector<AlignmentSample>& samples, const Shape& mean_shape,
                        int starts, std::uint64_t seed);

/// Fills rows.features with the descriptors at each row's shape, as alignment takes them.
void describeRows(const std::vector<AlignmentSample>& samples, const Shape& mean_shape, int level,
                  int levels_per_octave, int threads, RegressionRows& rows);

/// Normalised error of a shape against a sample's truth, measured in pixels of the photograph.
float shapeError(const AlignmentSample& sample, const float* shape, const float* truth);

/// The median outcome of a sample's rows, coordinate by coordinate, the upper one of an even count.
Shape medianShape(const RegressionRows& rows, int sample);

}  // namespace alignment_training

#endif  // OZNA_TRAINING_ALIGNMENT_REGRESSION_ROWS_H_
