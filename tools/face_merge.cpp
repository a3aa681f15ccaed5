// Merging and choosing.

#include "tools/face_merge.h"

#include <algorithm>

namespace oznatool {
namespace {

constexpr float kMostOverlap = 0.25F;

float areaOf(const oznalib::Rectangle<float>& rect) {
  return std::max(0.0F, rect.right - rect.left) * std::max(0.0F, rect.bottom - rect.top);
}

float sharedArea(const oznalib::Rectangle<float>& a, const oznalib::Rectangle<float>& b) {
  return areaOf({std::max(a.left, b.left), std::max(a.top, b.top), std::min(a.right, b.right),
                 std::min(a.bottom, b.bottom)});
}

float scoreOf(const Face& face) { return face.score.value_or(1.0F); }

}  // namespace

void mergeFaces(std::vector<Face>* faces) {
  std::stable_sort(faces->begin(), faces->end(),
                   [](const Face& a, const Face& b) { return scoreOf(a) > scoreOf(b); });
  std::vector<Face> kept;
  for (Face& face : *faces) {
    const bool is_double = std::any_of(kept.begin(), kept.end(), [&](const Face& better) {
      const float smaller = std::min(areaOf(face.rect), areaOf(better.rect));
      return sharedArea(face.rect, better.rect) > kMostOverlap * smaller;
    });
    if (!is_double) kept.push_back(std::move(face));
  }
  *faces = std::move(kept);
}

void chooseFaces(Choice choice, std::vector<Face>* faces) {
  if (choice == Choice::kAll || faces->size() < 2) return;
  const auto chosen =
      std::max_element(faces->begin(), faces->end(), [choice](const Face& a, const Face& b) {
        return choice == Choice::kBest ? scoreOf(a) < scoreOf(b) : areaOf(a.rect) < areaOf(b.rect);
      });
  *faces = {std::move(*chosen)};
}

}  // namespace oznatool
