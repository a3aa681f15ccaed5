/// Pictures that move: how many frames they have.

#ifndef OZNA_TOOLS_PHOTOGRAPH_ANIMATION_H_
#define OZNA_TOOLS_PHOTOGRAPH_ANIMATION_H_

#include <cstddef>

namespace oznatool {

bool isGif(const unsigned char* bytes, std::size_t size);

/// Whether the bytes begin as a WebP file does that says of itself that it is animated.
bool isAnimatedWebp(const unsigned char* bytes, std::size_t size);

/// The number of frames of either, at most 65536; damage ends the count. 0 for other files.
std::size_t framesOf(const unsigned char* bytes, std::size_t size);

}  // namespace oznatool

#endif  // OZNA_TOOLS_PHOTOGRAPH_ANIMATION_H_
