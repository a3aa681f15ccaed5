// Which of the 68 landmarks make up each of the 5.

#include "alignment/landmark_groups.h"

#include <gtest/gtest.h>

#include <vector>

#include "alignment/align5_points.h"
#include "alignment/align68_points.h"
#include "tests/alignment/synthetic_model.h"

namespace {

TEST(GroupCentres, AveragesEachGroup) {
  std::vector<float> landmarks(136);
  for (std::size_t i = 0; i < 68; ++i) {
    landmarks[2 * i] = static_cast<float>(i * i);
    landmarks[2 * i + 1] = -static_cast<float>(i);
  }
  const std::vector<float> centres = oznalib::groupCentres(landmarks);
  const auto mean = [](int first, int last, auto value) {
    float sum = 0;
    for (int i = first; i <= last; ++i) sum += value(i);
    return sum / static_cast<float>(last - first + 1);
  };
  const auto x = [](int i) { return static_cast<float>(i * i); };
  const auto y = [](int i) { return -static_cast<float>(i); };
  EXPECT_EQ(centres, (std::vector<float>{mean(36, 41, x), mean(36, 41, y), mean(42, 47, x),
                                         mean(42, 47, y), 900, -30, 48 * 48, -48, 54 * 54, -54}));
}

}  // namespace
