// Landmarks from the region around a face.

#include "kit/faces/placement.h"

#include <algorithm>
#include <cmath>
#include <new>
#include <opencv2/core.hpp>
#include <vector>

namespace kit {
namespace {

constexpr float kFarthest = 1e6F;  // In pixels. What a fit takes farther than that has no place.

// A quarter of a face is no face, and the farther a box reaches outside, the wider a border the
// alignment puts around its image.
constexpr float kLeastShareInside = 0.25F;

bool liesInside(float begin, float end, int length) {
  const float inside = std::min(end, static_cast<float>(length)) - std::max(begin, 0.0F);
  return inside >= kLeastShareInside * (end - begin);
}

bool isNear(const std::vector<float>& points) {
  return std::all_of(points.begin(), points.end(),
                     [](float coordinate) { return std::abs(coordinate) < kFarthest; });
}

}  // namespace

oznalib::Placement68 placeLandmarks(const oznalib::SDMModel& model, const Picture& picture,
                                    const oznalib::Rectangle<float>& rect) {
  const cv::Size size = picture.size();
  if (!liesInside(rect.left, rect.right, size.width) ||
      !liesInside(rect.top, rect.bottom, size.height)) {
    return {};
  }
  const oznalib::AlignmentCut cut = oznalib::planAlignmentCut(size, rect);
  const cv::Rect whole(cv::Point(), size);
  if (cut.region.width <= 0 || cut.region.height <= 0 || (cut.region & whole) != cut.region) {
    return {};
  }
  oznalib::Placement68 placement;
  try {
    placement =
        oznalib::placeInWindow(model, oznalib::scaleAlignmentWindow(picture.rgb(cut.region), cut));
  } catch (const cv::Exception& error) {
    if (error.code == cv::Error::StsNoMem) {
      throw std::bad_alloc();
    }
    // A face of which so little lies in the picture that its window comes to less than a pixel
    // where the face is as wide as the model wants it.
    return {};
  }
  return isNear(placement.points) ? placement : oznalib::Placement68();
}

}  // namespace kit
