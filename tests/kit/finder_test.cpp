// Opening finders and what they report of themselves.

#include <gtest/gtest.h>

#include <filesystem>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "kit/oznakit.h"
#include "tests/kit/open_finder.h"
#include "tests/kit/small_cascade.h"

namespace {

using kit_test::FinderPtr;

oznakit_status openWith(const oznakit_model_options& options, FinderPtr& finder) {
  oznakit_finder* opened = reinterpret_cast<oznakit_finder*>(1);
  const oznakit_status status = oznakit_finder_open(&options, &opened);
  EXPECT_EQ(opened == nullptr, status != OZNAKIT_OK);
  finder.reset(opened);
  return status;
}

TEST(FinderOpen, TakesModelsFromMemoryThatMayBeFreedThen) {
  FinderPtr finder;
  {
    std::map<std::string, std::string> files = kit_test::smallCascade();
    files["not/a/model"] = "is passed over";
    const std::vector<oznakit_file> option = kit_test::asOption(files);
    oznakit_model_options options = OZNAKIT_MODEL_OPTIONS_INIT;
    options.files = option.data();
    options.file_count = option.size();
    options.parts = OZNAKIT_DETECTION;
    ASSERT_EQ(openWith(options, finder), OZNAKIT_OK) << oznakit_last_message();
  }
  oznakit_finder_info info = OZNAKIT_FINDER_INFO_INIT;
  ASSERT_EQ(oznakit_finder_get_info(finder.get(), &info), OZNAKIT_OK);
  EXPECT_STREQ(info.models, "memory");
  EXPECT_STREQ(info.source, "given");
  EXPECT_EQ(info.parts, OZNAKIT_DETECTION);
  EXPECT_EQ(info.stages, 2);
  EXPECT_EQ(info.scan_width, 24);
  EXPECT_EQ(info.scan_height, 24);
  EXPECT_EQ(info.detectors, 0);
  const cv::Mat noise(40, 40, CV_8UC3, cv::Scalar(1, 2, 3));
  oznakit_search_options search = kit_test::defaultSearch();
  const oznakit_scan scan = {1, 24, 0.3F, 2, 1.3F, 6};
  search.scan = &scan;
  EXPECT_EQ(kit_test::find(finder.get(), kit_test::viewOf(noise), search).status, OZNAKIT_OK)
      << oznakit_last_message();
}

TEST(FinderOpen, TakesTheLandmarkModelBesideACascadeInAFolder) {
  const FinderPtr finder = kit_test::openDirectory(OZNA_SOURCE_DIR "/public/compact", 0);
  ASSERT_NE(finder, nullptr);
  oznakit_finder_info info = OZNAKIT_FINDER_INFO_INIT;
  ASSERT_EQ(oznakit_finder_get_info(finder.get(), &info), OZNAKIT_OK);
  EXPECT_EQ(info.parts, OZNAKIT_DETECTION | OZNAKIT_LANDMARKS);
}

TEST(FinderOpen, ReportsWhatIsWrongByStatusAndSentence) {
  FinderPtr finder;
  oznakit_model_options options = OZNAKIT_MODEL_OPTIONS_INIT;
  options.directory = "/etc";
  EXPECT_EQ(openWith(options, finder), OZNAKIT_NO_MODEL);
  EXPECT_STREQ(oznakit_last_message(),
               "/etc/stages.txt: expected a model file, but it cannot be read: No such file or "
               "directory.");
  options.directory = "/no/such/place";
  EXPECT_EQ(openWith(options, finder), OZNAKIT_NO_MODEL);
  options.size = 3;
  EXPECT_EQ(openWith(options, finder), OZNAKIT_BAD_ARGUMENT);
  options = OZNAKIT_MODEL_OPTIONS_INIT;
  options.parts = 4;
  EXPECT_EQ(openWith(options, finder), OZNAKIT_BAD_ARGUMENT);
  options.parts = OZNAKIT_DETECTION;
  options.file_count = 1;
  EXPECT_EQ(openWith(options, finder), OZNAKIT_BAD_ARGUMENT);
  EXPECT_EQ(oznakit_finder_open(nullptr, nullptr), OZNAKIT_BAD_ARGUMENT);

  std::map<std::string, std::string> files = kit_test::smallCascade();
  files[kit_test::kFirst] += "}";
  const std::vector<oznakit_file> option = kit_test::asOption(files);
  options.files = option.data();
  options.file_count = option.size();
  EXPECT_EQ(openWith(options, finder), OZNAKIT_BAD_MODEL);
  EXPECT_NE(std::string(oznakit_last_message()).find("first/prototxt-full: line 1"),
            std::string::npos)
      << oznakit_last_message();
}

TEST(FinderOpen, TakesTheModelsInsideTheLibraryOrSaysThatThereAreNone) {
  oznakit_model_options options = OZNAKIT_MODEL_OPTIONS_INIT;
  options.built_in = 1;
  FinderPtr finder;
  if (openWith(options, finder) != OZNAKIT_OK) {
    EXPECT_STREQ(oznakit_last_message(),
                 "Expected models inside the library, but it was built without "
                 "(OZNAKIT_EMBED_MODELS).");
    return;
  }
  oznakit_finder_info info = OZNAKIT_FINDER_INFO_INIT;
  ASSERT_EQ(oznakit_finder_get_info(finder.get(), &info), OZNAKIT_OK);
  EXPECT_STREQ(info.models, "built in");
  EXPECT_EQ(info.parts, OZNAKIT_DETECTION | OZNAKIT_LANDMARKS);
}

TEST(Finder, TakesNullsWhereTheyAreAllowedAndReportsThemElsewhere) {
  oznakit_finder_close(nullptr);
  oznakit_faces_free(nullptr);
  EXPECT_EQ(oznakit_faces_count(nullptr), 0);
  oznakit_finder_info info = OZNAKIT_FINDER_INFO_INIT;
  EXPECT_EQ(oznakit_finder_get_info(nullptr, &info), OZNAKIT_BAD_ARGUMENT);
  EXPECT_EQ(oznakit_finder_trim(nullptr), OZNAKIT_BAD_ARGUMENT);
  oznakit_face face = OZNAKIT_FACE_INIT;
  EXPECT_EQ(oznakit_faces_get(nullptr, 0, &face), OZNAKIT_BAD_ARGUMENT);
  const FinderPtr finder = kit_test::openCompact();
  ASSERT_NE(finder, nullptr);
  EXPECT_EQ(oznakit_finder_get_info(finder.get(), nullptr), OZNAKIT_BAD_ARGUMENT);
  info.size = 0;
  EXPECT_EQ(oznakit_finder_get_info(finder.get(), &info), OZNAKIT_BAD_ARGUMENT);
  const cv::Mat grey(20, 20, CV_8UC3, cv::Scalar::all(128));
  const oznakit_image image = kit_test::viewOf(grey);
  oznakit_faces* faces = nullptr;
  EXPECT_EQ(oznakit_finder_find(finder.get(), &image, nullptr, nullptr), OZNAKIT_BAD_ARGUMENT);
  EXPECT_EQ(oznakit_finder_find(finder.get(), nullptr, nullptr, &faces), OZNAKIT_BAD_ARGUMENT);
  EXPECT_EQ(oznakit_finder_find(nullptr, &image, nullptr, &faces), OZNAKIT_BAD_ARGUMENT);
  EXPECT_EQ(oznakit_finder_align(nullptr, &image, nullptr, nullptr, 0, 0, &faces),
            OZNAKIT_BAD_ARGUMENT);
  EXPECT_EQ(oznakit_finder_align(finder.get(), &image, nullptr, nullptr, 1, 0, &faces),
            OZNAKIT_BAD_ARGUMENT);
  EXPECT_EQ(faces, nullptr);
}

TEST(Finder, KeepsOneDetectorForOneThreadUntilItIsTrimmed) {
  const FinderPtr finder = kit_test::openCompact();
  const cv::Mat photo = kit_test::readSample("group");
  oznakit_finder_info info = OZNAKIT_FINDER_INFO_INIT;
  for (int i = 0; i < 2; ++i) {
    ASSERT_EQ(
        kit_test::find(finder.get(), kit_test::viewOf(photo), kit_test::defaultSearch()).status,
        OZNAKIT_OK);
  }
  oznakit_finder_get_info(finder.get(), &info);
  EXPECT_EQ(info.detectors, 1);
  ASSERT_EQ(oznakit_finder_trim(finder.get()), OZNAKIT_OK);
  oznakit_finder_get_info(finder.get(), &info);
  EXPECT_EQ(info.detectors, 0);
  EXPECT_EQ(kit_test::find(finder.get(), kit_test::viewOf(photo), kit_test::defaultSearch()).status,
            OZNAKIT_OK);
}

TEST(Finder, NamesTheFilesThatItRead) {
  const FinderPtr finder = kit_test::openCompact();
  EXPECT_STREQ(oznakit_finder_file(finder.get(), 0), "stages.txt");
  std::vector<std::string> names;
  while (const char* const name =
             oznakit_finder_file(finder.get(), static_cast<std::int32_t>(names.size()))) {
    names.emplace_back(name);
    EXPECT_TRUE(std::filesystem::is_regular_file(OZNA_SOURCE_DIR "/public/compact/" + names.back()))
        << names.back();
  }
  EXPECT_EQ(std::set<std::string>(names.begin(), names.end()).size(), names.size());
  // The list, two files of the scan, three of each judge and four of the calibration.
  EXPECT_EQ(names.size(), 16U);
  EXPECT_EQ(oznakit_finder_file(finder.get(), -1), nullptr);
  EXPECT_EQ(oznakit_finder_file(nullptr, 0), nullptr);
}

TEST(Finder, TellsWhatItDoesNotHold) {
  const FinderPtr finder = kit_test::openCompact();
  const cv::Mat photo = kit_test::readSample("group");
  oznakit_search_options options = kit_test::defaultSearch();
  options.with = OZNAKIT_WITH_POINTS_68;
  EXPECT_EQ(kit_test::find(finder.get(), kit_test::viewOf(photo), options).status,
            OZNAKIT_NO_MODEL);
  EXPECT_NE(std::string(oznakit_last_message()).find("OZNAKIT_LANDMARKS"), std::string::npos);
}

}  // namespace
