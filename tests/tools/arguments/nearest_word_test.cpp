// Distances of words.

#include "tools/arguments/nearest_word.h"

#include <gtest/gtest.h>

namespace oznatool {
namespace {

TEST(EditDistance, CountsInsertionsDeletionsReplacementsAndExchanges) {
  EXPECT_EQ(editDistance("", ""), 0U);
  EXPECT_EQ(editDistance("json", "json"), 0U);
  EXPECT_EQ(editDistance("", "abc"), 3U);
  EXPECT_EQ(editDistance("jsno", "json"), 1U);
  EXPECT_EQ(editDistance("jsn", "json"), 1U);
  EXPECT_EQ(editDistance("jason", "json"), 1U);
  EXPECT_EQ(editDistance("jsan", "json"), 1U);
  EXPECT_EQ(editDistance("kitten", "sitting"), 3U);
}

TEST(NearestWord, IsTheFirstOfTheNearest) {
  const std::vector<std::string> known = {"--json", "--jobs", "--format", "--min-face"};
  EXPECT_EQ(nearestWord("--jsno", known), "--json");
  EXPECT_EQ(nearestWord("--frmat", known), "--format");
  EXPECT_EQ(nearestWord("--minface", known), "--min-face");
}

TEST(NearestWord, IsNoneWhereNothingIsNear) {
  EXPECT_EQ(nearestWord("--recognise", {"--json", "--xmp"}), "");
  EXPECT_EQ(nearestWord(std::string(1000, 'x'), {"--json"}), "");
  EXPECT_EQ(nearestWord("x", {}), "");
  // Two of three letters differ, and one of two.
  EXPECT_EQ(nearestWord("foo", {"info"}), "");
  EXPECT_EQ(nearestWord("-x", {"-q"}), "");
}

TEST(NearestWord, TakesABeginningForTheWord) {
  EXPECT_EQ(nearestWord("--recur", {"--resume", "--recursive"}), "--recursive");
}

}  // namespace
}  // namespace oznatool
