// Merging.

#include "kit/search/face_merge.h"

#include <algorithm>
#include <utility>

namespace kit {
namespace {

constexpr float kMostOverlap = 0.25F;

float areaOf(const oznalib::Rectangle<float>& rect) {
  return std::max(0.0F, rect.right - rect.left) * std::max(0.0F, rect.bottom - rect.top);
}

float sharedArea(const oznalib::Rectangle<float>& a, const oznalib::Rectangle<float>& b) {
  return areaOf({std::max(a.left, b.left), std::max(a.top, b.top), std::min(a.right, b.right),
                 std::min(a.bottom, b.bottom)});
}

}  // namespace

void mergeFaces(std::vector<Face>& faces) {
  std::stable_sort(faces.begin(), faces.end(),
                   [](const Face& a, const Face& b) { return a.score > b.score; });
  std::vector<Face> kept;
  for (Face& face : faces) {
    const bool is_double = std::any_of(kept.begin(), kept.end(), [&](const Face& better) {
      const float smaller = std::min(areaOf(face.rect), areaOf(better.rect));
      return sharedArea(face.rect, better.rect) > kMostOverlap * smaller;
    });
    if (!is_double) kept.push_back(std::move(face));
  }
  faces = std::move(kept);
}

}  // namespace kit
