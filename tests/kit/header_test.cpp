// oznakit.h in C and in C++.

#include <gtest/gtest.h>

#include "kit/oznakit.h"

extern "C" int initialised_in_c(void);

namespace {

TEST(Header, InitialisesEveryStructureInC) { EXPECT_TRUE(initialised_in_c()); }

TEST(Header, InitialisesEveryStructureInCpp) {
  const oznakit_search_options search = OZNAKIT_SEARCH_OPTIONS_INIT;
  const oznakit_chip_options chip = OZNAKIT_CHIP_OPTIONS_INIT;
  const oznakit_face face = OZNAKIT_FACE_INIT;
  EXPECT_EQ(search.size, sizeof(search));
  EXPECT_EQ(search.turns, 1);
  EXPECT_EQ(search.margin, OZNAKIT_MARGIN_AUTO);
  EXPECT_EQ(chip.size, sizeof(chip));
  EXPECT_EQ(chip.colour[3], 255);
  EXPECT_EQ(face.size, sizeof(face));
}

}  // namespace
