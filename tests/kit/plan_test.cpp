// What a search would do with a picture.

#include <gtest/gtest.h>

#include <opencv2/imgproc.hpp>

#include "kit/search/framed_picture.h"
#include "kit/search/picture_reduction.h"
#include "tests/kit/open_finder.h"

namespace {

// Options without a border.
oznakit_search_options planned(std::int32_t preset = OZNAKIT_BALANCED) {
  oznakit_search_options options = OZNAKIT_SEARCH_OPTIONS_INIT;
  options.preset = preset;
  options.margin = 0;
  return options;
}

class Plan : public testing::Test {
 protected:
  oznakit_plan of(std::int32_t width, std::int32_t height,
                  const oznakit_search_options& options) const {
    oznakit_plan plan = OZNAKIT_PLAN_INIT;
    EXPECT_EQ(oznakit_finder_plan(finder_.get(), width, height, &options, &plan), OZNAKIT_OK)
        << oznakit_last_message();
    return plan;
  }

  kit_test::FinderPtr finder_ = kit_test::openCompact();
};

TEST_F(Plan, TellsScansWorkingImageAndReduction) {
  const oznakit_plan plan = of(7360, 4912, planned());
  EXPECT_EQ(plan.scans, 1);
  // 13 / 32 of 640.
  EXPECT_EQ(plan.working_width, 260);
  EXPECT_EQ(plan.working_height, 173);
  EXPECT_EQ(plan.least_fraction, 0);
  EXPECT_EQ(plan.reduction, 2);
  EXPECT_EQ(plan.scan.max_upscale, 4);
  EXPECT_EQ(plan.margin, 0);
  EXPECT_GT(of(7360, 4912, planned(OZNAKIT_THOROUGH)).scans, 10);
  EXPECT_EQ(of(20000, 2, planned()).scans, 0);
  EXPECT_EQ(of(20000, 2, planned()).working_height, 0);
}

TEST_F(Plan, AsksForLargerFacesWherePointsArePlaced) {
  oznakit_search_options options = planned();
  EXPECT_EQ(of(4000, 3000, options).reduction, 2);
  options.with = OZNAKIT_WITH_POINTS_5;
  EXPECT_EQ(of(4000, 3000, options).reduction, 1);
}

TEST_F(Plan, TellsWhatTheFirstNetworkCanHold) {
  oznakit_search_options options = planned();
  oznakit_scan scan = OZNAKIT_SCAN_INIT;
  scan.min_face_fraction = 0.01F;
  options.scan = &scan;
  const oznakit_plan plan = of(640, 640, options);
  // 13 / 6 of 640, and 13 / 22 of it, which is below 384.
  EXPECT_EQ(plan.working_width, 1386);
  EXPECT_FLOAT_EQ(plan.least_fraction, 0.035F);
  scan.min_face_fraction = plan.least_fraction;
  EXPECT_EQ(of(640, 640, options).least_fraction, 0);
}

TEST_F(Plan, RefusesWhatASearchWould) {
  oznakit_plan plan = OZNAKIT_PLAN_INIT;
  const auto planned = [&](std::int32_t width, std::int32_t height) {
    return oznakit_finder_plan(finder_.get(), width, height, nullptr, &plan);
  };
  EXPECT_EQ(planned(100, 100), OZNAKIT_OK);
  EXPECT_EQ(planned(0, 100), OZNAKIT_BAD_ARGUMENT);
  EXPECT_EQ(planned(100, 1000001), OZNAKIT_BAD_ARGUMENT);
  plan.size = 0;
  EXPECT_EQ(planned(100, 100), OZNAKIT_BAD_ARGUMENT);
  EXPECT_EQ(oznakit_finder_plan(nullptr, 100, 100, nullptr, &plan), OZNAKIT_BAD_ARGUMENT);
  EXPECT_EQ(oznakit_finder_plan(finder_.get(), 100, 100, nullptr, nullptr), OZNAKIT_BAD_ARGUMENT);
}

// The faces of a picture and of its half, both in the pixels of the whole.
TEST_F(Plan, FindsTheSameFacesInTheReducedPicture) {
  const cv::Mat photograph = kit_test::readSample("astronaut");
  cv::Mat whole;
  cv::resize(photograph, whole, {}, 8, 8, cv::INTER_CUBIC);
  finder_ = kit_test::openDirectory(OZNA_SOURCE_DIR "/public", OZNAKIT_DETECTION);
  for (const double margin : {0.0, 0.1}) {
    oznakit_search_options options = planned();
    options.margin = margin;
    const kit_test::Found expected =
        kit_test::find(finder_.get(), kit_test::viewOf(whole), options);
    ASSERT_EQ(expected.faces.size(), 1U);
    const oznakit_plan plan = of(whole.cols, whole.rows, options);
    ASSERT_EQ(plan.reduction, 2);
    cv::Mat reduced;
    cv::resize(whole, reduced, {}, 0.5, 0.5, cv::INTER_AREA);
    options.scan = &plan.scan;
    options.margin = plan.margin;
    const kit_test::Found found = kit_test::find(finder_.get(), kit_test::viewOf(reduced), options);
    ASSERT_EQ(found.faces.size(), 1U);
    const oznakit_face& face = expected.faces[0];
    const float side = face.right - face.left;
    EXPECT_NEAR(2 * found.faces[0].left, face.left, 0.02F * side);
    EXPECT_NEAR(2 * found.faces[0].bottom, face.bottom, 0.02F * side);
  }
}

}  // namespace
