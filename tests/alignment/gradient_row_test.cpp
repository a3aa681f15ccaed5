// Angles and gradients of a row of pixels.

#include "alignment/gradient_row.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>

#include "alignment/descriptor_pyramid.h"
#include "tests/alignment/reference_pyramid.h"

namespace {

using oznalib::fastAtan2;

TEST(FastAtan2, CoversTheAxes) {
  EXPECT_EQ(fastAtan2(0.0F, 0.0F), 0.0F);
  EXPECT_EQ(fastAtan2(2.0F, 0.0F), 1.5707962513F);
  EXPECT_EQ(fastAtan2(-2.0F, 0.0F), -1.5707962513F);
  EXPECT_EQ(fastAtan2(0.0F, 3.0F), 0.0F);
  EXPECT_EQ(fastAtan2(0.0F, -3.0F), 3.1415925026F);
  EXPECT_EQ(fastAtan2(-0.0F, -3.0F), 3.1415925026F);
}

TEST(FastAtan2, EqualsTheBranchesOfItsDefinition) {
  std::mt19937 random(1);
  std::uniform_real_distribution<float> uniform(-1, 1);
  for (int i = 0; i < 20000; ++i) {
    const float y = uniform(random);
    const float x = uniform(random);
    ASSERT_EQ(fastAtan2(y, x), reference::angleOf(y, x)) << y << " " << x;
    ASSERT_NEAR(fastAtan2(y, x), std::atan2(y, x), 0.006) << y << " " << x;
  }
}

TEST(FastAtan2, TakesTheFlatBranchOnTheDiagonal) {
  EXPECT_EQ(fastAtan2(1.0F, 1.0F), 1.0F / (0.28F + 1.0F));
  EXPECT_EQ(fastAtan2(-1.0F, -1.0F), 1.0F / (0.28F + 1.0F) - 3.1415925026F);
}

}  // namespace
