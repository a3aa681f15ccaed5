// The size of the working image, worked out by hand.

#include "kit/search/working_size.h"

#include <gtest/gtest.h>

#include <limits>

namespace kit {
namespace {

void expectSize(const Size& size, std::int64_t width, std::int64_t height) {
  EXPECT_EQ(size.width, width);
  EXPECT_EQ(size.height, height);
}

TEST(WorkingSize, ReducesLargePictureToTheSideFirst) {
  // 640 * 0.05 = 32, 13 / 32 = 0.40625, 640 / 1280 = 0.5: scale 0.203125.
  expectSize(workingSize({1280, 700}, defaultParameter()), 260, 142);
}

TEST(WorkingSize, EnlargesSmallPictureByTheFactorAtMost) {
  // 640 / 100 is above 2: scale 0.40625 * 2 = 0.8125.
  expectSize(workingSize({100, 50}, defaultParameter()), 81, 40);
}

TEST(WorkingSize, EnlargesTowardsTheSideOnly) {
  // 640 / 512 = 1.25: scale 0.5078125.
  expectSize(workingSize({512, 512}, defaultParameter()), 260, 260);
}

TEST(WorkingSize, KeepsSizeWhereSmallestFaceIsTheWindow) {
  oznalib::CascadeParameter parameter = defaultParameter();
  parameter.maxUpscale = 1;
  parameter.maxImageSide = 200;
  parameter.minFaceFraction = 0.065F;  // 13 pixels of 200.
  expectSize(workingSize({100, 50}, parameter), 100, 50);
}

TEST(WorkingSize, NarrowPictureLosesItsSide) {
  expectSize(workingSize({20000, 2}, defaultParameter()), 260, 0);
}

TEST(WorkingSize, IsHeldAtTheLargestInteger) {
  oznalib::CascadeParameter parameter = defaultParameter();
  parameter.windowSize = std::numeric_limits<std::int32_t>::max();
  const std::int64_t largest = std::numeric_limits<std::int32_t>::max();
  expectSize(workingSize({640, 640}, parameter), largest, largest);
}

TEST(WorkingSize, DefaultsFitFirstNetworkForEveryShape) {
  for (std::int64_t width = 1; width < 30000; width += 1 + width / 3) {
    for (std::int64_t height = 1; height < 30000; height += 1 + height / 3) {
      const Size size = workingSize({width, height}, defaultParameter());
      EXPECT_LE(size.width, 384) << width << " x " << height;
      EXPECT_LE(size.height, 384) << width << " x " << height;
    }
  }
}

TEST(SmallestFace, IsTheWindowInPixelsOfThePicture) {
  // 640 * 0.05 = 32 pixels of 640, and a picture of 1280 is halved, one of 100 is doubled.
  EXPECT_NEAR(smallestFace({1280, 700}, defaultParameter()), 64, 0.01);
  EXPECT_NEAR(smallestFace({100, 50}, defaultParameter()), 16, 0.01);
}

TEST(Fits, ComparesAreasAndNotSides) {
  EXPECT_TRUE(fits({768, 192}, {384, 384}));
  EXPECT_FALSE(fits({769, 192}, {384, 384}));
}

}  // namespace
}  // namespace kit
