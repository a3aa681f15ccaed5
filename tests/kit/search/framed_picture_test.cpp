// Regions of a picture with a border.

#include "kit/search/framed_picture.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <opencv2/core.hpp>
#include <vector>

namespace kit {
namespace {

// Green is the column, red the row.
struct Pixels {
  int width, height;
  std::vector<std::uint8_t> bytes;

  Pixels(int columns, int rows, int order) : width(columns), height(rows) {
    for (int y = 0; y < rows; ++y) {
      for (int x = 0; x < columns; ++x) {
        const std::uint8_t red = static_cast<std::uint8_t>(y), blue = 7;
        bytes.push_back(order == OZNAKIT_RGB ? red : blue);
        bytes.push_back(static_cast<std::uint8_t>(x));
        bytes.push_back(order == OZNAKIT_RGB ? blue : red);
      }
    }
  }

  oznakit_image image(int order) const {
    oznakit_image image = OZNAKIT_IMAGE_INIT;
    image.pixels = bytes.data();
    image.width = width;
    image.height = height;
    image.format = order;
    return image;
  }
};

TEST(FramedPicture, RepeatsTheEdgeInEveryRegion) {
  for (const int order : {OZNAKIT_RGB, OZNAKIT_BGR}) {
    const Pixels pixels(7, 5, order);
    const Picture picture(pixels.image(order));
    constexpr int kBorder = 4;
    const FramedPicture framed(picture, kBorder);
    ASSERT_EQ(framed.size(), cv::Size(15, 13));
    WorkProgress progress(nullptr, nullptr);
    for (int left = 0; left < 15; ++left) {
      for (int top = 0; top < 13; ++top) {
        for (const int side : {1, 2, 5, 13}) {
          const cv::Rect region = cv::Rect(left, top, side, side) & cv::Rect({0, 0}, framed.size());
          PixelBlock block;
          const cv::Mat rgb = framed.rgb(region, progress, block);
          ASSERT_EQ(rgb.size(), region.size());
          for (int y = 0; y < region.height; ++y) {
            for (int x = 0; x < region.width; ++x) {
              const cv::Vec3b expected(
                  static_cast<std::uint8_t>(std::clamp(top + y - kBorder, 0, 4)),
                  static_cast<std::uint8_t>(std::clamp(left + x - kBorder, 0, 6)), 7);
              ASSERT_EQ(rgb.at<cv::Vec3b>(y, x), expected) << region << " at " << x << ", " << y;
            }
          }
        }
      }
    }
  }
}

TEST(FramedPicture, BorrowsRgbPixelsWithoutBorder) {
  const Pixels pixels(7, 5, OZNAKIT_RGB);
  const Picture picture(pixels.image(OZNAKIT_RGB));
  WorkProgress progress(nullptr, nullptr);
  PixelBlock block;
  const cv::Mat rgb = FramedPicture(picture, 0).rgb({1, 2, 3, 2}, progress, block);
  EXPECT_EQ(rgb.data, pixels.bytes.data() + 3 * (2 * 7 + 1));
}

TEST(BorderPixels, AreAShareOfTheLongerSide) {
  EXPECT_EQ(borderPixels({100, 50}, 0.25), 25);
  EXPECT_EQ(borderPixels({50, 101}, 0.5), 51);  // 50.5 is rounded away from 0.
  EXPECT_EQ(borderPixels({50, 100}, 0), 0);
}

}  // namespace
}  // namespace kit
