// Quality from what the nine fits of a face say.

#include "kit/faces/point_quality.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <vector>

namespace kit {
namespace {

// The spread separates fits that found no face from those that did; the misfit finds the ones that
// agree on something that is not a face. Their product orders faces by their error better than
// either alone. At this product the quality is a half: eight in ten faces in boxes of a detector
// are better.
constexpr float kHalfBad = 0.003F;

double sizeOf(const std::vector<float>& points) {
  const double count = static_cast<double>(points.size()) / 2;
  double x = 0;
  double y = 0;
  double squares = 0;
  for (std::size_t i = 0; i + 1 < points.size(); i += 2) {
    x += points[i];
    y += points[i + 1];
    squares += double{points[i]} * points[i] + double{points[i + 1]} * points[i + 1];
  }
  return std::sqrt(std::max(0.0, squares / count - (x * x + y * y) / (count * count)));
}

}  // namespace

float fitSpread(const oznalib::Placement68& placement) {
  const std::vector<float>& points = placement.points;
  double sum = 0;
  double count = 0;
  for (const std::vector<float>& outcome : placement.outcomes) {
    for (std::size_t i = 0; i + 1 < points.size(); i += 2) {
      sum += std::hypot(double{outcome[i]} - points[i], double{outcome[i + 1]} - points[i + 1]);
      ++count;
    }
  }
  return static_cast<float>(sum / count / sizeOf(points));
}

float pointQuality(float spread, float misfit) {
  const float badness = spread * misfit;
  return badness >= 0 ? 1 / (1 + badness / kHalfBad) : 0;  // 0 for NaN.
}

}  // namespace kit
