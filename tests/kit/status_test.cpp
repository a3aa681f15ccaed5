// Versions and words for statuses.

#include <gtest/gtest.h>

#include "kit/oznakit.h"

namespace {

TEST(Version, IsTheOneOfTheHeader) {
  EXPECT_EQ(oznakit_version(),
            OZNAKIT_VERSION_MAJOR * 10000 + OZNAKIT_VERSION_MINOR * 100 + OZNAKIT_VERSION_PATCH);
}

TEST(StatusText, HasAWordForEachStatus) {
  EXPECT_STREQ(oznakit_status_text(OZNAKIT_OK), "ok");
  EXPECT_STREQ(oznakit_status_text(OZNAKIT_CANCELLED), "cancelled");
  EXPECT_STREQ(oznakit_status_text(OZNAKIT_BAD_ARGUMENT), "bad argument");
  EXPECT_STREQ(oznakit_status_text(OZNAKIT_NO_MODEL), "no model");
  EXPECT_STREQ(oznakit_status_text(OZNAKIT_BAD_MODEL), "bad model");
  EXPECT_STREQ(oznakit_status_text(OZNAKIT_NO_MEMORY), "no memory");
  EXPECT_STREQ(oznakit_status_text(OZNAKIT_INTERNAL), "internal fault");
}

TEST(StatusText, HasAWordForAnyOtherNumber) {
  EXPECT_STREQ(oznakit_status_text(-1), "unknown status");
  EXPECT_STREQ(oznakit_status_text(7), "unknown status");
}

}  // namespace
