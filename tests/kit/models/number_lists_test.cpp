// The stage list, means and tables.

#include "kit/models/number_lists.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <string>

#include "kit/error.h"
#include "tests/german_locale.h"

namespace kit {
namespace {

std::string refusalOf(const std::function<void()>& parse) {
  try {
    parse();
    return "taken";
  } catch (const Error& error) {
    EXPECT_EQ(error.status(), OZNAKIT_BAD_MODEL);
    return error.what();
  }
}

std::string listRefusal(const std::string& text) {
  return refusalOf([&] { parseStageList("list", text); });
}

std::string meanRefusal(const std::string& text) {
  return refusalOf([&] { parseMean("mean", text, 3); });
}

std::string tableRefusal(const std::string& text) {
  return refusalOf([&] { parseOffsets("table", text, 2); });
}

TEST(ParseStageList, ReadsDirectoriesAndThresholds) {
  const auto stages = parseStageList("list", "# comment\ncascades/a 0.4\r\n  b/c\t-1e1 \n");
  ASSERT_EQ(stages.size(), 2U);
  EXPECT_EQ(stages[0].directory, "cascades/a");
  EXPECT_EQ(stages[0].threshold, 0.4F);
  EXPECT_EQ(stages[1].directory, "b/c");
  EXPECT_EQ(stages[1].threshold, -10);
}

TEST(ParseStageList, RefusesWhatIsNoStageWithItsLine) {
  const char kStage[] = "expected a stage directory and a threshold, found ";
  EXPECT_EQ(listRefusal("a 0.4\nb x\n"), "list: line 2: " + std::string(kStage) + "\"x\".");
  EXPECT_EQ(listRefusal("a 0.4\nb\n"), "list: line 2: " + std::string(kStage) + "the end.");
  EXPECT_EQ(listRefusal("a 0.4 9\n"), "list: line 1: " + std::string(kStage) + "\"9\".");
  EXPECT_EQ(listRefusal("a nan\n"), "list: line 1: " + std::string(kStage) + "\"nan\".");
  EXPECT_EQ(listRefusal("a 1e99\n"), "list: line 1: " + std::string(kStage) + "\"1e99\".");
  EXPECT_EQ(listRefusal("# nothing\n"), "list: expected at least one stage, found none.");
  EXPECT_EQ(listRefusal(""), "list: expected at least one stage, found none.");
}

TEST(ParseStageList, RefusesNamesThatLeadOutOfTheDirectory) {
  for (const char* const name : {"/etc", "..", "../a", "a/../../b", "a/.."}) {
    EXPECT_NE(listRefusal(std::string(name) + " 0.4\n").find("below that of the list"),
              std::string::npos)
        << name;
  }
  EXPECT_EQ(listRefusal("a..b/..c 0.4\n"), "taken");
}

TEST(ParseStageList, RefusesTooManyStages) {
  std::string text;
  for (int i = 0; i < 16; ++i) text += "a 0.4\n";
  EXPECT_EQ(listRefusal(text), "taken");
  EXPECT_NE(listRefusal(text + "a 0.4\n").find("at most 16"), std::string::npos);
}

TEST(ParseMean, TakesExactlyAsManyFiniteNumbers) {
  EXPECT_THAT(parseMean("mean", " 1.5\n-2e1\t+3 ", 3), testing::ElementsAre(1.5F, -20.0F, 3.0F));
  EXPECT_EQ(meanRefusal("1 2"),
            "mean: expected 3 numbers, one for each value of the input, found 2.");
  EXPECT_NE(meanRefusal("1 2 3 4").find("and no more"), std::string::npos);
  EXPECT_EQ(meanRefusal("1\n2\nx"), "mean: line 3: expected a finite number, found \"x\".");
  EXPECT_NE(meanRefusal("1 2 inf").find("finite"), std::string::npos);
  EXPECT_NE(meanRefusal("1 2 3x").find("finite"), std::string::npos);
}

TEST(ParseMean, ReadsPointsWhateverTheLocaleOfTheHost) {
  const ozna_test::GermanLocale locale;
  ASSERT_TRUE(locale.hasComma()) << "is the package locales there?";
  EXPECT_THAT(parseMean("mean", "1.5 2.5 3.5", 3), testing::ElementsAre(1.5F, 2.5F, 3.5F));
}

TEST(ParseOffsets, TakesThreeNumbersForEachPattern) {
  const auto offsets = parseOffsets("table", "0 0 1\n-4 5 0.83\n", 2);
  ASSERT_EQ(offsets.size(), 2U);
  EXPECT_EQ(offsets[1].dx, -4);
  EXPECT_EQ(offsets[1].dy, 5);
  EXPECT_EQ(offsets[1].scale, 0.83F);
  EXPECT_EQ(tableRefusal("0 0 1\n"),
            "table: expected a shift and a scale for each of 2 patterns, found 1.");
  EXPECT_NE(tableRefusal("0 0 1\n0 0\n").find("found the end"), std::string::npos);
  EXPECT_NE(tableRefusal("0 0 1\n0.5 0 1\n").find("whole shift"), std::string::npos);
  EXPECT_NE(tableRefusal("0 0 1\n99999 0 1\n").find("whole shift"), std::string::npos);
  for (const char* const scale : {"0", "-1", "0.09", "11", "nan", "x"}) {
    EXPECT_NE(tableRefusal("0 0 1\n0 0 " + std::string(scale)).find("line 2: expected a scale"),
              std::string::npos)
        << scale;
  }
}

}  // namespace
}  // namespace kit
