// Intersection over union, and the best of several.

#include "training/detector/mine/overlap.h"

#include <algorithm>
#include <cstddef>

namespace detector_training {

double overlap(const oznalib::FaceCandidate& box, const FaceSquare& face) {
  const double half = 0.5 * face.side;
  const double width =
      std::min<double>(box.x + box.width, face.cx + half) - std::max<double>(box.x, face.cx - half);
  const double height = std::min<double>(box.y + box.height, face.cy + half) -
                        std::max<double>(box.y, face.cy - half);
  if (width <= 0 || height <= 0) return 0;
  const double shared = width * height;
  const double box_area = static_cast<double>(box.width) * box.height;
  return shared / (box_area + face.side * face.side - shared);
}

BestFace bestFace(const oznalib::FaceCandidate& box, const std::vector<FaceSquare>& faces,
                  bool ignored) {
  BestFace best;
  for (std::size_t i = 0; i < faces.size(); ++i) {
    if (faces[i].ignore != ignored) continue;
    const double value = overlap(box, faces[i]);
    if (value > best.overlap) best = {static_cast<int>(i), value};
  }
  return best;
}

}  // namespace detector_training
