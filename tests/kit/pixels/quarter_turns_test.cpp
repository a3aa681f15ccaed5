// Coordinates in pictures turned by quarters.

#include "kit/pixels/quarter_turns.h"

#include <gtest/gtest.h>

#include "kit/pixels/picture.h"
#include "tests/kit/pixels/stored_picture.h"

namespace {

using Rect = oznalib::Rectangle<float>;

void expectRect(const Rect& found, const Rect& expected) {
  EXPECT_EQ(found.left, expected.left);
  EXPECT_EQ(found.top, expected.top);
  EXPECT_EQ(found.right, expected.right);
  EXPECT_EQ(found.bottom, expected.bottom);
}

TEST(QuarterTurns, MoveRectanglesAlongWithThePicture) {
  // In a picture of 100 by 60: 10 from the left, 20 from the top, 50 from the right, 5 from the
  // bottom. After a quarter turn clockwise the left is the top, the bottom is the left.
  const Rect rect = {10, 20, 50, 55};
  const cv::Size size(100, 60);
  expectRect(kit::turnedRect(rect, size, 0), rect);
  expectRect(kit::turnedRect(rect, size, 1), {5, 10, 40, 50});
  expectRect(kit::turnedRect(rect, size, 2), {50, 5, 90, 40});
  expectRect(kit::turnedRect(rect, size, 3), {20, 50, 55, 90});
  for (int turns = -4; turns <= 4; ++turns) {
    expectRect(kit::unturnedRect(kit::turnedRect(rect, size, turns), size, turns), rect);
  }
}

TEST(QuarterTurns, FindThePixelThatAPointStandsOn) {
  const cv::Mat rgb = kit_test::coloured(9, 5, OZNAKIT_RGB);
  const kit_test::StoredPicture stored(rgb, OZNAKIT_RGB, 1, 0, /*upwards=*/false);
  const kit::Picture picture(stored.image());
  for (int turns = -1; turns <= 4; ++turns) {
    const kit::Picture turned = picture.turned(turns);
    for (int y = 0; y < turned.size().height; ++y) {
      for (int x = 0; x < turned.size().width; ++x) {
        const cv::Point2f back = kit::unturnedPoint(
            cv::Point2f(static_cast<float>(x), static_cast<float>(y)), picture.size(), turns);
        EXPECT_EQ(picture.pixel(static_cast<int>(back.x), static_cast<int>(back.y)),
                  turned.pixel(x, y));
      }
    }
  }
}

}  // namespace
