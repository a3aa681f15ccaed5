// The values of options: what is taken, and what a refusal says.

#include "tools/arguments/option_values.h"

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <limits>
#include <string>

#include "tools/process/exit_code.h"

namespace {

// The message of a refusal, whose status says wrong usage; "taken" where there is none.
std::string refusalOf(const std::function<void()>& parse) {
  try {
    parse();
    return "taken";
  } catch (const oznatool::Failure& failure) {
    EXPECT_EQ(failure.code(), oznatool::kExitUsage);
    return failure.what();
  }
}

TEST(WholeNumberOption, TakesItsRangeWithBothEnds) {
  EXPECT_EQ(oznatool::wholeNumber("--jobs", "1", 1, 8), 1);
  EXPECT_EQ(oznatool::wholeNumber("--jobs", "8", 1, 8), 8);
  EXPECT_EQ(oznatool::wholeNumber("--margin", "-3", -5, 5), -3);
  for (const char* text : {"0", "9", "", "1.5", "1 ", " 1", "+1", "0x1", "99999999999"}) {
    EXPECT_EQ(
        refusalOf([&] { oznatool::wholeNumber("--jobs", text, 1, 8); }).rfind("--jobs takes ", 0),
        0U)
        << text;
  }
  EXPECT_EQ(refusalOf([] { oznatool::wholeNumber("--jobs", "nine", 1, 8); }),
            "--jobs takes a whole number from 1 to 8, not nine");
}

TEST(NumberOption, TakesEveryNumberThatIsWholeText) {
  EXPECT_EQ(oznatool::number("--x", "-2.5e1"), -25);
  EXPECT_TRUE(std::isinf(oznatool::number("--x", "inf")));
  EXPECT_EQ(refusalOf([] { oznatool::number("--x", "1,5"); }), "--x takes a number, not 1,5");
  EXPECT_EQ(refusalOf([] { oznatool::number("--x", ""); }), "--x takes a number, not ''");
}

TEST(PercentOption, MayEndInItsSign) {
  EXPECT_EQ(oznatool::percent("--margin", "12.5%", 100), 12.5);
  EXPECT_EQ(oznatool::percent("--margin", "100", 100), 100);
  EXPECT_EQ(oznatool::percent("--margin", "0%", 100), 0);
  for (const char* text : {"101", "-1", "nan", "%", "5%%", ""}) {
    EXPECT_EQ(refusalOf([&] {
                oznatool::percent("--margin", text, 100);
              }).rfind("--margin takes 0 to 100 percent, not ", 0),
              0U)
        << text;
  }
}

TEST(ScoreOption, IsFromZeroToOne) {
  EXPECT_EQ(oznatool::score("--min-score", "0"), 0);
  EXPECT_EQ(oznatool::score("--min-score", "1"), 1);
  for (const char* text : {"1.001", "-0.1", "nan", "inf", "half"}) {
    EXPECT_NE(refusalOf([&] { oznatool::score("--min-score", text); }), "taken") << text;
  }
}

TEST(WordOption, ListsTheWordsAndGuesses) {
  EXPECT_EQ(oznatool::word("--preset", "fast", {"fast", "balanced", "thorough"}), "fast");
  EXPECT_EQ(refusalOf([] {
              oznatool::word("--preset", "fats", {"fast", "balanced", "thorough"});
            }),
            "--preset takes fast, balanced or thorough, not fats; did you mean fast?");
  EXPECT_EQ(refusalOf([] { oznatool::word("--preset", "zzz", {"fast"}); }),
            "--preset takes fast, not zzz");
}

TEST(ShardOption, IsOneOfAMillionAtMost) {
  const oznatool::Shard last = oznatool::shard("--shard", "1000000/1000000");
  EXPECT_EQ(last.number, 1000000);
  EXPECT_EQ(last.count, 1000000);
  for (const char* text : {"", "1", "/", "1/", "/2", "0/2", "3/2", "1/1000001", "-1/2", "1/2/3"}) {
    EXPECT_NE(refusalOf([&] { oznatool::shard("--shard", text); }), "taken") << text;
  }
}

TEST(BoxOption, HasFourEdgesInOrder) {
  const oznakit::Box box = oznatool::box("--box", "-1.5,2,3,1e6");
  EXPECT_EQ(box.left, -1.5F);
  EXPECT_EQ(box.top, 2);
  EXPECT_EQ(box.right, 3);
  EXPECT_EQ(box.bottom, 1e6F);
  for (const char* text : {"", "1,2,3", "1,2,3,4,5", "1,2,3,4,", "3,2,1,4", "1,4,3,2", "1,2,1,4",
                           "1,2,3,2", "nan,2,3,4", "1,2,inf,4", "1,2,3,1000001", "1;2;3;4"}) {
    EXPECT_NE(refusalOf([&] { oznatool::box("--box", text); }), "taken") << text;
  }
}

}  // namespace
