// Walk over the marker segments of a JPEG file.

#include "tools/jpeg_structure.h"

#include <cstring>

namespace oznatool {
namespace {

constexpr unsigned char kPrefix = 0xFF;
constexpr unsigned char kStart = 0xD8;
constexpr unsigned char kEnd = 0xD9;
constexpr unsigned char kScan = 0xDA;

// Markers that no length follows: restarts and the temporary marker, and the zero that marks a data
// byte 0xFF.
bool standsAlone(unsigned char marker) {
  return marker == 0x00 || marker == 0x01 || (marker >= 0xD0 && marker <= kStart);
}

// The head of a frame: 0xC0 to 0xCF but for tables and an extension. Its two lowest bits tell the
// coding: 2 is progressive.
bool isFrame(unsigned char marker) {
  return (marker & 0xF0) == 0xC0 && marker != 0xC4 && marker != 0xC8 && marker != 0xCC;
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

std::optional<JpegFrame> jpegFrame(const unsigned char* bytes, size_t size) {
  constexpr size_t kHeadSize = 9;  // Marker, length, precision, height, width.
  if (size < 4 || bytes[0] != kPrefix || bytes[1] != kStart) return std::nullopt;
  for (size_t at = 2; at + kHeadSize <= size;) {
    const unsigned char marker = bytes[at + 1];
    if (bytes[at] != kPrefix || marker == kScan || marker == kEnd) return std::nullopt;
    if (isFrame(marker)) {
      return JpegFrame{bytes[at + 7] * 256 + bytes[at + 8], bytes[at + 5] * 256 + bytes[at + 6],
                       (marker & 3) == 2};
    }
    if (marker == kPrefix) {
      ++at;  // A fill byte.
      continue;
    }
    at += 2;
    if (!standsAlone(marker)) at += static_cast<size_t>(bytes[at] * 256 + bytes[at + 1]);
  }
  return std::nullopt;
}

}  // namespace oznatool
