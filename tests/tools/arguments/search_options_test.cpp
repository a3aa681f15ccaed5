// Presets and the smallest face.

#include "tools/arguments/search_options.h"

#include <gtest/gtest.h>

#include <limits>

#include "tools/process/exit_code.h"

namespace oznatool {
namespace {

TEST(MinFace, IsPixelsOrPercentOfTheLongerSide) {
  oznakit::SearchOptions options;
  setMinFace("40", options);
  EXPECT_EQ(options.min_face_px, 40);
  EXPECT_EQ(options.min_face_share, 0);
  setMinFace("2.5%", options);
  EXPECT_EQ(options.min_face_px, 0);
  EXPECT_EQ(options.min_face_share, 0.025);
}

TEST(MinFace, RefusesWhatIsNeitherOrOutOfRange) {
  oznakit::SearchOptions options;
  for (const char* text : {"", "%", "x", "40px", "4 0", "7.9", "-40", "0%", "0.05%", "101%", "nan",
                           "nan%", "inf", "100001", "40%%"}) {
    EXPECT_THROW(setMinFace(text, options), Failure) << text;
  }
}

TEST(Preset, BalancedIsTheDefaultAndTheOthersDiffer) {
  EXPECT_EQ(preset("balanced").preset, oznakit::Preset::Balanced);
  EXPECT_EQ(preset("balanced").margin, 0);
  EXPECT_EQ(preset("fast").preset, oznakit::Preset::Fast);
  EXPECT_EQ(scanOf(oznakit::Preset::Balanced).min_face_fraction, 0.05F);
  EXPECT_EQ(scanOf(oznakit::Preset::Fast).min_face_fraction, 0.1F);
  EXPECT_EQ(preset("thorough").preset, oznakit::Preset::Thorough);
}

TEST(CheckScan, TakesThePresetsAndRefusesWhatNoPhotographCanHave) {
  oznakit_scan scan = OZNAKIT_SCAN_INIT;
  EXPECT_NO_THROW(checkScan(scan));
  for (const float wrong : {0.0F, -1.0F, 1.001F, std::numeric_limits<float>::quiet_NaN()}) {
    scan.min_face_fraction = wrong;
    EXPECT_THROW(checkScan(scan), Failure) << wrong;
  }
  // Half a pixel.
  scan.max_image_side = 10;
  scan.min_face_fraction = 0.05F;
  EXPECT_THROW(checkScan(scan), Failure);
}

}  // namespace
}  // namespace oznatool
