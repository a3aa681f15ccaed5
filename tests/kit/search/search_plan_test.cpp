// Scans and tiles.

#include "kit/search/search_plan.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <utility>
#include <vector>

#include "kit/error.h"

namespace kit {
namespace {

constexpr Size kInput = {384, 384};

SearchRequest balanced() {
  const oznakit_search_options options = OZNAKIT_SEARCH_OPTIONS_INIT;
  return SearchRequest(options);
}

std::vector<Scan> plan(int width, int height, int smallest_px) {
  SearchRequest request = balanced();
  request.min_face = MinFace{static_cast<double>(smallest_px), false};
  return planScans({width, height}, std::max(width, height), request, kInput);
}

// The smallest face that a scan finds: the window over the scale.
double smallestOf(const Scan& scan) {
  const Size region = {scan.region.width, scan.region.height};
  return 13.0 * std::max(scan.region.width, scan.region.height) /
         static_cast<double>(std::max(workingSize(region, scan.parameter).width,
                                      workingSize(region, scan.parameter).height));
}

TEST(PlanScans, WithoutSmallestFaceItIsOneScanWithTheGivenParameters) {
  const std::vector<Scan> scans = planScans({4000, 3000}, 4000, balanced(), kInput);
  ASSERT_EQ(scans.size(), 1U);
  EXPECT_EQ(scans[0].region, cv::Rect(0, 0, 4000, 3000));
  EXPECT_EQ(scans[0].parameter.minFaceFraction, 0.05F);
  EXPECT_EQ(scans[0].parameter.maxImageSide, 640);
}

TEST(PlanScans, FacesThatOneScanCanFindNeedNoTiles) {
  // 13 / 64 of 1280 is 260.
  const std::vector<Scan> scans = plan(1280, 700, 64);
  ASSERT_EQ(scans.size(), 1U);
  EXPECT_EQ(workingSize({1280, 700}, scans[0].parameter).width, 260);
  EXPECT_EQ(workingSize({1280, 700}, scans[0].parameter).height, 142);
  EXPECT_EQ(scans[0].parameter.pyramidLevels, 12);
}

TEST(PlanScans, EveryScanFitsTheFirstNetworkAndLiesInThePicture) {
  for (const int smallest : {8, 12, 20, 41, 100, 333}) {
    for (const auto& [width, height] : std::vector<std::pair<int, int>>{{1, 1},
                                                                        {20000, 2},
                                                                        {640, 480},
                                                                        {4000, 3000},
                                                                        {3001, 4567},
                                                                        {11552, 8664},
                                                                        {30000, 400}}) {
      SCOPED_TRACE(testing::Message() << smallest << " in " << width << " x " << height);
      for (const Scan& scan : plan(width, height, smallest)) {
        const Size working = workingSize({scan.region.width, scan.region.height}, scan.parameter);
        ASSERT_LE(working.width * working.height, 384 * 384);
        ASSERT_EQ(scan.region & cv::Rect(0, 0, width, height), scan.region);
        ASSERT_FALSE(scan.region.empty());
      }
    }
  }
}

TEST(PlanScans, EveryFaceLiesWholeInTheScanWhoseCoreHoldsItsCentre) {
  constexpr int kWidth = 4000;
  constexpr int kHeight = 3000;
  const std::vector<Scan> scans = plan(kWidth, kHeight, 20);
  ASSERT_GT(scans.size(), 10U);
  // Faces of all sizes from the smallest one on, on a coarse raster.
  for (double side = 20; side < 2000; side *= 1.25) {
    for (double x = side / 2; x <= kWidth - side / 2; x += 97) {
      for (double y = side / 2; y <= kHeight - side / 2; y += 89) {
        const bool found = std::any_of(scans.begin(), scans.end(), [&](const Scan& scan) {
          const double smallest = smallestOf(scan);
          const double largest = smallest * std::pow(1.26, scan.parameter.pyramidLevels - 1);
          const auto cx = static_cast<float>(x);
          const auto cy = static_cast<float>(y);
          return cx >= scan.core.left && cx < scan.core.right && cy >= scan.core.top &&
                 cy < scan.core.bottom && x - side / 2 >= scan.region.x &&
                 y - side / 2 >= scan.region.y && x + side / 2 <= scan.region.br().x &&
                 y + side / 2 <= scan.region.br().y && side >= smallest * 0.99 &&
                 side <= largest * 1.01;
        });
        ASSERT_TRUE(found) << side << " at " << x << ", " << y;
      }
    }
  }
}

TEST(PlanScans, CoresOfALayerDoNotOverlap) {
  const std::vector<Scan> scans = plan(4000, 3000, 20);
  for (float x = 3; x < 4000; x += 61) {
    for (float y = 3; y < 3000; y += 61) {
      // By layer, that is by smallest face, which is 20 and 120 pixels.
      int owners[2] = {0, 0};
      for (const Scan& scan : scans) {
        const bool owns = x >= scan.core.left && x < scan.core.right && y >= scan.core.top &&
                          y < scan.core.bottom;
        if (owns && scan.region.width < 4000) ++owners[smallestOf(scan) > 60 ? 1 : 0];
      }
      ASSERT_EQ(owners[0], 1);
      ASSERT_LE(owners[1], 1);
    }
  }
}

TEST(PlanScans, RefusesMoreTilesThanAnyPictureNeeds) {
  SearchRequest request = balanced();
  request.min_face = MinFace{8, false};
  // Tiles of 16 * 8 / 13 = 9 pixels that overlap by 4: 13,106 in a row of 65,535.
  try {
    planScans({65535, 65535}, 65535, request, {16, 16});
    FAIL() << "172 million tiles are planned";
  } catch (const Error& error) {
    EXPECT_EQ(error.status(), OZNAKIT_BAD_ARGUMENT);
  }
}

}  // namespace
}  // namespace kit
