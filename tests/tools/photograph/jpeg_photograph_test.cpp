// The decoder of JPEG files.

#include "tools/photograph/jpeg_photograph.h"

#include <cstddef>
#include <limits>
#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>

#include "tests/tools/pictures.h"
#include "tests/tools/program.h"
#include "tools/photograph/photograph.h"

namespace ozna_test {
namespace {

using oznatool::decodeJpeg;

const unsigned char* bytesOf(const std::string& text) {
  return reinterpret_cast<const unsigned char*>(text.data());
}

cv::Mat wholeOf(const std::string& jpeg) {
  const std::vector<unsigned char> bytes(jpeg.begin(), jpeg.end());
  cv::Mat pixels = cv::imdecode(bytes, cv::IMREAD_COLOR | cv::IMREAD_IGNORE_ORIENTATION);
  cv::cvtColor(pixels, pixels, cv::COLOR_BGR2RGB);
  return pixels;
}

TEST(ReducedSize, IsRoundedUpHoweverLargeTheSides) {
  EXPECT_EQ(oznatool::reducedSize({7360, 4913}, 8), cv::Size(920, 615));
  EXPECT_EQ(oznatool::reducedSize({1, 8}, 8), cv::Size(1, 1));
  constexpr int kLargest = std::numeric_limits<int>::max();
  EXPECT_EQ(oznatool::reducedSize({kLargest, kLargest - 7}, 8), cv::Size(268435456, 268435455));
  EXPECT_EQ(oznatool::reducedSize({kLargest, 1}, 1), cv::Size(kLargest, 1));
}

TEST(DecodeJpeg, GivesTheVeryPixelsOfTheImageLibrary) {
  cv::Mat picture(67, 93, CV_8UC3);
  cv::theRNG().state = 3;
  cv::randu(picture, 0, 256);
  cv::GaussianBlur(picture, picture, {5, 5}, 1);
  for (const std::string& jpeg : {encoded(".jpg", picture), encodedCmyk(picture)}) {
    const auto decoded = decodeJpeg(bytesOf(jpeg), jpeg.size(), picture.size(), 1);
    EXPECT_FALSE(decoded.is_cut_short);
    ASSERT_EQ(decoded.pixels.size(), picture.size());
    EXPECT_EQ(cv::norm(decoded.pixels, wholeOf(jpeg), cv::NORM_INF), 0);
  }
}

TEST(DecodeJpeg, AveragesSquaresWhereItReduces) {
  cv::Mat picture = gradientPicture(93, 67);
  cv::Mat grey;
  cv::extractChannel(picture, grey, 1);
  for (const std::string& jpeg :
       {encoded(".jpg", picture), encoded(".jpg", grey), encodedCmyk(picture)}) {
    const cv::Mat whole = wholeOf(jpeg);
    for (const int reduction : {2, 4, 8}) {
      SCOPED_TRACE(reduction);
      const auto decoded = decodeJpeg(bytesOf(jpeg), jpeg.size(), picture.size(), reduction);
      // 93 = 46.5 * 2 = 23.25 * 4 = 11.625 * 8 and 67 = 33.5 * 2 = 16.75 * 4 = 8.375 * 8, rounded
      // up.
      const cv::Size size = reduction == 2   ? cv::Size(47, 34)
                            : reduction == 4 ? cv::Size(24, 17)
                                             : cv::Size(12, 9);
      ASSERT_EQ(decoded.pixels.size(), size);
      for (int y = 0; y < 67 / reduction; ++y) {
        for (int x = 0; x < 93 / reduction; ++x) {
          const cv::Rect square(x * reduction, y * reduction, reduction, reduction);
          const cv::Scalar mean = cv::mean(whole(square));
          for (int c = 0; c < 3; ++c) {
            EXPECT_NEAR(decoded.pixels.at<cv::Vec3b>(y, x)[c], mean[c], 6) << square;
          }
        }
      }
    }
  }
}

TEST(DecodeJpeg, DecodesNothingOfAnotherSizeAndReportsMissingEnds) {
  const std::string jpeg = encoded(".jpg", gradientPicture(80, 60));
  EXPECT_TRUE(decodeJpeg(bytesOf(jpeg), jpeg.size(), {80, 61}, 1).pixels.empty());
  for (const int reduction : {1, 8}) {
    EXPECT_FALSE(decodeJpeg(bytesOf(jpeg), jpeg.size(), {80, 60}, reduction).is_cut_short);
    for (const std::size_t less :
         {std::size_t{1}, std::size_t{2}, jpeg.size() / 3, jpeg.size() - 20}) {
      EXPECT_TRUE(decodeJpeg(bytesOf(jpeg), jpeg.size() - less, {80, 60}, reduction).is_cut_short)
          << less;
    }
  }
}

}  // namespace
}  // namespace ozna_test
