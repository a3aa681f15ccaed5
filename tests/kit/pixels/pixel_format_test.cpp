// Where the channels of a pixel lie, and which steps between rows are possible.

#include "kit/pixels/pixel_format.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <limits>
#include <string>

#include "kit/error.h"

namespace {

using kit::checkedRowBytes;
using kit::pixelFormat;

std::string layoutOf(std::int32_t format) {
  const kit::PixelFormat& found = pixelFormat(format);
  std::string letters(static_cast<std::size_t>(found.bytes), '.');
  if (found.alpha >= 0) letters[static_cast<std::size_t>(found.alpha)] = 'A';
  letters[static_cast<std::size_t>(found.blue)] = 'B';
  letters[static_cast<std::size_t>(found.green)] = 'G';
  letters[static_cast<std::size_t>(found.red)] = 'R';
  return letters;
}

TEST(PixelFormat, HasItsChannelsInTheOrderOfItsName) {
  EXPECT_EQ(layoutOf(OZNAKIT_RGB), "RGB");
  EXPECT_EQ(layoutOf(OZNAKIT_BGR), "BGR");
  EXPECT_EQ(layoutOf(OZNAKIT_RGBA), "RGBA");
  EXPECT_EQ(layoutOf(OZNAKIT_BGRA), "BGRA");
  EXPECT_EQ(layoutOf(OZNAKIT_ARGB), "ARGB");
  EXPECT_EQ(layoutOf(OZNAKIT_GREY), "R");  // All three are the one byte.
}

TEST(PixelFormat, RefusesOtherNumbers) {
  for (const std::int32_t number : {-1, 6, std::numeric_limits<std::int32_t>::min()}) {
    EXPECT_THROW(pixelFormat(number), kit::Error) << number;
  }
}

TEST(CheckedRowBytes, AreThoseOfPackedRowsWhereTheHostSaysNone) {
  const char pixel = 0;
  EXPECT_EQ(checkedRowBytes("it", &pixel, 0, 7, 5, pixelFormat(OZNAKIT_RGB)), 21);
  EXPECT_EQ(checkedRowBytes("it", &pixel, 21, 7, 5, pixelFormat(OZNAKIT_RGB)), 21);
  EXPECT_EQ(checkedRowBytes("it", &pixel, -24, 7, 5, pixelFormat(OZNAKIT_RGB)), -24);
}

TEST(CheckedRowBytes, RefuseRowsShorterThanTheirPixels) {
  const char pixel = 0;
  for (const std::ptrdiff_t bytes : {20, -20, 1}) {
    EXPECT_THROW(checkedRowBytes("it", &pixel, bytes, 7, 5, pixelFormat(OZNAKIT_RGB)), kit::Error);
  }
}

TEST(CheckedRowBytes, RefuseRowsThatLeaveTheMemory) {
  const auto refused = [](std::uintptr_t start, std::ptrdiff_t bytes, std::int32_t height) {
    try {
      checkedRowBytes("it", reinterpret_cast<const void*>(start), bytes, 1, height,
                      pixelFormat(OZNAKIT_GREY));
      return false;
    } catch (const kit::Error&) {
      return true;
    }
  };
  const std::ptrdiff_t most = std::numeric_limits<std::ptrdiff_t>::max();
  EXPECT_TRUE(refused(4096, most, 3));
  EXPECT_TRUE(refused(4096, std::numeric_limits<std::ptrdiff_t>::min(), 2));
  // Rows that go upwards from byte 4096 on: 4096 of one byte fit below it, and no more.
  EXPECT_FALSE(refused(4096, -1, 4097));
  EXPECT_TRUE(refused(4096, -1, 4098));
  EXPECT_FALSE(refused(std::numeric_limits<std::uintptr_t>::max() - 3, 1, 3));
  EXPECT_TRUE(refused(std::numeric_limits<std::uintptr_t>::max() - 3, 1, 5));
}

}  // namespace
