// One finder for many threads.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <thread>
#include <vector>

#include "kit/oznakit.h"
#include "tests/kit/open_finder.h"

namespace {

using kit_test::Found;

TEST(FinderThreads, EightFindWhatOneFinds) {
  const kit_test::FinderPtr finder = kit_test::openCompact();
  const cv::Mat photo = kit_test::readSample("group");
  const Found expected =
      kit_test::find(finder.get(), kit_test::viewOf(photo), kit_test::defaultSearch());
  ASSERT_GT(expected.faces.size(), 3U);
  constexpr int kThreads = 8;
  std::vector<Found> found(kThreads);
  std::vector<std::thread> threads;
  for (int i = 0; i < kThreads; ++i) {
    threads.emplace_back([&, i] {
      for (int round = 0; round < 2; ++round) {
        found[static_cast<std::size_t>(i)] =
            kit_test::find(finder.get(), kit_test::viewOf(photo), kit_test::defaultSearch());
        oznakit_finder_info info = OZNAKIT_FINDER_INFO_INIT;
        oznakit_finder_get_info(finder.get(), &info);
        if (i == 0) oznakit_finder_trim(finder.get());
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  for (const Found& one : found) {
    ASSERT_EQ(one.status, OZNAKIT_OK);
    ASSERT_EQ(one.faces.size(), expected.faces.size());
    for (std::size_t i = 0; i < one.faces.size(); ++i) {
      EXPECT_EQ(one.faces[i].left, expected.faces[i].left);
      EXPECT_EQ(one.faces[i].bottom, expected.faces[i].bottom);
      EXPECT_EQ(one.faces[i].score, expected.faces[i].score);
    }
  }
  oznakit_finder_info info = OZNAKIT_FINDER_INFO_INIT;
  oznakit_finder_get_info(finder.get(), &info);
  EXPECT_LE(info.detectors, kThreads);
}

// The points and details of a search's faces and a chip of the first.
struct Portrait {
  Found found;
  std::vector<std::uint8_t> chip;
};

Portrait portray(oznakit_finder* finder, const cv::Mat& photo) {
  oznakit_search_options options = kit_test::defaultSearch();
  options.with = OZNAKIT_WITH_POINTS_68 | OZNAKIT_WITH_DETAILS;
  const oznakit_image image = kit_test::viewOf(photo);
  Portrait portrait = {kit_test::find(finder, image, options), {}};
  if (portrait.found.faces.empty()) return portrait;
  oznakit_chip_options chip = OZNAKIT_CHIP_OPTIONS_INIT;
  chip.width = chip.height = 40;
  portrait.chip.resize(std::size_t{3} * 40 * 40);
  EXPECT_EQ(oznakit_chip(&image, &portrait.found.faces[0], &chip, portrait.chip.data(), 0),
            OZNAKIT_OK);
  return portrait;
}

TEST(FinderThreads, EightPlaceThePointsAndCutTheChipsThatOneDoes) {
  const kit_test::FinderPtr finder =
      kit_test::openDirectory(OZNA_SOURCE_DIR "/public/compact", /*parts=*/0);
  const cv::Mat photo = kit_test::readSample("astronaut");
  const Portrait expected = portray(finder.get(), photo);
  ASSERT_GE(expected.found.faces.size(), 1U);
  std::vector<Portrait> portraits(8);
  std::vector<std::thread> threads;
  for (Portrait& portrait : portraits) {
    threads.emplace_back([&] { portrait = portray(finder.get(), photo); });
  }
  for (std::thread& thread : threads) thread.join();
  for (const Portrait& portrait : portraits) {
    ASSERT_EQ(portrait.found.faces.size(), expected.found.faces.size());
    const oznakit_face &a = portrait.found.faces[0], &b = expected.found.faces[0];
    EXPECT_TRUE(std::equal(a.points, a.points + 136, b.points));
    EXPECT_EQ(a.quality, b.quality);
    EXPECT_EQ(a.yaw, b.yaw);
    EXPECT_EQ(a.sharpness, b.sharpness);
    EXPECT_EQ(portrait.chip, expected.chip);
  }
}

std::int32_t stopAtOnce(float /*done*/, void* /*context*/) { return 0; }

TEST(FinderThreads, ThreadsThatEndGiveTheirDetectorBack) {
  const kit_test::FinderPtr finder = kit_test::openCompact();
  const cv::Mat photo = kit_test::readSample("group");
  for (int i = 0; i < 6; ++i) {
    std::thread([&] {
      oznakit_search_options options = kit_test::defaultSearch();
      if (i % 2 == 1) options.progress = stopAtOnce;  // By an exception.
      kit_test::find(finder.get(), kit_test::viewOf(photo), options);
    }).join();
  }
  oznakit_finder_info info = OZNAKIT_FINDER_INFO_INIT;
  oznakit_finder_get_info(finder.get(), &info);
  EXPECT_EQ(info.detectors, 1);
}

}  // namespace
