// Openness of eyes from their six landmarks.

#include "kit/faces/eye_openness.h"

#include <cmath>
#include <limits>

namespace kit {

float eyeOpenness(const std::vector<float>& points, std::size_t eye) {
  const auto distance = [&](std::size_t a, std::size_t b) {
    return std::hypot(points[2 * (eye + a)] - points[2 * (eye + b)],
                      points[2 * (eye + a) + 1] - points[2 * (eye + b) + 1]);
  };
  const float width = distance(0, 3);
  return width > 0 ? (distance(1, 5) + distance(2, 4)) / (2 * width)
                   : std::numeric_limits<float>::quiet_NaN();
}

}  // namespace kit
