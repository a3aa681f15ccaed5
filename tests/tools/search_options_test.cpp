// Presets and the smallest face.

#include "tools/search_options.h"

#include <gtest/gtest.h>

#include "tools/exit_code.h"

namespace oznatool {
namespace {

TEST(MinFace, IsPixelsOrPercent) {
  EXPECT_EQ(parseMinFace("40").value, 40);
  EXPECT_FALSE(parseMinFace("40").is_percent);
  EXPECT_EQ(parseMinFace("2.5%").value, 2.5);
  EXPECT_TRUE(parseMinFace("2.5%").is_percent);
}

TEST(MinFace, RefusesWhatIsNeitherOrOutOfRange) {
  for (const char* text : {"", "%", "x", "40px", "4 0", "7.9", "-40", "0%", "0.05%", "101%", "nan",
                           "nan%", "inf", "100001", "40%%"}) {
    EXPECT_THROW(parseMinFace(text), Failure) << text;
  }
}

TEST(MinFace, PercentIsOfTheLongerSideAndAtLeastEightPixels) {
  EXPECT_EQ(minFacePixels({5, true}, 1280), 64);
  EXPECT_EQ(minFacePixels({5, true}, 100), 8);
  EXPECT_EQ(minFacePixels({40, false}, 100), 40);
}

TEST(Preset, BalancedIsTheDefaultAndTheOthersDiffer) {
  EXPECT_EQ(preset("balanced").parameter.minFaceFraction, 0.05F);
  EXPECT_FALSE(preset("balanced").min_face);
  EXPECT_EQ(preset("fast").parameter.minFaceFraction, 0.1F);
  ASSERT_TRUE(preset("thorough").min_face);
  EXPECT_EQ(preset("thorough").min_face->value, 20);
}

}  // namespace
}  // namespace oznatool
