// Checks of what callers hand in.

#include "kit/sized.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <string>

namespace {

// The status and sentence of a size of an oznakit_image.
oznakit_status statusOfSize(std::size_t size, std::string& sentence) {
  oznakit_image image = OZNAKIT_IMAGE_INIT;
  image.size = size;
  try {
    kit::requireSize(image, "oznakit_image");
    return OZNAKIT_OK;
  } catch (const kit::Error& error) {
    sentence = error.what();
    return error.status();
  }
}

TEST(RequireSize, TakesTheSizesOfVersionsAlone) {
  std::string sentence;
  EXPECT_EQ(statusOfSize(sizeof(oznakit_image), sentence), OZNAKIT_OK);
  EXPECT_EQ(statusOfSize(0, sentence), OZNAKIT_BAD_ARGUMENT);
  EXPECT_EQ(statusOfSize(sizeof(oznakit_image) + 1, sentence), OZNAKIT_BAD_ARGUMENT);
  EXPECT_EQ(statusOfSize(sizeof(oznakit_image) - 1, sentence), OZNAKIT_BAD_ARGUMENT);
}

TEST(RequireSize, NamesTheStructureAndBothSizes) {
  std::string sentence;
  statusOfSize(12345, sentence);
  EXPECT_NE(sentence.find("oznakit_image"), std::string::npos) << sentence;
  EXPECT_NE(sentence.find(std::to_string(sizeof(oznakit_image))), std::string::npos) << sentence;
  EXPECT_NE(sentence.find("12345"), std::string::npos) << sentence;
}

TEST(RequireGiven, NamesANullArgument) {
  const int value = 0;
  EXPECT_NO_THROW(kit::requireGiven(&value, "a value"));
  try {
    kit::requireGiven(nullptr, "a value");
    FAIL() << "a null pointer is taken";
  } catch (const kit::Error& error) {
    EXPECT_EQ(error.status(), OZNAKIT_BAD_ARGUMENT);
    EXPECT_STREQ(error.what(), "Expected a value, found a null pointer.");
  }
}

}  // namespace
