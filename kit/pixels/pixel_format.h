/// Where the channels of a pixel lie in memory.

#ifndef OZNA_KIT_PIXELS_PIXEL_FORMAT_H_
#define OZNA_KIT_PIXELS_PIXEL_FORMAT_H_

#include <cstddef>
#include <cstdint>

namespace kit {

/// Offsets in bytes from the first byte of a pixel. Of a grey pixel all three are 0.
struct PixelFormat {
  std::ptrdiff_t bytes;  ///< Of a pixel.
  int red;
  int green;
  int blue;
  int alpha;  ///< -1 in a format without alpha.
};

/// Returns  The format of a number such as OZNAKIT_BGRA. Static.
/// Errors   Error with OZNAKIT_BAD_ARGUMENT for any other number.
const PixelFormat& pixelFormat(std::int32_t format);

/// Bytes from a row to the one below, for a host's row_bytes that may be 0.
///
/// what    Of what the rows are, for messages: "the picture".
/// Errors  Error with OZNAKIT_BAD_ARGUMENT where rows are shorter than their pixels, or where
///         height of them from pixels on do not fit into memory.
std::ptrdiff_t checkedRowBytes(const char* what, const void* pixels, std::ptrdiff_t row_bytes,
                               std::int32_t width, std::int32_t height, const PixelFormat& format);

}  // namespace kit

#endif  // OZNA_KIT_PIXELS_PIXEL_FORMAT_H_
