// Tests of the error function against that of the standard library.

#include "alignment/calerf.h"

#include <gtest/gtest.h>

#include <cmath>

namespace {

using oznalib::calerf;
using oznalib::ErrorFunction;

TEST(Calerf, ErfAgreesToFifteenDigits) {
  for (double x = -6.0; x <= 6.0; x += 0.00137) {
    const double expected = std::erf(x);
    EXPECT_NEAR(calerf(x, ErrorFunction::kErf), expected, 1.5e-15 * std::fabs(expected)) << x;
  }
}

TEST(Calerf, ErfcAgreesRelativelyFarIntoItsTail) {
  for (double x = -9.0; x < 9.19; x += 0.00171) {
    const double expected = std::erfc(x);
    EXPECT_NEAR(calerf(x, ErrorFunction::kErfc), expected, 3e-15 * expected) << x;
  }
}

TEST(Calerf, BranchesMeetAtTheirBounds) {
  for (const double bound : {0.46875, 4.0}) {
    for (const double x : {std::nextafter(bound, 0.0), bound, std::nextafter(bound, 10.0)}) {
      EXPECT_NEAR(calerf(x, ErrorFunction::kErfc), std::erfc(x), 3e-15 * std::erfc(x)) << x;
      EXPECT_NEAR(calerf(-x, ErrorFunction::kErf), std::erf(-x), 1e-15) << x;
    }
  }
}

TEST(Calerf, TinyArgumentsAreLinear) {
  const double slope = 1.1283791670955126;  // 2 / sqrt(pi).
  EXPECT_EQ(calerf(0.0, ErrorFunction::kErf), 0.0);
  EXPECT_NEAR(calerf(5e-8, ErrorFunction::kErf), 5e-8 * slope, 1e-22);
  EXPECT_EQ(calerf(0.0, ErrorFunction::kErfc), 1.0);
}

TEST(Calerf, ErfcVanishesWhereFloatEnds) {
  EXPECT_EQ(calerf(9.194, ErrorFunction::kErfc), 0.0);
  EXPECT_GT(calerf(9.193, ErrorFunction::kErfc), 0.0);
  EXPECT_EQ(calerf(-9.194, ErrorFunction::kErfc), 2.0);
  EXPECT_EQ(calerf(INFINITY, ErrorFunction::kErf), 1.0);
  EXPECT_EQ(calerf(-INFINITY, ErrorFunction::kErf), -1.0);
}

}  // namespace
