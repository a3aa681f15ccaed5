// Tests of rectangles of pixels.

#include "alignment/pixel_area.h"

#include <gtest/gtest.h>

namespace {

using SDMCore::PixelArea;

void expectArea(const PixelArea& area, std::int64_t left, std::int64_t top, std::int64_t right,
                std::int64_t bottom) {
  EXPECT_EQ(area.left, left);
  EXPECT_EQ(area.top, top);
  EXPECT_EQ(area.right, right);
  EXPECT_EQ(area.bottom, bottom);
}

TEST(PixelArea, IsEmptyWithoutColumnsOrRows) {
  EXPECT_TRUE(PixelArea().empty());
  EXPECT_TRUE((PixelArea{3, 0, 3, 5}.empty()));
  EXPECT_TRUE((PixelArea{0, 6, 3, 5}.empty()));
  EXPECT_FALSE((PixelArea{2, 4, 3, 5}.empty()));
}

TEST(PixelArea, ContainsWhatLiesWithinItsSides) {
  const PixelArea area = {10, 20, 30, 40};
  EXPECT_TRUE(area.contains(area));
  EXPECT_TRUE(area.contains({11, 21, 29, 39}));
  EXPECT_FALSE(area.contains({9, 21, 29, 39}));
  EXPECT_FALSE(area.contains({11, 19, 29, 39}));
  EXPECT_FALSE(area.contains({11, 21, 31, 39}));
  EXPECT_FALSE(area.contains({11, 21, 29, 41}));
}

TEST(PixelArea, ContainsEveryEmptyArea) {
  EXPECT_TRUE((PixelArea{10, 20, 30, 40}.contains({100, 100, 100, 100})));
  EXPECT_TRUE(PixelArea().contains({1, 1, 0, 0}));
  EXPECT_FALSE(PixelArea().contains({0, 0, 1, 1}));
}

TEST(PixelArea, JoinsTheSmallestAreaAroundBoth) {
  expectArea(PixelArea({10, 20, 30, 40}).joined({5, 25, 20, 60}), 5, 20, 30, 60);
  expectArea(PixelArea({10, 20, 30, 40}).joined({12, 2, 50, 10}), 10, 2, 50, 40);
}

TEST(PixelArea, JoinsNothingOfAnEmptyArea) {
  expectArea(PixelArea({10, 20, 30, 40}).joined({0, 0, 0, 90}), 10, 20, 30, 40);
  expectArea(PixelArea({0, 0, 90, 0}).joined({10, 20, 30, 40}), 10, 20, 30, 40);
}

TEST(PixelArea, WidensWithinLimits) {
  const PixelArea limits = {1, 1, 99, 49};
  expectArea(PixelArea({10, 20, 30, 40}).widened(3, limits), 7, 17, 33, 43);
  expectArea(PixelArea({3, 2, 97, 48}).widened(5, limits), 1, 1, 99, 49);
  EXPECT_TRUE((PixelArea{10, 20, 10, 40}.widened(3, limits).empty()));
}

}  // namespace
