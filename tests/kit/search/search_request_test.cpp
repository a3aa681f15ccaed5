// What a host may ask for.

#include "kit/search/search_request.h"

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <limits>
#include <string>
#include <utility>
#include <vector>

#include "kit/error.h"

namespace kit {
namespace {

const oznakit_search_options kDefaults = OZNAKIT_SEARCH_OPTIONS_INIT;

oznakit_search_options changed(const std::function<void(oznakit_search_options&)>& change) {
  oznakit_search_options options = kDefaults;
  change(options);
  return options;
}

std::string refusalOf(const oznakit_search_options& options) {
  try {
    const SearchRequest request(options);
    return "taken";
  } catch (const Error& error) {
    EXPECT_EQ(error.status(), OZNAKIT_BAD_ARGUMENT);
    return error.what();
  }
}

TEST(SearchRequest, PresetsDifferInTheSmallestFace) {
  EXPECT_EQ(SearchRequest(kDefaults).parameter.minFaceFraction, 0.05F);
  EXPECT_FALSE(SearchRequest(kDefaults).min_face);
  const auto fast = changed([](auto& options) { options.preset = OZNAKIT_FAST; });
  EXPECT_EQ(SearchRequest(fast).parameter.minFaceFraction, 0.1F);
  const auto thorough = changed([](auto& options) { options.preset = OZNAKIT_THOROUGH; });
  ASSERT_TRUE(SearchRequest(thorough).min_face);
  EXPECT_EQ(minFacePixels(*SearchRequest(thorough).min_face, 5000), 20);
}

TEST(SearchRequest, SmallestFaceOverridesThePreset) {
  const auto pixels = changed([](auto& options) {
    options.preset = OZNAKIT_THOROUGH;
    options.min_face_px = 40.7F;
  });
  EXPECT_EQ(minFacePixels(*SearchRequest(pixels).min_face, 5000), 40);
  const auto share = changed([](auto& options) { options.min_face_share = 0.03; });
  EXPECT_EQ(minFacePixels(*SearchRequest(share).min_face, 1000), 30);
  EXPECT_EQ(minFacePixels(*SearchRequest(share).min_face, 100), 8);
}

TEST(SearchRequest, MarginIsAutomaticUnlessGiven) {
  EXPECT_TRUE(SearchRequest(kDefaults).is_margin_auto);
  EXPECT_EQ(SearchRequest(kDefaults).margin, 0);
  const auto given = changed([](auto& options) { options.margin = 0.25; });
  EXPECT_FALSE(SearchRequest(given).is_margin_auto);
  EXPECT_EQ(SearchRequest(given).margin, 0.25);
}

TEST(SearchRequest, RefusesEachFieldOutOfRangeByItsName) {
  const float nan = std::numeric_limits<float>::quiet_NaN();
  const std::vector<std::pair<std::string, std::function<void(oznakit_search_options&)>>> cases = {
      {"oznakit_search_options", [](auto& options) { options.size = 0; }},
      {"preset", [](auto& options) { options.preset = 3; }},
      {"preset", [](auto& options) { options.preset = -1; }},
      {"min_face_px", [](auto& options) { options.min_face_px = 7.9F; }},
      {"min_face_px", [](auto& options) { options.min_face_px = 100001; }},
      {"min_face_px", [=](auto& options) { options.min_face_px = nan; }},
      {"min_face_share", [](auto& options) { options.min_face_share = 0.0009; }},
      {"min_face_share", [](auto& options) { options.min_face_share = 1.01; }},
      {"min_face_share", [=](auto& options) { options.min_face_share = nan; }},
      {"more than one",
       [](auto& options) { options.min_face_px = 20, options.min_face_share = 0.1; }},
      {"turns", [](auto& options) { options.turns = 2; }},
      {"margin", [](auto& options) { options.margin = -0.5; }},
      {"margin", [](auto& options) { options.margin = 1.01; }},
      {"margin", [=](auto& options) { options.margin = nan; }},
      {"least_score", [](auto& options) { options.least_score = 1.1F; }},
      {"least_score", [=](auto& options) { options.least_score = nan; }},
      {"max_faces", [](auto& options) { options.max_faces = -1; }},
      {"with", [](auto& options) { options.with = 8; }},
      {"with", [](auto& options) { options.with = 3; }},
      {"with", [](auto& options) { options.with = -1; }},
  };
  for (const auto& [word, change] : cases) {
    EXPECT_NE(refusalOf(changed(change)).find(word), std::string::npos)
        << word << ": " << refusalOf(changed(change));
  }
}

TEST(SearchRequest, RefusesEachNumberOfAScanOutOfRangeByItsName) {
  const float nan = std::numeric_limits<float>::quiet_NaN();
  const oznakit_scan sound = {2, 640, 0.05F, 12, 1.26F, 13};
  const std::vector<std::pair<std::string, std::function<void(oznakit_scan&)>>> cases = {
      {"max_upscale", [](auto& scan) { scan.max_upscale = 0; }},
      {"max_upscale", [=](auto& scan) { scan.max_upscale = nan; }},
      {"max_image_side", [](auto& scan) { scan.max_image_side = 0; }},
      {"max_image_side", [](auto& scan) { scan.max_image_side = 2147483647; }},
      {"min_face_fraction", [](auto& scan) { scan.min_face_fraction = 0; }},
      {"min_face_fraction", [](auto& scan) { scan.min_face_fraction = 1.1F; }},
      {"min_face_fraction", [](auto& scan) { scan.min_face_fraction = 0.001F; }},
      {"pyramid_levels", [](auto& scan) { scan.pyramid_levels = 0; }},
      {"pyramid_factor", [](auto& scan) { scan.pyramid_factor = 1; }},
      {"pyramid_factor", [=](auto& scan) { scan.pyramid_factor = nan; }},
      {"window_size", [](auto& scan) { scan.window_size = 0; }},
  };
  oznakit_search_options options = kDefaults;
  options.scan = &sound;
  EXPECT_EQ(refusalOf(options), "taken");
  for (const auto& [word, change] : cases) {
    oznakit_scan scan = sound;
    change(scan);
    options.scan = &scan;
    EXPECT_NE(refusalOf(options).find(word), std::string::npos)
        << word << ": " << refusalOf(options);
  }
}

}  // namespace
}  // namespace kit
