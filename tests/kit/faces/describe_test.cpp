// Points and details of faces in whole pictures.

#include "kit/faces/describe.h"

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <opencv2/imgproc.hpp>
#include <random>
#include <string>
#include <vector>

#include "kit/error.h"
#include "tests/kit/faces/real_faces.h"
#include "tests/kit/pixels/stored_picture.h"

namespace {

using kit::describeFace;
using kit::Face;
using kit::Picture;
using kit_test::faceModel;
using kit_test::photograph;
using kit_test::viewOf;
using Rect = oznalib::Rectangle<float>;

const Rect kBox = {150, 110, 356, 316};  // Of the face in the photograph.
constexpr int kAll = OZNAKIT_WITH_POINTS_68 | OZNAKIT_WITH_DETAILS;

Face described(const oznakit_image& image, const Rect& rect, int turn, int with) {
  Face face;
  face.rect = rect;
  face.turn = turn;
  describeFace(faceModel(), Picture(image), with, face);
  return face;
}

cv::Mat rgbPhotograph() {
  cv::Mat rgb;
  cv::cvtColor(photograph(), rgb, cv::COLOR_BGR2RGB);
  return rgb;
}

// The core on packed pixels, with its own slot.
std::vector<float> corePoints(const cv::Mat& rgb, const Rect& rect, bool five) {
  oznalib::loadSDMModel(OZNA_SOURCE_DIR "/public/models", "face68.sdm");
  std::vector<float> points;
  const oznalib::Image image = {rgb.cols, rgb.rows, 0, rgb.data};
  five ? oznalib::align5Points(image, rect, points) : oznalib::align68Points(image, rect, points);
  oznalib::unloadSDMModel();
  return points;
}

TEST(DescribeFace, GivesThePointsOfTheCoreInEveryWayOfStoring) {
  const cv::Mat rgb = rgbPhotograph();
  for (const Rect& rect : {kBox, Rect{100.5F, 60.25F, 420.75F, 380}, Rect{-50, -40, 300, 320},
                           Rect{200, 300, 600, 700}}) {
    const std::vector<float> expected = corePoints(rgb, rect, /*five=*/false);
    for (const int format : {OZNAKIT_RGB, OZNAKIT_BGR, OZNAKIT_ARGB}) {
      for (const int orientation : {1, 4, 6}) {
        const kit_test::StoredPicture stored(rgb, format, orientation, 5, orientation == 4);
        const Face face = described(stored.image(), rect, 0, OZNAKIT_WITH_POINTS_68);
        EXPECT_EQ(face.points, expected) << format << " " << orientation;
      }
    }
    const kit_test::StoredPicture stored(rgb, OZNAKIT_RGB, 1, 0, /*upwards=*/false);
    EXPECT_EQ(described(stored.image(), rect, 0, OZNAKIT_WITH_POINTS_5).points,
              corePoints(rgb, rect, /*five=*/true));
  }
}

TEST(DescribeFace, FillsInWhatIsAskedFor) {
  const oznakit_image image = viewOf(photograph());
  EXPECT_TRUE(described(image, {9, 9, 3, 3}, 0, 0).points.empty());  // Nothing is looked at.
  const Face points = described(image, kBox, 0, OZNAKIT_WITH_POINTS_68);
  EXPECT_EQ(points.points.size(), 136U);
  EXPECT_TRUE(std::isnan(points.quality) && std::isnan(points.roll) && std::isnan(points.yaw) &&
              std::isnan(points.pitch) && std::isnan(points.left_eye) &&
              std::isnan(points.right_eye) && std::isnan(points.sharpness));
  const Face details = described(image, kBox, 0, OZNAKIT_WITH_DETAILS);
  EXPECT_TRUE(details.points.empty());
  EXPECT_GT(details.quality, 0.5F);
  EXPECT_NEAR(details.roll, 0, 10);
  EXPECT_NEAR(details.yaw, 0, 25);
  EXPECT_NEAR(details.pitch, 0, 25);
  // Open eyes.
  EXPECT_NEAR(details.left_eye, 0.3, 0.12);
  EXPECT_NEAR(details.right_eye, 0.3, 0.12);
  EXPECT_NEAR(details.sharpness, 0.6, 0.15);
  const Face five = described(image, kBox, 0, OZNAKIT_WITH_POINTS_5 | OZNAKIT_WITH_DETAILS);
  EXPECT_EQ(five.points.size(), 10U);
  EXPECT_EQ(five.quality, details.quality);
}

TEST(DescribeFace, FollowsFacesThatLieAndStandOnTheirHeads) {
  const cv::Mat& upright = photograph();
  const Face expected = described(viewOf(upright), kBox, 0, kAll);
  const auto width = static_cast<float>(upright.cols);
  const auto height = static_cast<float>(upright.rows);
  // turns: of the face, clockwise, to bring it upright; so the picture is turned the other way.
  for (int turns = 1; turns <= 3; ++turns) {
    cv::Mat turned;
    cv::rotate(upright, turned,
               turns == 1   ? cv::ROTATE_90_COUNTERCLOCKWISE
               : turns == 2 ? cv::ROTATE_180
                            : cv::ROTATE_90_CLOCKWISE);
    const Rect rect =
        turns == 1 ? Rect{kBox.top, width - kBox.right, kBox.bottom, width - kBox.left}
        : turns == 2
            ? Rect{width - kBox.right, height - kBox.bottom, width - kBox.left, height - kBox.top}
            : Rect{height - kBox.bottom, kBox.left, height - kBox.top, kBox.right};
    const Face face = described(viewOf(turned), rect, turns, kAll);
    ASSERT_EQ(face.points.size(), 136U);
    for (std::size_t i = 0; i < 136; i += 2) {
      const float x = expected.points[i];
      const float y = expected.points[i + 1];
      const cv::Point2f place = turns == 1   ? cv::Point2f(y, width - 1 - x)
                                : turns == 2 ? cv::Point2f(width - 1 - x, height - 1 - y)
                                             : cv::Point2f(height - 1 - y, x);
      ASSERT_NEAR(face.points[i], place.x, 1e-3) << turns << " turns, number " << i;
      ASSERT_NEAR(face.points[i + 1], place.y, 1e-3) << turns << " turns, number " << i;
    }
    EXPECT_NEAR(std::remainder(face.roll - (expected.roll - 90.0 * turns), 360), 0, 0.05);
    EXPECT_NEAR(face.yaw, expected.yaw, 0.05);
    EXPECT_NEAR(face.pitch, expected.pitch, 0.05);
    EXPECT_NEAR(face.left_eye, expected.left_eye, 1e-4);
    EXPECT_NEAR(face.right_eye, expected.right_eye, 1e-4);
    EXPECT_NEAR(face.sharpness, expected.sharpness, 0.01);
    EXPECT_NEAR(face.quality, expected.quality, 1e-3);
  }
}

TEST(DescribeFace, TellsRollWithinTwoDegreesOnATurnedPhotograph) {
  const float straight = described(viewOf(photograph()), kBox, 0, OZNAKIT_WITH_DETAILS).roll;
  for (int degrees = -20; degrees <= 20; degrees += 5) {
    cv::Mat turned;  // Clockwise, about the middle of the box.
    cv::warpAffine(photograph(), turned,
                   cv::getRotationMatrix2D(cv::Point2f(253, 213), -degrees, 1), photograph().size(),
                   cv::INTER_LINEAR, cv::BORDER_REPLICATE);
    EXPECT_NEAR(described(viewOf(turned), kBox, 0, OZNAKIT_WITH_DETAILS).roll - straight, degrees,
                2);
  }
}

TEST(DescribeFace, TellsGoodPointsFromBadOnes) {
  const oznakit_image image = viewOf(photograph());
  const float good = described(image, kBox, 0, OZNAKIT_WITH_DETAILS).quality;
  EXPECT_GT(good, 0.6F);
  EXPECT_LE(good, 1.0F);
  // Half beside the face, and on the uniform.
  EXPECT_LT(described(image, {30, 60, 180, 210}, 0, OZNAKIT_WITH_DETAILS).quality, 0.4F * good);
  EXPECT_LT(described(image, {180, 400, 330, 550}, 0, OZNAKIT_WITH_DETAILS).quality, 0.4F * good);
}

TEST(DescribeFace, RefusesBoxesWithoutArea) {
  const oznakit_image image = viewOf(photograph());
  constexpr float kNan = std::numeric_limits<float>::quiet_NaN();
  constexpr float kInfinity = std::numeric_limits<float>::infinity();
  for (const Rect& rect :
       {Rect{20, 20, 20, 40}, Rect{20, 20, 40, 20}, Rect{40, 20, 20, 40}, Rect{20, 40, 40, 20},
        Rect{kNan, 0, 9, 9}, Rect{0, kNan, 9, 9}, Rect{0, 0, kNan, 9}, Rect{0, 0, 9, kNan},
        Rect{-kInfinity, 0, 9, 9}, Rect{0, 0, 9, kInfinity}}) {
    try {
      described(image, rect, 0, kAll);
      ADD_FAILURE() << rect.left << " " << rect.top << " " << rect.right << " " << rect.bottom;
    } catch (const kit::Error& error) {
      EXPECT_EQ(error.status(), OZNAKIT_BAD_ARGUMENT);
      const std::string start =
          "Expected a box with left below right and top below bottom, found left ";
      EXPECT_EQ(std::string(error.what()).substr(0, start.size()), start);
    }
  }
}

TEST(DescribeFace, HasNoPointsOfLessThanAQuarterOfAFace) {
  const oznakit_image image = viewOf(photograph());  // 512 by 600.
  EXPECT_FALSE(described(image, {-299, 100, 101, 500}, 0, kAll).points.empty());
  for (const Rect& rect :
       {Rect{-301, 100, 99, 500}, Rect{413, 100, 813, 500}, Rect{100, -301, 500, 99},
        Rect{100, 501, 500, 901}, Rect{600, 100, 700, 200}, Rect{100, -90, 200, -10}}) {
    const Face face = described(image, rect, 0, kAll);
    EXPECT_TRUE(face.points.empty());
    EXPECT_TRUE(std::isnan(face.quality) && std::isnan(face.roll) && std::isnan(face.sharpness));
  }
}

TEST(DescribeFace, TakesAnyOtherBoxOfAnyPicture) {
  std::mt19937 random(5);
  const auto log_uniform = [&](double most) {
    return static_cast<float>(
        std::exp(std::uniform_real_distribution<>(0, std::log(most))(random)));
  };
  int placed = 0;
  for (int i = 0; i < 100; ++i) {
    const cv::Mat bgr = kit_test::coloured(static_cast<int>(log_uniform(300)),
                                           static_cast<int>(log_uniform(300)), 0);
    const float x = log_uniform(bgr.cols) - 1;
    const float y = log_uniform(bgr.rows) - 1;
    // Reaches some distance to either side from a pixel inside, or any at all.
    const double reach = i % 2 == 0 ? 100 : 3e4;
    const Rect rect = {x - log_uniform(reach), y - log_uniform(reach), x + log_uniform(reach),
                       y + log_uniform(reach)};
    const Face face = described(viewOf(bgr), rect, static_cast<int>(random() % 4), kAll);
    EXPECT_TRUE(face.points.empty() || face.points.size() == 136U);
    placed += face.points.empty() ? 0 : 1;
  }
  EXPECT_GT(placed, 10);
}

// Rows that an alignment has no business with lie in pages that nobody may read.
TEST(DescribeFace, LooksAtTheFaceAndHalfItsSizeAroundAlone) {
  const auto page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
  const cv::Mat& bgr = photograph();
  // A row in a page of its own, on a picture that is three times as high.
  ASSERT_LE(static_cast<std::size_t>(bgr.cols) * 3, page);
  const std::size_t rows = static_cast<std::size_t>(bgr.rows) * 3;
  void* const block =
      mmap(nullptr, rows * page, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  ASSERT_NE(block, MAP_FAILED);
  auto* const bytes = static_cast<std::uint8_t*>(block);
  for (int y = 0; y < bgr.rows; ++y) {
    std::memcpy(bytes + static_cast<std::size_t>(bgr.rows + y) * page, bgr.ptr(y),
                static_cast<std::size_t>(bgr.cols) * 3);
  }
  // The box with half its height around: rows 600 + 110 - 103 to 600 + 316 + 103.
  const std::size_t first = 607;
  const std::size_t last = 1019;
  ASSERT_EQ(mprotect(bytes, first * page, PROT_NONE), 0);
  ASSERT_EQ(mprotect(bytes + (last + 1) * page, (rows - last - 1) * page, PROT_NONE), 0);
  for (const int orientation : {1, 2}) {
    oznakit_image image = viewOf(bgr);
    image.pixels = bytes;
    image.height = static_cast<int>(rows);
    image.row_bytes = static_cast<std::ptrdiff_t>(page);
    image.orientation = orientation;
    EXPECT_EQ(described(image, {kBox.left, 710, kBox.right, 916}, 0, OZNAKIT_WITH_POINTS_68)
                  .points.size(),
              136U);
  }
  munmap(block, rows * page);
}

}  // namespace
