// What a picture may not be.

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <string>

#include "kit/error.h"
#include "kit/pixels/picture.h"

namespace {

using kit::Picture;

std::uint8_t pixels[64 * 64 * 4];

oznakit_image plain() {
  oznakit_image image = OZNAKIT_IMAGE_INIT;
  image.pixels = pixels;
  image.width = 64;
  image.height = 64;
  return image;
}

// The sentence with which a picture is refused; empty where it is taken.
std::string refusal(const oznakit_image& image) {
  try {
    Picture picture(image);
    return {};
  } catch (const kit::Error& error) {
    EXPECT_EQ(error.status(), OZNAKIT_BAD_ARGUMENT);
    return error.what();
  }
}

TEST(PictureChecks, TakesAPlainPicture) {
  EXPECT_EQ(refusal(plain()), "");
  oznakit_image image = plain();
  image.orientation = 0;
  EXPECT_EQ(refusal(image), "");
}

TEST(PictureChecks, RefusesNullPixels) {
  oznakit_image image = plain();
  image.pixels = nullptr;
  EXPECT_EQ(refusal(image), "Expected the pixels of a picture, found a null pointer.");
}

TEST(PictureChecks, RefusesSidesOutOfRange) {
  constexpr std::int32_t kLeast = std::numeric_limits<std::int32_t>::min();
  constexpr std::int32_t kMost = std::numeric_limits<std::int32_t>::max();
  for (const std::int32_t side : {0, -1, 1000001, kLeast, kMost}) {
    oznakit_image image = plain();
    image.width = side;
    EXPECT_EQ(refusal(image), "Expected the width of a picture to be 1 to 1000000 pixels, found " +
                                  std::to_string(side) + ".");
    image = plain();
    image.height = side;
    EXPECT_EQ(refusal(image), "Expected the height of a picture to be 1 to 1000000 pixels, found " +
                                  std::to_string(side) + ".");
  }
}

TEST(PictureChecks, RefusesUnknownFormatsAndOrientations) {
  for (const std::int32_t number : {-1, 6, 1000, std::numeric_limits<std::int32_t>::min()}) {
    oznakit_image image = plain();
    image.format = number;
    EXPECT_EQ(refusal(image),
              "Expected a pixel format of 0 to 5 (OZNAKIT_RGB to OZNAKIT_GREY), found " +
                  std::to_string(number) + ".");
  }
  for (const std::int32_t number : {-1, 9, std::numeric_limits<std::int32_t>::max()}) {
    oznakit_image image = plain();
    image.orientation = number;
    EXPECT_EQ(refusal(image), "Expected the orientation of a picture to be 0 to 8, found " +
                                  std::to_string(number) + ".");
  }
}

TEST(PictureChecks, RefusesRowsShorterThanTheirPixels) {
  // 64 pixels of 3 bytes are 192 bytes; of 4 bytes, 256.
  for (const std::ptrdiff_t row_bytes : {191, -191, 1, -1}) {
    oznakit_image image = plain();
    image.row_bytes = row_bytes;
    EXPECT_EQ(refusal(image),
              "Expected row_bytes of a picture to be 0, at least 192 or at most -192 for 64 pixels "
              "of 3 bytes, found " +
                  std::to_string(row_bytes) + ".");
  }
  for (const std::ptrdiff_t row_bytes : {192, 193}) {
    oznakit_image image = plain();
    image.row_bytes = row_bytes;
    EXPECT_EQ(refusal(image), "");
    image.pixels = pixels + 63 * row_bytes;
    image.row_bytes = -row_bytes;
    EXPECT_EQ(refusal(image), "");
  }
  oznakit_image image = plain();
  image.row_bytes = 255;
  image.format = OZNAKIT_ARGB;
  EXPECT_NE(refusal(image), "");
  image.row_bytes = 256;
  EXPECT_EQ(refusal(image), "");
}

TEST(PictureChecks, RefusesRowsBeyondTheMemory) {
  constexpr std::ptrdiff_t kMost = std::numeric_limits<std::ptrdiff_t>::max();
  for (const std::ptrdiff_t row_bytes :
       {kMost, -kMost, -kMost - 1, kMost / 63, -(kMost / 63) - 1}) {
    oznakit_image image = plain();
    image.row_bytes = row_bytes;
    EXPECT_EQ(refusal(image),
              "Expected rows of a picture that fit into memory, found 64 of them with " +
                  std::to_string(row_bytes) + " bytes from one to the next.");
  }
  // The top row so low in memory that the others would lie below address 0.
  oznakit_image image = plain();
  image.pixels = reinterpret_cast<const void*>(std::uintptr_t{1000});
  image.row_bytes = -192;
  EXPECT_NE(refusal(image), "");
}

}  // namespace
