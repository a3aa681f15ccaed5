// Walk over the marker segments of a JPEG file.

#include "tools/jpeg_structure.h"

#include <cstring>

namespace oznatool {
namespace {

constexpr unsigned char kPrefix = 0xFF;
constexpr unsigned char kStart = 0xD8;
constexpr unsigned char kEnd = 0xD9;

// Markers that no length follows: restarts and the temporary marker, and the zero that marks a data
// byte 0xFF.
bool standsAlone(unsigned char marker) {
  return marker == 0x00 || marker == 0x01 || (marker >= 0xD0 && marker <= kStart);
}

}  // namespace

bool isJpegCutShort(const unsigned char* bytes, size_t size) {
  if (size < 3 || bytes[0] != kPrefix || bytes[1] != kStart || bytes[2] != kPrefix) return false;
  const unsigned char* const end = bytes + size;
  const unsigned char* at = bytes + 2;
  while (true) {
    // Between segments lies entropy-coded data or nothing: the next prefix is the next marker, or a
    // data byte.
    at = static_cast<const unsigned char*>(std::memchr(at, kPrefix, static_cast<size_t>(end - at)));
    if (at == nullptr) return true;
    while (at < end && *at == kPrefix) ++at;
    if (at == end) return true;
    const unsigned char marker = *at++;
    if (marker == kEnd) return false;
    if (standsAlone(marker)) continue;
    if (end - at < 2) return true;
    const std::ptrdiff_t length = at[0] * 256 + at[1];
    if (end - at < length) return true;
    at += length;
  }
}

}  // namespace oznatool
