// The pictures that get a margin.

#include "kit/search/auto_margin.h"

#include <algorithm>

namespace kit {
namespace {

constexpr int kLongestSide = 640;   // In pixels.
constexpr double kMostRatio = 1.5;  // Of the sides.

}  // namespace

bool isPortraitLike(const cv::Size& picture) {
  const int longer = std::max(picture.width, picture.height);
  const int shorter = std::min(picture.width, picture.height);
  return longer <= kLongestSide && longer <= kMostRatio * shorter;
}

}  // namespace kit
