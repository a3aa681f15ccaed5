// Which of the 68 landmarks make up each of the 5, and their means.

#include "alignment/landmark_groups.h"

#include <cstddef>

namespace oznalib {

const std::vector<std::vector<std::int32_t>> landmarkGroups = {
    {36, 37, 38, 39, 40, 41}, {42, 43, 44, 45, 46, 47}, {30}, {48}, {54}};

std::vector<float> groupCentres(const std::vector<float>& landmarks) {
  std::vector<float> centres;
  centres.reserve(2 * landmarkGroups.size());
  for (const std::vector<std::int32_t>& group : landmarkGroups) {
    float x = 0.0F;
    float y = 0.0F;
    for (const std::int32_t index : group) {
      x += landmarks[2 * static_cast<std::size_t>(index)];
      y += landmarks[2 * static_cast<std::size_t>(index) + 1];
    }
    centres.push_back(x / static_cast<float>(group.size()));
    centres.push_back(y / static_cast<float>(group.size()));
  }
  return centres;
}

}  // namespace oznalib
