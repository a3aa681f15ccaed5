// Walks over the blocks of files, without decoding them.

#include "tools/photograph/animation.h"

#include <cstddef>
#include <cstring>

namespace oznatool {
namespace {

constexpr std::size_t kMostFrames = 65536;

// The bytes of a table of colours, as the flags before it say.
std::size_t tableSize(unsigned flags) {
  return (flags & 0x80) == 0 ? 0 : std::size_t{6} << (flags & 7);
}

// Behind a chain of blocks that each begin with their length, up to an empty one.
std::size_t behindBlocks(const unsigned char* bytes, std::size_t size, std::size_t at) {
  while (at < size && bytes[at] != 0) at += std::size_t{1} + bytes[at];
  return at + 1;
}

std::size_t gifFrames(const unsigned char* bytes, std::size_t size) {
  constexpr std::size_t kFlagsAt = 10;
  constexpr std::size_t kHeader = 13;
  if (size <= kHeader) return 0;
  std::size_t frames = 0;
  std::size_t at = kHeader + tableSize(bytes[kFlagsAt]);
  while (at < size && frames < kMostFrames) {
    if (bytes[at] == 0x21) {  // An extension, with its name.
      at = behindBlocks(bytes, size, at + 2);
    } else if (bytes[at] == 0x2C && at + kHeader < size) {  // A frame.
      ++frames;
      // Place, sides and flags, the table, the size of a code, the codes.
      at = behindBlocks(bytes, size, at + 10 + tableSize(bytes[at + 9]) + 1);
    } else {
      break;
    }
  }
  return frames;
}

std::size_t webpFrames(const unsigned char* bytes, std::size_t size) {
  constexpr std::size_t kHeader = 12;
  std::size_t frames = 0;
  for (std::size_t at = kHeader; at + 8 <= size && frames < kMostFrames;) {
    if (std::memcmp(bytes + at, "ANMF", 4) == 0) ++frames;
    const std::size_t length = bytes[at + 4] | std::size_t{bytes[at + 5]} << 8 |
                               std::size_t{bytes[at + 6]} << 16 | std::size_t{bytes[at + 7]} << 24;
    at += 8 + length + length % 2;
  }
  return frames;
}

}  // namespace

bool isGif(const unsigned char* bytes, std::size_t size) {
  return size >= 13 &&
         (std::memcmp(bytes, "GIF87a", 6) == 0 || std::memcmp(bytes, "GIF89a", 6) == 0);
}

bool isAnimatedWebp(const unsigned char* bytes, std::size_t size) {
  constexpr std::size_t kFlagsAt = 20;
  constexpr unsigned kAnimated = 2;
  return size > kFlagsAt && std::memcmp(bytes, "RIFF", 4) == 0 &&
         std::memcmp(bytes + 8, "WEBPVP8X", 8) == 0 && (bytes[kFlagsAt] & kAnimated) != 0;
}

std::size_t framesOf(const unsigned char* bytes, std::size_t size) {
  if (isGif(bytes, size)) return gifFrames(bytes, size);
  return isAnimatedWebp(bytes, size) ? webpFrames(bytes, size) : 0;
}

}  // namespace oznatool
