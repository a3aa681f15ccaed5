// Points and details of faces through the C interface.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <string>
#include <utility>
#include <vector>

#include "kit/oznakit.h"
#include "tests/kit/open_finder.h"
#include "tests/kit/pixels/stored_picture.h"

namespace {

using kit_test::Found;

class DescribedFaces : public testing::Test {
 protected:
  static void SetUpTestSuite() {
    finder_ = kit_test::openDirectory(OZNA_SOURCE_DIR "/public", 0).release();
    photo_ = kit_test::readSample("grace_hopper");
  }
  static void TearDownTestSuite() {
    oznakit_finder_close(finder_);
    photo_.release();
  }

  static Found align(const std::vector<float>& boxes, const std::vector<std::int32_t>& turns,
                     std::int32_t with) {
    const oznakit_image image = kit_test::viewOf(photo_);
    oznakit_faces* faces = nullptr;
    const oznakit_status status =
        oznakit_finder_align(finder_, &image, boxes.data(), turns.empty() ? nullptr : turns.data(),
                             static_cast<std::int32_t>(boxes.size() / 4), with, &faces);
    EXPECT_EQ(faces == nullptr, status != OZNAKIT_OK);
    return kit_test::copyOut(status, faces);
  }

  static oznakit_finder* finder_;
  static cv::Mat photo_;
};
oznakit_finder* DescribedFaces::finder_ = nullptr;
cv::Mat DescribedFaces::photo_;

TEST_F(DescribedFaces, AFinderHoldsBothPartsByDefault) {
  oznakit_finder_info info = OZNAKIT_FINDER_INFO_INIT;
  ASSERT_EQ(oznakit_finder_get_info(finder_, &info), OZNAKIT_OK);
  EXPECT_EQ(info.parts, OZNAKIT_DETECTION | OZNAKIT_LANDMARKS);
}

TEST_F(DescribedFaces, FindAndAlignGiveTheSamePointsAndDetails) {
  oznakit_search_options options = kit_test::defaultSearch();
  options.with = OZNAKIT_WITH_POINTS_68 | OZNAKIT_WITH_DETAILS;
  const Found found = kit_test::find(finder_, kit_test::viewOf(photo_), options);
  ASSERT_EQ(found.status, OZNAKIT_OK) << oznakit_last_message();
  ASSERT_GE(found.faces.size(), 1U);
  const oznakit_face& face = found.faces[0];
  ASSERT_EQ(face.point_count, 68);
  for (int i = 0; i < 68; ++i) {
    const float width = face.right - face.left;
    EXPECT_NEAR(face.points[2 * i], (face.left + face.right) / 2, width);
    EXPECT_NEAR(face.points[2 * i + 1], (face.top + face.bottom) / 2, width);
  }
  EXPECT_LT(std::abs(face.roll), 30);
  EXPECT_GT(face.quality, 0);
  EXPECT_LE(face.quality, 1);
  const Found aligned = align({face.left, face.top, face.right, face.bottom}, {0}, options.with);
  ASSERT_EQ(aligned.status, OZNAKIT_OK);
  ASSERT_EQ(aligned.faces.size(), 1U);
  EXPECT_TRUE(std::isnan(aligned.faces[0].score));
  for (int i = 0; i < 136; ++i) EXPECT_EQ(aligned.faces[0].points[i], face.points[i]);
  EXPECT_EQ(aligned.faces[0].roll, face.roll);
  EXPECT_EQ(aligned.faces[0].quality, face.quality);
}

// Each format, with rows that go down and up and begin at odd addresses, stands for the pixels that
// packed RGB gives.
TEST_F(DescribedFaces, HasTheSameBoxesAndPointsInEveryFormatAndRowStep) {
  const cv::Mat photo = kit_test::readSample("astronaut");
  oznakit_search_options options = kit_test::defaultSearch();
  options.with = OZNAKIT_WITH_POINTS_68;
  for (int format = 0; format < kit_test::kFormats; ++format) {
    cv::Mat rgb = photo.clone();
    for (int i = 0; i < rgb.rows * rgb.cols; ++i) {
      std::uint8_t* const pixel = &rgb.data[3 * i];
      std::swap(pixel[0], pixel[2]);
      if (format == OZNAKIT_GREY) pixel[0] = pixel[2] = pixel[1];
    }
    const kit_test::StoredPicture packed(rgb, OZNAKIT_RGB, 1, 0, /*upwards=*/false);
    const Found expected = kit_test::find(finder_, packed.image(), options);
    ASSERT_EQ(expected.status, OZNAKIT_OK);
    ASSERT_GE(expected.faces.size(), 1U);
    ASSERT_EQ(expected.faces[0].point_count, 68);
    for (const bool upwards : {false, true}) {
      const kit_test::StoredPicture stored(rgb, format, 1, 13, upwards);
      const Found found = kit_test::find(finder_, stored.image(), options);
      ASSERT_EQ(found.status, OZNAKIT_OK) << oznakit_last_message();
      ASSERT_EQ(found.faces.size(), expected.faces.size()) << format << " " << upwards;
      for (std::size_t i = 0; i < found.faces.size(); ++i) {
        const oznakit_face &a = found.faces[i], &b = expected.faces[i];
        EXPECT_EQ(a.left, b.left);
        EXPECT_EQ(a.top, b.top);
        EXPECT_EQ(a.right, b.right);
        EXPECT_EQ(a.bottom, b.bottom);
        EXPECT_EQ(a.score, b.score);
        EXPECT_TRUE(std::equal(a.points, a.points + 136, b.points)) << format << " " << upwards;
      }
    }
  }
}

TEST_F(DescribedFaces, KeepsTheOrderOfTheBoxes) {
  const Found found = align({200, 100, 300, 200, 100, 80, 400, 420}, {}, OZNAKIT_WITH_POINTS_5);
  ASSERT_EQ(found.status, OZNAKIT_OK) << oznakit_last_message();
  ASSERT_EQ(found.faces.size(), 2U);
  EXPECT_EQ(found.faces[0].left, 200);
  EXPECT_EQ(found.faces[1].left, 100);
  EXPECT_EQ(found.faces[1].point_count, 5);
  EXPECT_EQ(found.faces[1].points[10], 0);
  EXPECT_TRUE(std::isnan(found.faces[1].yaw));
}

TEST_F(DescribedFaces, RefusesBoxesThatAreNone) {
  const float nan = std::numeric_limits<float>::quiet_NaN();
  const float infinite = std::numeric_limits<float>::infinity();
  const std::vector<std::vector<float>> odd = {
      {nan, 0, 50, 50},     {0, 0, infinite, 50},  {50, 0, 50, 50},   {0, 50, 50, 40},
      {-90, -90, -50, -50}, {90000, 0, 90050, 50}, {0, 0, 1e-3F, 50}, {-1e30F, -1e30F, -1e29F, 0}};
  for (const std::vector<float>& box : odd) {
    EXPECT_EQ(align(box, {}, OZNAKIT_WITH_POINTS_68).status, OZNAKIT_BAD_ARGUMENT)
        << box[0] << " " << box[1] << " " << box[2] << " " << box[3];
    EXPECT_STRNE(oznakit_last_message(), "");
  }
  EXPECT_EQ(align({0, 0, 50, 50}, {4}, 0).status, OZNAKIT_BAD_ARGUMENT);
  EXPECT_EQ(align({0, 0, 50, 50}, {-1}, 0).status, OZNAKIT_BAD_ARGUMENT);
  EXPECT_EQ(align({0, 0, 50, 50}, {}, 3).status, OZNAKIT_BAD_ARGUMENT);
  EXPECT_EQ(align({}, {}, 0).status, OZNAKIT_OK);
}

TEST_F(DescribedFaces, ProgressCoversThePointsToo) {
  std::vector<float> reported;
  oznakit_search_options options = kit_test::defaultSearch();
  options.with = OZNAKIT_WITH_POINTS_5;
  options.progress = [](float done, void* context) -> std::int32_t {
    static_cast<std::vector<float>*>(context)->push_back(done);
    return done < 0.95F;
  };
  options.context = &reported;
  EXPECT_EQ(kit_test::find(finder_, kit_test::viewOf(photo_), options).status, OZNAKIT_CANCELLED);
  ASSERT_FALSE(reported.empty());
  EXPECT_GE(reported.back(), 0.95F);
}

}  // namespace
