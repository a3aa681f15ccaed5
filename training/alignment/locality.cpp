// The parts of a face and distances between landmarks.

#include "training/alignment/locality.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <numeric>

namespace alignment_training {
namespace {

constexpr float kFarthest = 40.0F;

LandmarkGroup range(int first, int last) {
  LandmarkGroup landmarks(last - first + 1);
  std::iota(landmarks.begin(), landmarks.end(), first);
  return landmarks;
}

float distance(const Shape& shape, std::size_t one, std::size_t other) {
  return std::hypot(shape[2 * one] - shape[2 * other], shape[2 * one + 1] - shape[2 * other + 1]);
}

}  // namespace

const std::vector<LandmarkGroup>& landmarkParts() {
  static const std::vector<LandmarkGroup> kParts{
      range(0, 5),   range(6, 10),  range(11, 16),  // Jaw: one side, the chin, the other side.
      range(17, 21), range(22, 26),                 // Brows.
      range(27, 35),                                // Nose.
      range(36, 41), range(42, 47),                 // Eyes.
      range(48, 67)};                               // Mouth.
  return kParts;
}

std::vector<float> ridgeFactors(const LandmarkGroup& part, const Shape& mean_shape, float reach) {
  std::vector<float> factors(kLandmarks, 1.0F);
  if (reach <= 0) return factors;
  const float unit = reach * outerEyeDistance(mean_shape);
  for (int landmark = 0; landmark < kLandmarks; ++landmark) {
    float least = std::numeric_limits<float>::max();
    for (const int other : part) least = std::min(least, distance(mean_shape, landmark, other));
    const float away = least / unit;
    const float factor = 1.0F + away * away;
    factors[landmark] = factor > kFarthest ? std::numeric_limits<float>::infinity() : factor;
  }
  return factors;
}

}  // namespace alignment_training
