// The eight ways in which a picture may be stored.

#include "kit/pixels/orientation.h"

#include <gtest/gtest.h>

#include <utility>

#include "tests/kit/pixels/stored_picture.h"

namespace {

using kit::Orientation;

// Where a stored pixel of a picture of these sides goes, as the type says it.
cv::Point uprightPixel(const Orientation& orientation, cv::Size stored, cv::Point at) {
  if (orientation.exchanges_sides) {
    std::swap(at.x, at.y);
    std::swap(stored.width, stored.height);
  }
  if (orientation.mirrors_columns) at.x = stored.width - 1 - at.x;
  if (orientation.mirrors_rows) at.y = stored.height - 1 - at.y;
  return at;
}

TEST(Orientation, BringsTheStoredRowsAndColumnsWhereTheyBelong) {
  const cv::Size upright(5, 3);
  for (int number = 1; number <= 8; ++number) {
    const cv::Size stored = number >= 5 ? cv::Size(3, 5) : upright;
    for (int y = 0; y < upright.height; ++y) {
      for (int x = 0; x < upright.width; ++x) {
        const cv::Point at = kit_test::storedPixel(number, upright, x, y);
        EXPECT_EQ(uprightPixel(kit::orientationOf(number), stored, at), cv::Point(x, y)) << number;
      }
    }
  }
}

TEST(Orientation, TurnsOnClockwise) {
  // A pixel of 5 by 3 that is turned clockwise goes from (x, y) to (2 - y, x).
  const cv::Size stored(5, 3);
  for (int number = 1; number <= 8; ++number) {
    const Orientation before = kit::orientationOf(number);
    const int height = before.exchanges_sides ? 5 : 3;
    const cv::Point from = uprightPixel(before, stored, {1, 2});
    const cv::Point to = uprightPixel(kit::turnedClockwise(before, 1), stored, {1, 2});
    EXPECT_EQ(to, cv::Point(height - 1 - from.y, from.x)) << number;
  }
}

TEST(Orientation, IsTheSameAfterFourQuartersEitherWay) {
  for (int number = 1; number <= 8; ++number) {
    const Orientation before = kit::orientationOf(number);
    for (const int turns : {-8, -4, 0, 4, 1000}) {
      const Orientation after = kit::turnedClockwise(before, turns);
      EXPECT_EQ(uprightPixel(after, {5, 3}, {1, 2}), uprightPixel(before, {5, 3}, {1, 2}));
    }
    const Orientation there = kit::turnedClockwise(before, 3);
    const Orientation back = kit::turnedClockwise(before, -1);
    EXPECT_EQ(uprightPixel(there, {5, 3}, {1, 2}), uprightPixel(back, {5, 3}, {1, 2}));
  }
}

}  // namespace
