// Placement of 5 landmarks, as averages of the 68.

#include "alignment/align5_points.h"

#include <algorithm>

#include "alignment/align68_points.h"
#include "alignment/landmark_groups.h"

namespace oznalib {

Status placeLandmarks5(const Image& image, const Rectangle<float>& rect,
                       std::vector<float>& points) {
  std::vector<float> landmarks;
  placeLandmarks68(image, rect, landmarks);
  points.resize(10);
  const std::vector<float> centres = groupCentres(landmarks);
  std::copy_n(centres.begin(), points.size(), points.begin());
  return StatusOk;
}

}  // namespace oznalib
