// How small pictures may be decoded, worked out by hand, and the plan that says so.

#include "kit/search/picture_reduction.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <random>

#include "kit/search/framed_picture.h"
#include "tests/kit/open_finder.h"

namespace {

using kit::reducedSearch;
using kit::SearchRequest;

const kit::Size kInput = {384, 384};

oznakit_search_options usual(std::int32_t preset = OZNAKIT_BALANCED) {
  oznakit_search_options options = OZNAKIT_SEARCH_OPTIONS_INIT;
  options.preset = preset;
  options.margin = 0;
  return options;
}

int reductionOf(const cv::Size& upright, const oznakit_search_options& options, int least_face_px) {
  return reducedSearch(upright, SearchRequest(options), kInput, least_face_px).reduction;
}

TEST(LeastFaceSide, IsThatOfTwoPercentOrOfTheLandmarksOrTwiceTheLastInput) {
  EXPECT_EQ(kit::leastFaceSide(/*with_landmarks=*/false, 48), 100);
  EXPECT_EQ(kit::leastFaceSide(/*with_landmarks=*/true, 48), 125);
  EXPECT_EQ(kit::leastFaceSide(/*with_landmarks=*/true, 64), 128);
}

TEST(ReducedSize, IsRoundedUpHoweverLargeTheSides) {
  EXPECT_EQ(kit::reducedSize({7360, 4913}, 8), cv::Size(920, 615));
  EXPECT_EQ(kit::reducedSize({1, 8}, 8), cv::Size(1, 1));
  constexpr int kLargest = std::numeric_limits<int>::max();
  EXPECT_EQ(kit::reducedSize({kLargest, kLargest - 7}, 8), cv::Size(268435456, 268435455));
  EXPECT_EQ(kit::reducedSize({kLargest, 1}, 1), cv::Size(kLargest, 1));
}

TEST(PictureReduction, KeepsTheSmallestFaceLargeEnough) {
  // The smallest face is a twentieth of the longer side: 368 pixels, and 92 of a quarter.
  EXPECT_EQ(reductionOf({7360, 4912}, usual(), 100), 2);
  EXPECT_EQ(reductionOf({4912, 7360}, usual(), 100), 2);
  EXPECT_EQ(reductionOf({7360, 4912}, usual(), 92), 4);
  // 200 pixels, so that a half holds 100 but not 125.
  EXPECT_EQ(reductionOf({4000, 3000}, usual(), 100), 2);
  EXPECT_EQ(reductionOf({4000, 3000}, usual(), 125), 1);
  EXPECT_EQ(reductionOf({3968, 2976}, usual(), 100), 1);
  EXPECT_EQ(reductionOf({20000, 12000}, usual(), 125), 8);
  EXPECT_EQ(reductionOf({1024, 768}, usual(), 100), 1);
}

TEST(PictureReduction, FollowsTheSizeThatIsSearchedFor) {
  // A tenth: 736 pixels.
  EXPECT_EQ(reductionOf({7360, 4912}, usual(OZNAKIT_FAST), 100), 4);
  oznakit_search_options options = usual();
  options.min_face_px = 800;
  EXPECT_EQ(reductionOf({7360, 4912}, options, 100), 8);
  options.min_face_px = 400;
  EXPECT_EQ(reductionOf({7360, 4912}, options, 100), 4);
  // Tiles look at the picture's own pixels.
  EXPECT_EQ(reductionOf({7360, 4912}, usual(OZNAKIT_THOROUGH), 100), 1);
  options = usual();
  oznakit_scan scan = OZNAKIT_SCAN_INIT;
  scan.min_face_fraction = 0.02F;  // A working image that the network cannot hold.
  options.scan = &scan;
  EXPECT_EQ(reductionOf({20000, 12000}, options, 100), 1);
}

TEST(PictureReduction, LeavesAPortraitWholeThatMayGetAMargin) {
  oznakit_search_options options = usual();
  options.min_face_share = 0.5;
  EXPECT_EQ(reductionOf({640, 640}, options, 100), 2);
  options.margin = OZNAKIT_MARGIN_AUTO;
  EXPECT_EQ(reductionOf({640, 640}, options, 100), 1);
  EXPECT_EQ(reductionOf({704, 640}, options, 100), 2);
}

TEST(PictureReduction, LeavesTheWorkingImageAsItIs) {
  const unsigned seed = 11;
  std::mt19937 random(seed);
  std::uniform_int_distribution<int> side(300, 24000);
  int reduced = 0;
  for (int i = 0; i < 2000; ++i) {
    const cv::Size upright(side(random), side(random));
    oznakit_search_options options = usual(i % 2 == 0 ? OZNAKIT_BALANCED : OZNAKIT_FAST);
    if (i % 3 == 0) options.min_face_px = 300;
    if (i % 5 == 0) options.margin = 0.25;
    const kit::SearchRequest request(options);
    const kit::ReducedSearch search = reducedSearch(upright, request, kInput, 100);
    if (search.reduction == 1) continue;
    ++reduced;
    const cv::Size searched = kit::framedSize(upright, kit::borderPixels(upright, request.margin));
    const int longer_searched = std::max(searched.width, searched.height);
    oznalib::CascadeParameter whole = request.parameter;
    double smallest = (i % 2 == 0 ? 0.05 : 0.1) * longer_searched;
    if (request.min_face) {
      // One scan of 13 pixels for 300.
      whole.maxUpscale = 1;
      whole.maxImageSide = longer_searched;
      whole.minFaceFraction = 300.5F / static_cast<float>(longer_searched);
      smallest = 300;
    }
    const kit::Size expected = kit::workingSize({searched.width, searched.height}, whole);
    const cv::Size small = kit::reducedSize(upright, search.reduction);
    const cv::Size seen = kit::framedSize(small, kit::borderPixels(small, search.margin));
    const kit::Size working = kit::workingSize({seen.width, seen.height}, search.parameter);
    EXPECT_EQ(working.width, expected.width) << upright << " seed " << seed;
    EXPECT_EQ(working.height, expected.height) << upright << " seed " << seed;
    // The working image is cut to whole pixels, so that the face is at most a hundredth larger.
    EXPECT_GE(1.01 * smallest / search.reduction, 100) << upright << " seed " << seed;
  }
  EXPECT_GT(reduced, 500);
}

}  // namespace
