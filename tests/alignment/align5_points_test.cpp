// Five landmarks of a face.

#include "alignment/align5_points.h"

#include <gtest/gtest.h>

#include <vector>

#include "alignment/align68_points.h"
#include "alignment/landmark_groups.h"
#include "tests/alignment/synthetic_model.h"

namespace {

using oznalib::placeLandmarks5;
using oznalib::placeLandmarks68;
using oznalib::StatusOk;
using oznalib::unloadModelSlot;
using Box = oznalib::Rectangle<float>;
using synthetic::ModelFile;
using synthetic::texturedImage;
using synthetic::view;

class Align5 : public testing::Test {
 protected:
  ~Align5() override { unloadModelSlot(); }

  static std::vector<float> place(const cv::Mat& image, const Box& rect) {
    std::vector<float> points = {1, 2, 3};
    EXPECT_EQ(placeLandmarks68(view(image), rect, points), StatusOk);
    EXPECT_EQ(points.size(), 136U);
    return points;
  }
};

TEST_F(Align5, FivePointsAreAveragesOfThe68) {
  ASSERT_EQ(ModelFile(synthetic::randomModel(68, {1, 0}, 0.002F, 4)).load(), StatusOk);
  const cv::Mat image = texturedImage(400, 400, 3, 2);
  const Box rect = {120, 120, 250, 260};
  const std::vector<float> all = place(image, rect);
  std::vector<float> five(77, 5.0F);
  EXPECT_EQ(placeLandmarks5(view(image), rect, five), StatusOk);
  ASSERT_EQ(five.size(), 10U);
  const std::size_t single[] = {30, 48, 54};
  for (std::size_t i = 0; i < 3; ++i) {
    EXPECT_EQ(five[4 + 2 * i], all[2 * single[i]]);
    EXPECT_EQ(five[5 + 2 * i], all[2 * single[i] + 1]);
  }
  float x = 0;
  float y = 0;
  for (std::size_t i = 36; i <= 41; ++i) {
    x += all[2 * i];
    y += all[2 * i + 1];
  }
  EXPECT_EQ(five[0], x / 6.0F);
  EXPECT_EQ(five[1], y / 6.0F);
}

TEST_F(Align5, FivePointsWithoutAModelAreZero) {
  std::vector<float> five;
  EXPECT_EQ(placeLandmarks5(view(texturedImage(50, 50, 3, 1)), {0, 0, 40, 40}, five), StatusOk);
  EXPECT_EQ(five, std::vector<float>(10, 0.0F));
}

}  // namespace
