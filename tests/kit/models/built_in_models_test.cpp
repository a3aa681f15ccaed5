// The models inside the library: this program holds them as a library of OZNAKIT_EMBED_MODELS does.

#include <gtest/gtest.h>
#include <stdlib.h>

#include <algorithm>

#include "kit/oznakit.h"
#include "tests/kit/open_finder.h"

namespace {

using kit_test::FinderPtr;
using kit_test::Found;

// options  Null for the defaults, as oznakit_finder_open has it.
FinderPtr openWith(const oznakit_model_options* options) {
  oznakit_finder* finder = nullptr;
  EXPECT_EQ(oznakit_finder_open(options, &finder), OZNAKIT_OK) << oznakit_last_message();
  return FinderPtr(finder);
}

TEST(EmbeddedModels, AreTakenWhereNobodyNamesOthers) {
  unsetenv("OZNA_MODELS");
  const FinderPtr finder = openWith(nullptr);
  oznakit_finder_info info = OZNAKIT_FINDER_INFO_INIT;
  ASSERT_EQ(oznakit_finder_get_info(finder.get(), &info), OZNAKIT_OK);
  EXPECT_STREQ(info.models, "built in");
  EXPECT_STREQ(info.source, "built in");
  EXPECT_EQ(info.parts, OZNAKIT_DETECTION | OZNAKIT_LANDMARKS);
}

TEST(EmbeddedModels, GiveTheFacesAndPointsOfTheirFiles) {
  oznakit_model_options options = OZNAKIT_MODEL_OPTIONS_INIT;
  options.built_in = 1;
  const FinderPtr embedded = openWith(&options);
  const FinderPtr of_files = kit_test::openDirectory(OZNA_EMBEDDED_DIRECTORY, /*parts=*/0);
  const cv::Mat photo = kit_test::readSample("astronaut");
  oznakit_search_options search = kit_test::defaultSearch();
  search.with = OZNAKIT_WITH_POINTS_68;
  const Found found = kit_test::find(embedded.get(), kit_test::viewOf(photo), search);
  const Found expected = kit_test::find(of_files.get(), kit_test::viewOf(photo), search);
  ASSERT_EQ(found.status, OZNAKIT_OK);
  ASSERT_GE(expected.faces.size(), 1U);
  ASSERT_EQ(found.faces.size(), expected.faces.size());
  EXPECT_EQ(found.faces[0].score, expected.faces[0].score);
  EXPECT_TRUE(
      std::equal(found.faces[0].points, found.faces[0].points + 136, expected.faces[0].points));
}

}  // namespace
