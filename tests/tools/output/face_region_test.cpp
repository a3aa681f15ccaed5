// Regions as they are written, and as they are read in the words of others.

#include "tools/output/face_region.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using oznatool::factsOf;
using oznatool::parsedXml;
using oznatool::regionItem;

// The same text with a part of it exchanged.
std::string with(std::string text, const std::string& from, const std::string& to) {
  const std::size_t at = text.find(from);
  EXPECT_NE(at, std::string::npos) << from;
  return text.replace(at, from.size(), to);
}

const std::string kItem = regionItem({0.25, 0.5, 0.125, 1.0 / 3});

TEST(FaceRegion, IsOursAsItIsWritten) {
  const oznatool::RegionFacts facts = factsOf(parsedXml(kItem));
  EXPECT_TRUE(facts.is_face);
  EXPECT_TRUE(facts.is_ours);
  ASSERT_TRUE(facts.area);
  EXPECT_EQ(facts.area->x, 0.25);
  EXPECT_EQ(facts.area->y, 0.5);
  EXPECT_EQ(facts.area->w, 0.125);
  EXPECT_EQ(facts.area->h, 0.333333);
  EXPECT_TRUE(oznatool::hasOurMark(kItem));
}

TEST(FaceRegion, WithOtherDigitsIsStillOurs) {
  EXPECT_TRUE(
      factsOf(parsedXml(with(kItem, "stArea:x=\"0.250000\"", "stArea:x=\"0.25\""))).is_ours);
}

TEST(FaceRegion, ThatSomebodyMovedNamedOrRemarkedOnIsTheirs) {
  for (const std::string& changed :
       {with(kItem, "stArea:x=\"0.250000\"", "stArea:x=\"0.250001\""),
        with(kItem, "<mwg-rs:Type>", "<mwg-rs:Name>Ada</mwg-rs:Name><mwg-rs:Type>"),
        with(kItem, "<mwg-rs:Type>", "<!-- Ada --><mwg-rs:Type>"),
        with(kItem, "ozna:Area=\"0.250000 ", "ozna:Area=\""),
        with(kItem, " stArea:unit=", " stArea:d=\"1\" stArea:unit=")}) {
    const oznatool::RegionFacts facts = factsOf(parsedXml(changed));
    EXPECT_FALSE(facts.is_ours) << changed;
    EXPECT_TRUE(facts.is_face) << changed;
    EXPECT_TRUE(facts.area) << changed;
  }
}

TEST(FaceRegion, OfAnotherTypeOrUnitIsNoFaceOrHasNoArea) {
  EXPECT_FALSE(factsOf(parsedXml(with(kItem, ">Face<", ">Pet<"))).is_face);
  EXPECT_FALSE(factsOf(parsedXml(with(kItem, "normalized", "pixel"))).area);
  EXPECT_FALSE(factsOf(parsedXml(with(kItem, "stArea:h=\"0.333333\"", "stArea:h=\"nan\""))).area);
  EXPECT_FALSE(factsOf(parsedXml(with(kItem, "stArea:h=\"0.333333\"", ""))).area);
}

TEST(FaceRegion, DimensionsAreReadBack) {
  const std::string text = oznatool::dimensionsProperty({4000, 3000});
  EXPECT_EQ(oznatool::dimensionsIn(parsedXml(text)), cv::Size(4000, 3000));
  for (const std::string& changed :
       {with(text, "\"pixel\"", "\"inch\""), with(text, "\"4000\"", "\"0\""),
        with(text, "\"4000\"", "\"1e10\""), with(text, "\"3000\"", "\"\"")}) {
    EXPECT_FALSE(oznatool::dimensionsIn(parsedXml(changed))) << changed;
  }
}

}  // namespace
