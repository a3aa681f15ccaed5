// Layouts of pixels, and what row steps are possible.

#include "kit/pixels/pixel_format.h"

#include <cstdlib>
#include <limits>
#include <string>

#include "kit/error.h"

namespace kit {
namespace {

// In the order of OZNAKIT_RGB and so on.
constexpr PixelFormat kFormats[] = {
    {3, 0, 1, 2, -1}, {3, 2, 1, 0, -1}, {4, 0, 1, 2, 3},
    {4, 2, 1, 0, 3},  {4, 1, 2, 3, 0},  {1, 0, 0, 0, -1},
};
constexpr std::int32_t kFormatCount = sizeof(kFormats) / sizeof(kFormats[0]);
static_assert(OZNAKIT_RGB == 0 && OZNAKIT_GREY == kFormatCount - 1, "The table has this order.");

// Without the overflow that the lowest number has.
std::size_t magnitude(std::ptrdiff_t value) {
  const auto bits = static_cast<std::size_t>(value);
  return value < 0 ? 0 - bits : bits;
}

}  // namespace

const PixelFormat& pixelFormat(std::int32_t format) {
  if (format < 0 || format >= kFormatCount) {
    throw Error(OZNAKIT_BAD_ARGUMENT,
                "Expected a pixel format of 0 to " + std::to_string(kFormatCount - 1) +
                    " (OZNAKIT_RGB to OZNAKIT_GREY), found " + std::to_string(format) + ".");
  }
  return kFormats[format];
}

std::ptrdiff_t checkedRowBytes(const char* what, const void* pixels, std::ptrdiff_t row_bytes,
                               std::int32_t width, std::int32_t height, const PixelFormat& format) {
  const std::size_t row = static_cast<std::size_t>(width) * static_cast<std::size_t>(format.bytes);
  if (row_bytes == 0) {
    row_bytes = static_cast<std::ptrdiff_t>(row);
  }
  const std::size_t step = magnitude(row_bytes);
  if (step < row) {
    throw Error(OZNAKIT_BAD_ARGUMENT,
                std::string("Expected row_bytes of ") + what + " to be 0, at least " +
                    std::to_string(row) + " or at most -" + std::to_string(row) + " for " +
                    std::to_string(width) + " pixels of " + std::to_string(format.bytes) +
                    " bytes, found " + std::to_string(row_bytes) + ".");
  }
  const auto most = static_cast<std::size_t>(std::numeric_limits<std::ptrdiff_t>::max());
  const auto start = reinterpret_cast<std::uintptr_t>(pixels);
  std::size_t way = 0;  // From the top row to the bottom row.
  const bool overflows =
      __builtin_mul_overflow(step, static_cast<std::size_t>(height - 1), &way) || way > most - row;
  const bool leaves_memory =
      !overflows &&
      (row_bytes < 0 ? start < way
                     : start > std::numeric_limits<std::uintptr_t>::max() - way - row);
  if (overflows || leaves_memory) {
    throw Error(OZNAKIT_BAD_ARGUMENT, std::string("Expected rows of ") + what +
                                          " that fit into memory, found " + std::to_string(height) +
                                          " of them with " + std::to_string(row_bytes) +
                                          " bytes from one to the next.");
  }
  return row_bytes;
}

}  // namespace kit
