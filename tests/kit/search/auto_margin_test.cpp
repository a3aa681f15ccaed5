// The margin that is tried by itself.

#include "kit/search/auto_margin.h"

#include <gtest/gtest.h>

#include "tests/kit/open_finder.h"

namespace {

TEST(IsPortraitLike, TakesSmallPicturesThatAreNearlySquare) {
  EXPECT_TRUE(kit::isPortraitLike({200, 200}));
  EXPECT_TRUE(kit::isPortraitLike({400, 600}));
  EXPECT_FALSE(kit::isPortraitLike({399, 600}));
  EXPECT_TRUE(kit::isPortraitLike({640, 640}));
  EXPECT_FALSE(kit::isPortraitLike({641, 641}));
}

TEST(AutoMargin, FindsTheFaceThatFillsAPicture) {
  const kit_test::FinderPtr finder = kit_test::openCompact();
  const cv::Mat photo = kit_test::readSample("grace_hopper");
  const cv::Mat face = photo(cv::Rect(182, 134, 165, 165));
  oznakit_search_options options = kit_test::defaultSearch();
  options.margin = 0;
  EXPECT_EQ(kit_test::find(finder.get(), kit_test::viewOf(face), options).faces.size(), 0U);
  options.margin = OZNAKIT_MARGIN_AUTO;
  const kit_test::Found found = kit_test::find(finder.get(), kit_test::viewOf(face), options);
  ASSERT_EQ(found.faces.size(), 1U);
  // In pixels of the picture without its margin, with the face in the middle.
  EXPECT_NEAR(found.faces[0].left + found.faces[0].right, 165, 60);
  EXPECT_NEAR(found.faces[0].top + found.faces[0].bottom, 165, 60);
}

}  // namespace
