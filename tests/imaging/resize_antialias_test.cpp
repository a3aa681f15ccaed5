// Tests of the Lanczos resize against a plain reference and hand-worked values.

#include "imaging/resize_antialias.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <random>
#include <vector>

#include "caffe/util/wide_loops.hpp"

namespace {

using oznalib::lanczos3;
using oznalib::resize_antialias;
using oznalib::resize_antialias_oracle;

constexpr double kPi = 3.14159265358979323846;

cv::Mat noise(int columns, int rows, unsigned seed) {
  std::mt19937 random(seed);
  cv::Mat image(rows, columns, CV_8UC3);
  for (int y = 0; y < rows; ++y) {
    for (int i = 0; i < 3 * columns; ++i) {
      image.ptr<std::uint8_t>(y)[i] = static_cast<std::uint8_t>(random());
    }
  }
  return image;
}

bool samePixels(const cv::Mat& a, const cv::Mat& b) {
  if (a.size() != b.size() || a.type() != b.type()) {
    return false;
  }
  for (int y = 0; y < a.rows; ++y) {
    if (!std::equal(a.ptr<std::uint8_t>(y), a.ptr<std::uint8_t>(y) + a.cols * a.elemSize(),
                    b.ptr<std::uint8_t>(y))) {
      return false;
    }
  }
  return true;
}

// One axis, pixel by pixel, every weight worked out anew.
cv::Mat plainPass(const cv::Mat& source, int width, int height) {
  const bool horizontal = source.rows == height;
  cv::Mat out(height, width, CV_8UC3);
  const int length = horizontal ? source.cols : source.rows;
  const float ratio = static_cast<float>(length) / static_cast<float>(horizontal ? width : height);
  const float s = ratio < 1.0F ? 1.0F : ratio;
  const float support = ratio < 1.0F ? 0.5F : 3.0F * ratio;
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      const int i = horizontal ? x : y;
      const float centre = (static_cast<float>(i) + 0.5F) * ratio;
      const int lo = static_cast<int>(std::max(0.0F, std::floor(centre - support)));
      const int hi =
          static_cast<int>(std::min(static_cast<float>(length), std::ceil(centre + support)));
      for (int channel = 0; channel < 3; ++channel) {
        float sum = 0;
        float acc = 0;
        for (int j = lo; j < hi; ++j) {
          const float w =
              lanczos3(((static_cast<float>(j) - centre) + 0.5F) * (1.0F / s)) * (1.0F / s);
          sum += w;
          const int value = horizontal ? source.at<cv::Vec3b>(y, j)[channel]
                                       : source.at<cv::Vec3b>(j, x)[channel];
          acc += static_cast<float>(value) * w;
        }
        const float inv = sum != 0.0F && hi > lo ? 1.0F / sum : 1.0F;
        const float v = acc * inv + 0.5F;
        out.at<cv::Vec3b>(y, x)[channel] =
            v < 0.5F ? 0 : (v >= 255.0F ? 255 : static_cast<std::uint8_t>(v));
      }
    }
  }
  return out;
}

TEST(Lanczos3, IsOneAtZeroAndHalfOpenAtTheEnds) {
  EXPECT_EQ(lanczos3(0.0F), 1.0F);
  EXPECT_EQ(lanczos3(3.0F), 0.0F);
  EXPECT_EQ(lanczos3(std::nextafter(-3.0F, -4.0F)), 0.0F);
  // The lower bound belongs to the window: the rounded sine there is tiny, and not 0.
  EXPECT_NE(lanczos3(-3.0F), 0.0F);
  EXPECT_NEAR(lanczos3(-3.0F), 0.0F, 1e-7F);
  EXPECT_EQ(lanczos3(NAN), 0.0F);
}

TEST(Lanczos3, FollowsTheProductOfTwoSincs) {
  for (float x = -2.95F; x < 3.0F; x += 0.1F) {
    const double a = std::sin(kPi * x) / (kPi * x);
    const double b = std::sin(kPi * x / 3) / (kPi * x / 3);
    EXPECT_NEAR(lanczos3(x), a * b, 1e-6) << x;
  }
}

TEST(Lanczos3, NearlyVanishesAtWholeDistances) {
  for (const float x : {-2.0F, -1.0F, 1.0F, 2.0F}) {
    EXPECT_NEAR(lanczos3(x), 0.0F, 1e-6F) << x;
  }
}

TEST(ResizeAntialias, SameSizeReturnsTheSourcePixels) {
  const cv::Mat source = noise(31, 17, 1);
  const cv::Mat out = resize_antialias(source, source.size());
  EXPECT_TRUE(samePixels(out, source));
  EXPECT_NE(out.data, source.data);
}

TEST(ResizeAntialias, EqualsThePlainReferenceInBothDirections) {
  struct Case {
    int columns, rows, width, height;
  };
  // Shrinking, enlarging, both at once, odd sizes that leave partial blocks, and one pixel.
  for (const Case& c :
       {Case{40, 30, 10, 10}, Case{33, 47, 25, 25}, Case{20, 20, 50, 50}, Case{60, 9, 25, 25},
        Case{9, 60, 25, 25}, Case{1, 1, 7, 5}, Case{50, 50, 1, 1}, Case{17, 26, 17, 13}}) {
    const cv::Mat source = noise(c.columns, c.rows, 7);
    const bool vertical_first = c.columns * c.height < c.rows * c.width;
    const cv::Mat first = vertical_first ? plainPass(source, c.columns, c.height)
                                         : plainPass(source, c.width, c.rows);
    const cv::Mat expected = plainPass(first, c.width, c.height);
    EXPECT_TRUE(samePixels(resize_antialias(source, {c.width, c.height}), expected))
        << c.columns << "x" << c.rows << " to " << c.width << "x" << c.height;
  }
}

// Both versions of the loops, for every number of bytes that a block may leave at the end of a row.
TEST(ResizeAntialias, EqualsThePlainReferenceAtEveryWidthWithEitherInstructions) {
  const bool before = caffe::UsesWideLoops();
  for (const bool wide : {false, true}) {
    caffe::SetWideLoops(wide);
    for (int columns = 1; columns <= 24; ++columns) {
      for (const int rows : {9, 40}) {
        const cv::Mat source = noise(columns, rows, static_cast<unsigned>(columns));
        EXPECT_TRUE(samePixels(resize_antialias_oracle(source, columns, 17),
                               plainPass(source, columns, 17)))
            << wide << " " << columns << " " << rows;
      }
      const cv::Mat source = noise(37, columns, static_cast<unsigned>(columns));
      for (const int width : {11, 90}) {
        EXPECT_TRUE(samePixels(resize_antialias_oracle(source, width, columns),
                               plainPass(source, width, columns)))
            << wide << " " << columns << " " << width;
      }
    }
  }
  caffe::SetWideLoops(before);
}

TEST(ResizeAntialias, ReducesTheStrongerAxisFirst) {
  const cv::Mat tall = noise(20, 60, 3);
  const cv::Mat vertical_first =
      resize_antialias_oracle(resize_antialias_oracle(tall, 20, 12), 12, 12);
  const cv::Mat horizontal_first =
      resize_antialias_oracle(resize_antialias_oracle(tall, 12, 60), 12, 12);
  ASSERT_FALSE(samePixels(vertical_first, horizontal_first));
  EXPECT_TRUE(samePixels(resize_antialias(tall, {12, 12}), vertical_first));
}

TEST(ResizeAntialias, TieGoesToTheHorizontalPass) {
  const cv::Mat square = noise(40, 40, 4);
  const cv::Mat vertical_first =
      resize_antialias_oracle(resize_antialias_oracle(square, 40, 12), 12, 12);
  const cv::Mat horizontal_first =
      resize_antialias_oracle(resize_antialias_oracle(square, 12, 40), 12, 12);
  ASSERT_FALSE(samePixels(vertical_first, horizontal_first));
  EXPECT_TRUE(samePixels(resize_antialias(square, {12, 12}), horizontal_first));
}

// Doubling puts each output a quarter pixel from a source centre. The window of half a pixel to
// each side then covers the pixel itself (distance 1/4) and the one on that side (3/4); the full
// filter would reach six.
TEST(ResizeAntialias, EnlargementLooksAtTwoPixelsOnly) {
  cv::Mat source(1, 8, CV_8UC3, cv::Scalar::all(0));
  source.at<cv::Vec3b>(0, 4) = cv::Vec3b(200, 100, 50);
  const cv::Mat out = resize_antialias_oracle(source, 16, 1);
  const auto weight = [](double x) {
    return std::sin(kPi * x) / (kPi * x) * std::sin(kPi * x / 3) / (kPi * x / 3);
  };
  const double near = weight(0.25) / (weight(0.25) + weight(0.75));
  for (int x = 0; x < 16; ++x) {
    const double share = x == 8 || x == 9 ? near : (x == 7 || x == 10 ? 1 - near : 0);
    for (int channel = 0; channel < 3; ++channel) {
      const int expected = static_cast<int>(source.at<cv::Vec3b>(0, 4)[channel] * share + 0.5);
      EXPECT_EQ(out.at<cv::Vec3b>(0, x)[channel], expected) << x;
    }
  }
}

TEST(ResizeAntialias, OvershootSaturatesAtBothEnds) {
  // Halving a step between 255 and 0 overshoots on the bright side and undershoots on the dark
  // side.
  cv::Mat source(1, 40, CV_8UC3, cv::Scalar::all(0));
  for (int x = 0; x < 20; ++x) {
    source.at<cv::Vec3b>(0, x) = cv::Vec3b(255, 255, 255);
  }
  const cv::Mat out = resize_antialias_oracle(source, 20, 1);
  EXPECT_TRUE(samePixels(out, plainPass(source, 20, 1)));
  for (int x = 0; x < 20; ++x) {
    const int value = out.at<cv::Vec3b>(0, x)[0];
    EXPECT_TRUE(x < 10 ? value > 200 : value < 50) << x << " " << value;
  }
  EXPECT_EQ(out.at<cv::Vec3b>(0, 8)[0], 255);
  EXPECT_EQ(out.at<cv::Vec3b>(0, 11)[0], 0);
}

TEST(ResizeAntialias, ConstantImageKeepsItsValue) {
  for (const int value : {0, 1, 127, 254, 255}) {
    const cv::Mat source(37, 53, CV_8UC3, cv::Scalar::all(value));
    const cv::Mat out = resize_antialias(source, {25, 25});
    EXPECT_TRUE(samePixels(out, cv::Mat(25, 25, CV_8UC3, cv::Scalar::all(value)))) << value;
  }
}

TEST(ResizeAntialias, ReadsACropWithTheRowStepOfItsImage) {
  const cv::Mat whole = noise(50, 40, 9);
  const cv::Mat crop = whole(cv::Rect(7, 5, 29, 31));
  ASSERT_FALSE(crop.isContinuous());
  EXPECT_TRUE(
      samePixels(resize_antialias(crop, {25, 25}), resize_antialias(crop.clone(), {25, 25})));
}

TEST(ResizeAntialias, ReducesAThousandByFour) {
  const cv::Mat source = noise(1000, 12, 11);
  EXPECT_TRUE(samePixels(resize_antialias_oracle(source, 250, 12), plainPass(source, 250, 12)));
}

TEST(ResizeAntialias, OtherTypesComeBackWithAMessage) {
  const cv::Mat grey(5, 5, CV_8UC1, cv::Scalar(3));
  testing::internal::CaptureStderr();
  const cv::Mat out = resize_antialias(grey, {10, 10});
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "Error: resize_antialias type\n");
  EXPECT_EQ(out.data, grey.data);
  EXPECT_EQ(out.size(), grey.size());
}

TEST(ResizeAntialias, OracleRefusesToChangeBothSides) {
  testing::internal::CaptureStderr();
  const cv::Mat out = resize_antialias_oracle(noise(5, 5, 1), 10, 10);
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "Error: resize_antialias_oracle size\n");
  EXPECT_TRUE(out.empty());
}

TEST(ResizeAntialias, TargetWithoutAreaIsEmpty) {
  EXPECT_TRUE(resize_antialias(noise(5, 5, 1), {0, 5}).empty());
}

}  // namespace
