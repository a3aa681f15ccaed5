// The upright pixels of pictures in all formats, orientations and row steps.

#include "kit/pixels/picture.h"

#include <gtest/gtest.h>

#include <limits>
#include <string>

#include "kit/error.h"
#include "tests/kit/pixels/stored_picture.h"

namespace {

using kit::Picture;
using kit_test::coloured;
using kit_test::equalPixels;
using kit_test::StoredPicture;

// Calls what(picture, upright pixels) for every way of storing a picture of a size.
template <class What>
void forAllWays(int width, int height, const What& what) {
  for (int format = 0; format < kit_test::kFormats; ++format) {
    const cv::Mat rgb = coloured(width, height, format);
    for (int orientation = 1; orientation <= 8; ++orientation) {
      for (const std::size_t gap : {0, 1, 7}) {
        for (const bool upwards : {false, true}) {
          SCOPED_TRACE("format " + std::to_string(format) + " orientation " +
                       std::to_string(orientation) + " gap " + std::to_string(gap) +
                       (upwards ? " upwards" : ""));
          const StoredPicture stored(rgb, format, orientation, gap, upwards);
          what(stored.image(), rgb);
        }
      }
    }
  }
}

TEST(Picture, HasTheSamePixelsInEveryWayOfStoringThem) {
  for (const cv::Size& size :
       {cv::Size(150, 9), cv::Size(7, 131), cv::Size(1, 5), cv::Size(5, 1), cv::Size(1, 1)}) {
    forAllWays(size.width, size.height, [](const oznakit_image& image, const cv::Mat& rgb) {
      const Picture picture(image);
      ASSERT_EQ(picture.size(), rgb.size());
      EXPECT_TRUE(equalPixels(picture.rgb(cv::Rect(cv::Point(), rgb.size())), rgb));
    });
  }
}

TEST(Picture, GivesTheRegionThatIsAskedFor) {
  forAllWays(83, 71, [](const oznakit_image& image, const cv::Mat& rgb) {
    const Picture picture(image);
    for (const cv::Rect& region : {cv::Rect(3, 2, 70, 66), cv::Rect(0, 70, 83, 1),
                                   cv::Rect(82, 0, 1, 71), cv::Rect(40, 30, 1, 1)}) {
      EXPECT_TRUE(equalPixels(picture.rgb(region), rgb(region))) << region;
    }
  });
}

TEST(Picture, TurnsClockwise) {
  // 1 2 3      4 1
  // 4 5 6  ->  5 2  after a quarter turn.
  //            6 3
  cv::Mat rgb(2, 3, CV_8UC3);
  for (int i = 0; i < 6; ++i) {
    rgb.at<cv::Vec3b>(i / 3, i % 3) = cv::Vec3b::all(static_cast<std::uint8_t>(i + 1));
  }
  const int turned[4][6] = {
      {1, 2, 3, 4, 5, 6}, {4, 1, 5, 2, 6, 3}, {6, 5, 4, 3, 2, 1}, {3, 6, 2, 5, 1, 4}};
  for (int orientation = 1; orientation <= 8; ++orientation) {
    const StoredPicture stored(rgb, OZNAKIT_BGRA, orientation, 3, /*upwards=*/true);
    const Picture picture(stored.image());
    for (const int turns : {0, 1, 2, 3, 5, -1}) {
      const int* const expected = turned[turns & 3];
      const Picture other = picture.turned(turns);
      const cv::Size size = turns % 2 == 0 ? cv::Size(3, 2) : cv::Size(2, 3);
      ASSERT_EQ(other.size(), size);
      const cv::Mat pixels = other.rgb(cv::Rect(cv::Point(), size));
      for (int i = 0; i < 6; ++i) {
        EXPECT_EQ(pixels.at<cv::Vec3b>(i / size.width, i % size.width)[0], expected[i])
            << "orientation " << orientation << ", " << turns << " turns, pixel " << i;
      }
    }
  }
}

TEST(Picture, BorrowsRowsThatAreStoredAsTheyAreWanted) {
  const cv::Mat rgb = coloured(20, 10, OZNAKIT_RGB);
  const cv::Rect region(2, 3, 10, 5);
  const auto is_borrowed = [&](int format, int orientation, bool upwards) {
    const StoredPicture stored(rgb, format, orientation, 5, upwards);
    const Picture picture(stored.image());
    return picture.rgb(region).data == picture.pixel(region.x, region.y);
  };
  EXPECT_TRUE(is_borrowed(OZNAKIT_RGB, 1, /*upwards=*/false));
  // Rows that go upwards and belong the other way round.
  EXPECT_TRUE(is_borrowed(OZNAKIT_RGB, 4, /*upwards=*/true));
  EXPECT_FALSE(is_borrowed(OZNAKIT_RGB, 1, /*upwards=*/true));
  EXPECT_FALSE(is_borrowed(OZNAKIT_RGB, 2, /*upwards=*/false));
  EXPECT_FALSE(is_borrowed(OZNAKIT_RGB, 5, /*upwards=*/false));
  EXPECT_FALSE(is_borrowed(OZNAKIT_BGR, 1, /*upwards=*/false));
  EXPECT_FALSE(is_borrowed(OZNAKIT_RGBA, 1, /*upwards=*/false));
}

TEST(Picture, TakesTheLargestSides) {
  // 65535 by 3, and 3 by 65535.
  std::vector<std::uint8_t> bytes(65535 * 3);
  bytes.back() = 77;
  oznakit_image image = OZNAKIT_IMAGE_INIT;
  image.pixels = bytes.data();
  image.format = OZNAKIT_GREY;
  image.width = 65535;
  image.height = 3;
  EXPECT_EQ(Picture(image).rgb(cv::Rect(65534, 2, 1, 1)).at<cv::Vec3b>(0, 0),
            cv::Vec3b(77, 77, 77));
  std::swap(image.width, image.height);
  image.orientation = 6;  // The last row is the left column, the last column the bottom row.
  EXPECT_EQ(Picture(image).size(), cv::Size(65535, 3));
  EXPECT_EQ(Picture(image).rgb(cv::Rect(0, 2, 1, 1)).at<cv::Vec3b>(0, 0), cv::Vec3b(77, 77, 77));
}

TEST(Picture, HasNothingOutsideAndNothingInAnEmptyRegion) {
  const StoredPicture stored(coloured(8, 6, OZNAKIT_RGB), OZNAKIT_RGB, 1, 0, /*upwards=*/false);
  const Picture picture(stored.image());
  EXPECT_TRUE(picture.rgb(cv::Rect(3, 3, 0, 2)).empty());
  constexpr int kMost = std::numeric_limits<int>::max();
  for (const cv::Rect& region :
       {cv::Rect(-1, 0, 2, 2), cv::Rect(0, -1, 2, 2), cv::Rect(7, 0, 2, 2), cv::Rect(0, 5, 2, 2),
        cv::Rect(0, 0, -1, 2), cv::Rect(0, 0, 2, -1), cv::Rect(1, 1, kMost, kMost)}) {
    EXPECT_THROW(picture.rgb(region), kit::Error) << region;
  }
}

}  // namespace
