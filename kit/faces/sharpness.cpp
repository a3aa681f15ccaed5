// Sharpness by blurring once more.

#include "kit/faces/sharpness.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <optional>

#include "kit/faces/face_square.h"
#include "kit/faces/resampling.h"

namespace kit {
namespace {

constexpr int kSide = 96;  // Pixels.
constexpr int kReach = 4;  // Of the blur, to each side: 9 pixels in all.

using Grey = std::vector<float>;

float at(const Grey& grey, int x, int y) {
  return grey[static_cast<std::size_t>(y) * kSide + static_cast<std::size_t>(x)];
}

// The share of the differences along x that a blur along x takes away.
float lostShare(const Grey& grey) {
  double all = 0;
  double lost = 0;
  for (int y = 0; y < kSide; ++y) {
    for (int x = kReach + 1; x < kSide - kReach; ++x) {
      const float difference = std::abs(at(grey, x, y) - at(grey, x - 1, y));
      // Two neighbouring means of nine pixels have all but one pixel each in common.
      const float blurred =
          std::abs(at(grey, x + kReach, y) - at(grey, x - 1 - kReach, y)) / (2 * kReach + 1);
      all += difference;
      lost += std::max(0.0F, difference - blurred);
    }
  }
  // Rounding alone is no difference.
  return all > kSide * kSide * 1e-3 ? static_cast<float>(lost / all) : 0.0F;
}

Grey transposed(const Grey& grey) {
  Grey other(grey.size());
  for (int y = 0; y < kSide; ++y) {
    for (int x = 0; x < kSide; ++x) {
      other[static_cast<std::size_t>(x) * kSide + static_cast<std::size_t>(y)] = at(grey, x, y);
    }
  }
  return other;
}

}  // namespace

float faceSharpness(const Picture& picture, const std::vector<float>& points) {
  const cv::Size size(kSide, kSide);
  const std::optional<Similarity> map = chipMap(points, size, /*padding=*/0);
  if (!map) {
    return std::numeric_limits<float>::quiet_NaN();
  }
  Border border;
  border.mirrors = true;
  Grey grey;
  grey.reserve(kSide * kSide);
  resample(picture, size, inverse(*map), border, [&](int /*y*/, const Colour* row) {
    for (int x = 0; x < kSide; ++x) {
      grey.push_back(0.299F * row[x][0] + 0.587F * row[x][1] + 0.114F * row[x][2]);
    }
  });
  // A blur along one way, as of a moved camera, leaves the details along the other.
  return std::min(lostShare(grey), lostShare(transposed(grey)));
}

}  // namespace kit
