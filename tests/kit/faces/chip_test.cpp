// Chips of faces.

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include "kit/faces/face_square.h"
#include "kit/oznakit.h"
#include "tests/kit/pixels/stored_picture.h"

namespace {

using kit_test::coloured;
using kit_test::StoredPicture;

// Where the five landmarks of a chip lie, as fractions of its side.
constexpr double kPlaces[5][2] = {
    {0.34, 0.42}, {0.66, 0.42}, {0.5, 0.6}, {0.37, 0.76}, {0.63, 0.76}};

// A face whose square is turned clockwise by an angle about its corner at (x, y), an edge.
oznakit_face faceOf(double angle, double side, double x, double y) {
  oznakit_face face = OZNAKIT_FACE_INIT;
  face.point_count = 5;
  for (int i = 0; i < 5; ++i) {
    const double right = side * kPlaces[i][0];
    const double down = side * kPlaces[i][1];
    face.points[2 * i] =
        static_cast<float>(x + std::cos(angle) * right - std::sin(angle) * down - 0.5);
    face.points[2 * i + 1] =
        static_cast<float>(y + std::sin(angle) * right + std::cos(angle) * down - 0.5);
  }
  return face;
}

oznakit_chip_options optionsOf(int width, int height) {
  oznakit_chip_options options = OZNAKIT_CHIP_OPTIONS_INIT;
  options.width = width;
  options.height = height;
  return options;
}

// A chip in packed RGB.
cv::Mat cut(const oznakit_image& image, const oznakit_face& face,
            const oznakit_chip_options& options) {
  cv::Mat chip(options.height, options.width, CV_8UC3, cv::Scalar(1, 2, 3));
  EXPECT_EQ(oznakit_chip(&image, &face, &options, chip.data, 0), OZNAKIT_OK)
      << oznakit_last_message();
  return chip;
}

int largestDifference(const cv::Mat& a, const cv::Mat& b) {
  EXPECT_EQ(a.size(), b.size());
  return static_cast<int>(cv::norm(a, b, cv::NORM_INF));
}

TEST(Chip, OfTheSameScaleIsACopy) {
  const cv::Mat rgb = coloured(90, 80, OZNAKIT_RGB);
  const StoredPicture stored(rgb, OZNAKIT_RGB, 1, 0, /*upwards=*/false);
  EXPECT_LE(largestDifference(cut(stored.image(), faceOf(0, 40, 20, 10), optionsOf(40, 40)),
                              rgb(cv::Rect(20, 10, 40, 40))),
            0);
  // Wider than high: the square stands in the middle.
  EXPECT_LE(largestDifference(cut(stored.image(), faceOf(0, 40, 20, 10), optionsOf(60, 40)),
                              rgb(cv::Rect(10, 10, 60, 40))),
            0);
  // With a quarter of the square's side around it on each side.
  oznakit_chip_options options = optionsOf(60, 60);
  options.padding = 0.25F;
  EXPECT_LE(largestDifference(cut(stored.image(), faceOf(0, 40, 20, 10), options),
                              rgb(cv::Rect(10, 0, 60, 60))),
            0);
  // The middle fifth alone.
  options = optionsOf(8, 8);
  options.padding = -0.4F;
  EXPECT_LE(largestDifference(cut(stored.image(), faceOf(0, 40, 20, 10), options),
                              rgb(cv::Rect(36, 26, 8, 8))),
            0);
}

TEST(Chip, TurnsFacesUpright) {
  const cv::Mat rgb = coloured(90, 80, OZNAKIT_RGB);
  const StoredPicture stored(rgb, OZNAKIT_RGB, 1, 0, /*upwards=*/false);
  // A face that lies on its side, its top to the right: chip (u, v) shows (70 - v, 10 + u).
  const cv::Mat chip =
      cut(stored.image(), faceOf(1.5707963267948966, 40, 71, 10), optionsOf(40, 40));
  cv::Mat expected(40, 40, CV_8UC3);
  for (int v = 0; v < 40; ++v) {
    for (int u = 0; u < 40; ++u) {
      expected.at<cv::Vec3b>(v, u) = rgb.at<cv::Vec3b>(10 + u, 70 - v);
    }
  }
  EXPECT_LE(largestDifference(chip, expected), 1);  // The landmarks are rounded to float.
}

TEST(Chip, OfHalfTheScaleIsTheMeanOfWhatItCovers) {
  const cv::Mat rgb = coloured(90, 80, OZNAKIT_RGB);
  const StoredPicture stored(rgb, OZNAKIT_RGB, 1, 0, /*upwards=*/false);
  const cv::Mat chip = cut(stored.image(), faceOf(0, 60, 20, 10), optionsOf(30, 30));
  for (int y = 0; y < 30; ++y) {
    for (int x = 0; x < 30; ++x) {
      for (int c = 0; c < 3; ++c) {
        const auto at = [&](int i, int j) {
          return int{rgb.at<cv::Vec3b>(10 + 2 * y + j, 20 + 2 * x + i)[c]};
        };
        const double mean = (at(0, 0) + at(1, 0) + at(0, 1) + at(1, 1)) / 4.0;
        ASSERT_NEAR(chip.at<cv::Vec3b>(y, x)[c], mean, 1) << x << " " << y;
      }
    }
  }
}

TEST(Chip, AveragesLargeFacesDown) {
  // A board of black and white pixels becomes even grey, where single samples would give stripes.
  cv::Mat board(1200, 1200, CV_8UC3);
  for (int y = 0; y < board.rows; ++y) {
    for (int x = 0; x < board.cols; ++x) {
      board.at<cv::Vec3b>(y, x) = (x + y) % 2 == 0 ? cv::Vec3b(0, 0, 0) : cv::Vec3b(254, 254, 254);
    }
  }
  const StoredPicture stored(board, OZNAKIT_RGB, 1, 0, /*upwards=*/false);
  const cv::Mat chip = cut(stored.image(), faceOf(0.3, 800, 350, 100), optionsOf(64, 64));
  double least = 0;
  double most = 0;
  cv::minMaxLoc(chip(cv::Rect(16, 16, 32, 32)).clone().reshape(1), &least, &most);
  EXPECT_GT(least, 110);
  EXPECT_LT(most, 144);
}

TEST(Chip, HasTheColourOfTheBorderOutside) {
  const cv::Mat even(50, 50, CV_8UC3, cv::Scalar(200, 210, 220));
  const StoredPicture stored(even, OZNAKIT_RGB, 1, 0, /*upwards=*/false);
  oznakit_chip_options options = optionsOf(100, 100);
  options.format = OZNAKIT_ARGB;
  const std::uint8_t colour[4] = {10, 20, 30, 40};
  std::copy_n(colour, 4, options.colour);
  const oznakit_face face = faceOf(0, 100, -50, 0);
  std::vector<std::uint8_t> chip(100 * 100 * 4);
  ASSERT_EQ(oznakit_chip(&stored.image(), &face, &options, chip.data(), 0), OZNAKIT_OK);
  const auto pixel = [&](int x, int y) {
    const std::uint8_t* const p = chip.data() + 4 * (100 * y + x);
    return std::vector<int>(p, p + 4);
  };
  EXPECT_EQ(pixel(49, 10), (std::vector<int>{40, 10, 20, 30}));
  EXPECT_EQ(pixel(50, 10), (std::vector<int>{255, 200, 210, 220}));
  EXPECT_EQ(pixel(99, 49), (std::vector<int>{255, 200, 210, 220}));
  EXPECT_EQ(pixel(99, 50), (std::vector<int>{40, 10, 20, 30}));
}

TEST(Chip, MirrorsThePictureAtItsEdges) {
  const cv::Mat rgb = coloured(12, 9, OZNAKIT_RGB);
  const StoredPicture stored(rgb, OZNAKIT_RGB, 1, 0, /*upwards=*/false);
  oznakit_chip_options options = optionsOf(80, 80);
  options.border = OZNAKIT_BORDER_MIRROR;
  const cv::Mat chip = cut(stored.image(), faceOf(0, 80, -33, -41), options);
  const auto mirrored = [](int i, int length) {
    while (i < 0 || i >= length) {
      i = i < 0 ? -1 - i : 2 * length - 1 - i;
    }
    return i;
  };
  for (int y = 0; y < 80; ++y) {
    for (int x = 0; x < 80; ++x) {
      ASSERT_EQ(chip.at<cv::Vec3b>(y, x),
                rgb.at<cv::Vec3b>(mirrored(y - 41, 9), mirrored(x - 33, 12)))
          << x << " " << y;
    }
  }
}

TEST(Chip, IsTheSameOfEveryWayOfStoringThePicture) {
  const oznakit_face face = faceOf(0.4, 50, 30, 5);
  for (int format = 0; format < kit_test::kFormats; ++format) {
    const cv::Mat rgb = coloured(70, 60, format);
    const StoredPicture plain(rgb, OZNAKIT_RGB, 1, 0, /*upwards=*/false);
    const cv::Mat expected = cut(plain.image(), face, optionsOf(40, 33));
    for (int orientation = 1; orientation <= 8; ++orientation) {
      const StoredPicture stored(rgb, format, orientation, 3, orientation % 2 == 0);
      EXPECT_EQ(largestDifference(cut(stored.image(), face, optionsOf(40, 33)), expected), 0)
          << format << " " << orientation;
    }
  }
}

TEST(Chip, ComesInEveryFormatWithAnyRowStep) {
  const cv::Mat rgb = coloured(70, 60, OZNAKIT_RGB);
  const StoredPicture stored(rgb, OZNAKIT_RGB, 1, 0, /*upwards=*/false);
  const oznakit_face face = faceOf(0.4, 50, 30, 5);
  constexpr int kWidth = 19;
  constexpr int kHeight = 13;
  const cv::Mat expected = cut(stored.image(), face, optionsOf(kWidth, kHeight));
  for (int format = 0; format < kit_test::kFormats; ++format) {
    const kit_test::Channels& channels = kit_test::kChannels[format];
    for (const std::size_t gap : {0, 5}) {
      for (const bool upwards : {false, true}) {
        const std::size_t row = kWidth * channels.bytes;
        const std::size_t step = row + gap;
        constexpr std::uint8_t kUntouched = 77;
        std::vector<std::uint8_t> bytes(step * kHeight - gap + 2, kUntouched);
        std::uint8_t* const lowest = bytes.data() + 1;
        oznakit_chip_options options = optionsOf(kWidth, kHeight);
        options.format = format;
        std::uint8_t* const top = upwards ? lowest + step * (kHeight - 1) : lowest;
        const auto row_bytes = static_cast<std::ptrdiff_t>(step) * (upwards ? -1 : 1);
        ASSERT_EQ(oznakit_chip(&stored.image(), &face, &options, top,
                               gap == 0 && !upwards ? 0 : row_bytes),
                  OZNAKIT_OK)
            << oznakit_last_message();
        EXPECT_EQ(bytes.front(), kUntouched);
        EXPECT_EQ(bytes.back(), kUntouched);
        for (int y = 0; y < kHeight; ++y) {
          const std::uint8_t* pixel = top + y * row_bytes;
          for (int x = 0; x < kWidth; ++x, pixel += channels.bytes) {
            const cv::Vec3b& colour = expected.at<cv::Vec3b>(y, x);
            if (format == OZNAKIT_GREY) {
              ASSERT_NEAR(pixel[0], 0.299 * colour[0] + 0.587 * colour[1] + 0.114 * colour[2],
                          1.01);
              continue;
            }
            ASSERT_EQ(pixel[channels.red], colour[0]) << format << " " << x << " " << y;
            ASSERT_EQ(pixel[channels.green], colour[1]);
            ASSERT_EQ(pixel[channels.blue], colour[2]);
          }
          if (y + 1 < kHeight && !upwards) {
            for (std::size_t i = 0; i < gap; ++i) {
              ASSERT_EQ(top[static_cast<std::size_t>(y) * step + row + i], kUntouched);
            }
          }
        }
      }
    }
  }
}

TEST(Chip, UsesTheFiveCentresOf68Points) {
  const cv::Mat rgb = coloured(70, 60, OZNAKIT_RGB);
  const StoredPicture stored(rgb, OZNAKIT_RGB, 1, 0, /*upwards=*/false);
  const oznakit_face five = faceOf(0.2, 40, 20, 5);
  oznakit_face all = OZNAKIT_FACE_INIT;
  all.point_count = 68;
  const auto put = [&](int first, int count, int of_five) {
    for (int i = first; i < first + count; ++i) {
      // Lids and corners around the centre, whose mean it is.
      const float offset = count == 1 ? 0 : static_cast<float>(i - first) - 2.5F;
      all.points[2 * i] = five.points[2 * of_five] + offset;
      all.points[2 * i + 1] = five.points[2 * of_five + 1] - offset;
    }
  };
  put(36, 6, 0);
  put(42, 6, 1);
  put(30, 1, 2);
  put(48, 1, 3);
  put(54, 1, 4);
  EXPECT_LE(largestDifference(cut(stored.image(), all, optionsOf(40, 40)),
                              cut(stored.image(), five, optionsOf(40, 40))),
            1);
}

TEST(Chip, FollowsBoxAndTurnWithoutPoints) {
  // The landmarks of a box of 100 by 100 at (20, 10), as an upright face usually has them.
  oznakit_face box = OZNAKIT_FACE_INIT;
  box.left = 20;
  box.top = 10;
  box.right = 120;
  box.bottom = 110;
  oznakit_face face = OZNAKIT_FACE_INIT;
  face.point_count = 5;
  const float places[10] = {52.3F, 50, 89.7F, 50, 71.1F, 71.5F, 55, 90.3F, 87.2F, 90.3F};
  std::copy_n(places, 10, face.points);
  const cv::Mat rgb = coloured(150, 130, OZNAKIT_RGB);
  const StoredPicture upright(rgb, OZNAKIT_RGB, 1, 0, /*upwards=*/false);
  const cv::Mat expected = cut(upright.image(), face, optionsOf(60, 60));
  EXPECT_LE(largestDifference(cut(upright.image(), box, optionsOf(60, 60)), expected), 1);
  // The same on pictures turned counterclockwise by so many quarters.
  cv::Mat turned = rgb;
  for (int turn = 1; turn <= 3; ++turn) {
    const float width = static_cast<float>(turned.cols);
    cv::rotate(turned, turned, cv::ROTATE_90_COUNTERCLOCKWISE);
    const oznakit_face before = box;
    box.left = before.top;
    box.right = before.bottom;
    box.top = width - before.right;
    box.bottom = width - before.left;
    box.turn = turn;
    const StoredPicture stored(turned, OZNAKIT_RGB, 1, 0, /*upwards=*/false);
    EXPECT_LE(largestDifference(cut(stored.image(), box, optionsOf(60, 60)), expected), 1) << turn;
  }
}

// The status of a chip with one thing wrong, and that there is a sentence.
template <class Spoil>
oznakit_status spoilt(const Spoil& spoil) {
  static const cv::Mat rgb = coloured(70, 60, OZNAKIT_RGB);
  const StoredPicture stored(rgb, OZNAKIT_RGB, 1, 0, /*upwards=*/false);
  std::vector<std::uint8_t> chip(64 * 64 * 4);
  oznakit_image image = stored.image();
  oznakit_face face = faceOf(0.4, 50, 30, 5);
  oznakit_chip_options options = optionsOf(64, 64);
  void* pixels = chip.data();
  std::ptrdiff_t row_bytes = 0;
  spoil(image, face, options, pixels, row_bytes);
  const oznakit_status status = oznakit_chip(&image, &face, &options, pixels, row_bytes);
  if (status != OZNAKIT_OK) {
    EXPECT_EQ(std::string(oznakit_last_message()).rfind("Expected ", 0), 0U)
        << oznakit_last_message();
  }
  return status;
}

#define SPOILT(...)                                                                   \
  spoilt([&](oznakit_image& image, oznakit_face& face, oznakit_chip_options& options, \
             void*& pixels, std::ptrdiff_t& row_bytes) {                              \
    (void)image, (void)face, (void)options, (void)pixels, (void)row_bytes;            \
    __VA_ARGS__;                                                                      \
  })

TEST(Chip, RefusesBadArguments) {
  constexpr float kNan = std::numeric_limits<float>::quiet_NaN();
  constexpr float kInfinity = std::numeric_limits<float>::infinity();
  EXPECT_EQ(SPOILT(), OZNAKIT_OK);
  EXPECT_EQ(SPOILT(image.size = 3), OZNAKIT_BAD_ARGUMENT);
  EXPECT_EQ(SPOILT(image.pixels = nullptr), OZNAKIT_BAD_ARGUMENT);
  EXPECT_EQ(SPOILT(face.size = 0), OZNAKIT_BAD_ARGUMENT);
  EXPECT_EQ(SPOILT(options.size = 0), OZNAKIT_BAD_ARGUMENT);
  EXPECT_EQ(SPOILT(pixels = nullptr), OZNAKIT_BAD_ARGUMENT);
  EXPECT_EQ(SPOILT(row_bytes = 191), OZNAKIT_BAD_ARGUMENT);
  for (const int side : {0, 7, -1, 4097, std::numeric_limits<int>::max()}) {
    EXPECT_EQ(SPOILT(options.width = side), OZNAKIT_BAD_ARGUMENT);
    EXPECT_EQ(SPOILT(options.height = side), OZNAKIT_BAD_ARGUMENT);
  }
  for (const float padding : {-0.41F, 4.1F, kNan, kInfinity, -kInfinity}) {
    EXPECT_EQ(SPOILT(options.padding = padding), OZNAKIT_BAD_ARGUMENT);
  }
  EXPECT_EQ(SPOILT(options.border = 2), OZNAKIT_BAD_ARGUMENT);
  EXPECT_EQ(SPOILT(options.format = 6), OZNAKIT_BAD_ARGUMENT);
  for (const int count : {-1, 4, 6, 67, 69, 1000}) {
    EXPECT_EQ(SPOILT(face.point_count = count), OZNAKIT_BAD_ARGUMENT);
  }
  for (int i = 0; i < 10; ++i) {
    for (const float wrong : {kNan, kInfinity, -kInfinity, 1e6F, -1e30F}) {
      EXPECT_EQ(SPOILT(face.points[i] = wrong), OZNAKIT_BAD_ARGUMENT);
    }
  }
  EXPECT_EQ(SPOILT(std::fill_n(face.points, 10, 20.0F)), OZNAKIT_BAD_ARGUMENT);
  // Without points it is the box that has to be one.
  EXPECT_EQ(SPOILT(face.point_count = 0), OZNAKIT_BAD_ARGUMENT);
  const auto box = [](oznakit_face& face, float left, float top, float right, float bottom) {
    face.point_count = 0;
    face.left = left;
    face.top = top;
    face.right = right;
    face.bottom = bottom;
  };
  EXPECT_EQ(SPOILT(box(face, 5, 5, 50, 50)), OZNAKIT_OK);
  EXPECT_EQ(SPOILT(box(face, 5, 5, 50, 50); face.turn = 4), OZNAKIT_BAD_ARGUMENT);
  EXPECT_EQ(SPOILT(box(face, 50, 5, 50, 50)), OZNAKIT_BAD_ARGUMENT);
  EXPECT_EQ(SPOILT(box(face, 5, kNan, 50, 50)), OZNAKIT_BAD_ARGUMENT);
  EXPECT_EQ(SPOILT(box(face, 5, 5, kInfinity, 50)), OZNAKIT_BAD_ARGUMENT);
  EXPECT_EQ(SPOILT(box(face, -1e30F, 5, 1e30F, 50)), OZNAKIT_BAD_ARGUMENT);
}

TEST(Chip, RefusesNullPointers) {
  const cv::Mat rgb = coloured(70, 60, OZNAKIT_RGB);
  const StoredPicture stored(rgb, OZNAKIT_RGB, 1, 0, /*upwards=*/false);
  const oznakit_face face = faceOf(0.4, 50, 30, 5);
  std::vector<std::uint8_t> chip(256 * 256 * 3);
  EXPECT_EQ(oznakit_chip(nullptr, &face, nullptr, chip.data(), 0), OZNAKIT_BAD_ARGUMENT);
  EXPECT_EQ(oznakit_chip(&stored.image(), nullptr, nullptr, chip.data(), 0), OZNAKIT_BAD_ARGUMENT);
  // The options alone may be missing: 256 by 256 pixels of three bytes.
  EXPECT_EQ(oznakit_chip(&stored.image(), &face, nullptr, chip.data(), 0), OZNAKIT_OK);
}

}  // namespace
