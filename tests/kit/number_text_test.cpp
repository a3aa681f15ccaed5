// Numbers in the sentences of errors.

#include "kit/number_text.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>

#include "tests/german_locale.h"

namespace kit {
namespace {

TEST(NumberText, HasAPointWhateverTheLocaleOfTheHost) {
  const ozna_test::GermanLocale locale;
  ASSERT_TRUE(ozna_test::GermanLocale::hasComma()) << "The locale de_DE could not be made.";
  EXPECT_EQ(numberText(0.5F), "0.500000");
  EXPECT_EQ(numberText(-1234567.0F), "-1234567.000000");
  EXPECT_EQ(edgesText(1.5F, -2, 0, 4),
            "left 1.500000, top -2.000000, right 0.000000, bottom 4.000000");
}

TEST(NumberText, HoldsNumbersOfAnySize) {
  EXPECT_EQ(numberText(std::numeric_limits<float>::max()),
            "340282346638528859811704183484516925440.000000");
  EXPECT_EQ(numberText(std::numeric_limits<float>::infinity()), "inf");
  EXPECT_EQ(numberText(std::numeric_limits<float>::quiet_NaN()), "nan");
  EXPECT_EQ(numberText(std::numeric_limits<std::int32_t>::min()), "-2147483648");
}

}  // namespace
}  // namespace kit
